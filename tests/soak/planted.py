"""What a local user can do with names that everybody knows, in a folder that everybody may write."""

import os
import pathlib
import shutil
import subprocess
import time

from house import House, as_user, await_that, expect
from look import is_fresh, resources

USER = 12345
SECRET = b"secret\n"


def try_as_user(script):
    """Runs a shell script as an ordinary user. Returns its status and what it said."""
    done = subprocess.run([*as_user(USER), "sh", "-c", script],
                          capture_output=True, text=True, check=False)
    return done.returncode, done.stdout + done.stderr


def secret_in(house):
    path = house.root / "tmp/secret"
    path.write_bytes(SECRET)
    path.chmod(0o600)
    return path


def beside_a_running_daemon(_long):
    """A user beside a running daemon: can't write, replace, remove or rename what is published."""
    house = House("beside")
    try:
        daemon = house.start()
        time.sleep(0.6)
        house.watch()
        await_that(lambda: is_fresh(house), 20, "the first documents")
        folder, www, run = house.document(""), house.root / "www", house.root / "run"
        secret = secret_in(house)
        tries = [f"ln -s {secret} {folder}/mem_usage_sec_tmp.xml", f"ln {secret} {folder}/mem_usage_sec_tmp.xml",
                 f"mkfifo {folder}/mem_usage_sec_tmp.xml", f"mkdir {folder}/mem_usage_sec_0.xml",
                 f"echo x >{folder}/mem_usage_sec_0.xml", f"echo x >>{folder}/mem_usage_sec_tmp.xml",
                 f"rm -f {folder}/mem_usage_sec_0.xml", f"mv {folder} {folder}.old", f"rmdir {folder}",
                 f"cat {folder}/mem_usage_sec_0.xml", f"ln -sf {secret} {www}/mem_usage_sec_0.xml",
                 f"rm -rf {house.root}/tmp/aptraffic", f"echo x >{house.root}/tmp/aptraffic/APTraffic_0",
                 f"echo x >{run}/dashboard_daemon.pid", f"cat {run}/dashboard_daemon.pid",
                 f"kill {daemon.pid}", f"kill -STOP {daemon.pid}"]
        done = [line for line in tries if try_as_user(line)[0] == 0]
        expect(not done, f"the user could: {done}")
        expect(daemon.ended(4) is None and is_fresh(house) and secret.read_bytes() == SECRET, "something came of it")
        return f"{len(tries)} things tried, none of them possible"
    finally:
        house.leave()


def before_the_start(prepare, check):
    house = House(f"before-{prepare.__name__}".replace("_", "-"))
    try:
        secret = secret_in(house)
        status, text = try_as_user(prepare(house, secret))
        result = check(house, secret, status == 0, text)
        expect(house.daemon is None or house.daemon.alive(), "the daemon ended")
        return result
    finally:
        house.leave()


def started(house):
    daemon = house.start()
    time.sleep(0.6)
    house.watch()
    expect(daemon.ended(12) is None, f"ended with {daemon.status}")
    return daemon


def links_before_the_start(_long):
    """A user makes /tmp/dashboard first, full of links: no other file is written."""
    def links(house, secret):
        names = " ".join(f"{stem}_{kind}_{number}.xml" for stem in ("mem_usage", "wan_traffic", "cpu_usage")
                         for kind in ("sec", "min", "hour") for number in ("tmp", "0"))
        return (f"mkdir -m 777 {house.document('')} && cd {house.document('')} && for n in {names}; do ln -s {secret} $n; done")

    def check(house, secret, planted, text):
        expect(planted, f"not planted: {text}")
        started(house)
        expect(secret.read_bytes() == SECRET, "a file was written through a link")
        expect("error(Too many levels of symbolic links)!" in house.said(), "it said nothing")
        return "nothing is written through a link"

    return before_the_start(links, check)


def hard_links_before_the_start(_long):
    """A user makes /tmp/dashboard first, with hard links to a file of root's: the kernel refuses them, or the daemon."""
    protected = pathlib.Path("/proc/sys/fs/protected_hardlinks").read_text().strip() == "1"

    def hard_links(house, secret):
        return f"mkdir -m 777 {house.document('')} && ln {secret} {house.document('mem_usage_sec_tmp.xml')}"

    def check(house, secret, planted, text):
        expect(planted != protected, f"fs.protected_hardlinks is {int(protected)}: {text}")
        started(house)
        expect(secret.read_bytes() == SECRET, "a file of root's is written")
        return "refused by the daemon" if planted else "refused by the kernel (fs.protected_hardlinks is 1)"

    return before_the_start(hard_links, check)


def pipes_before_the_start(_long):
    """A user makes pipes of every input and output: nobody waits for them."""
    def pipes(house, _secret):
        return (f"mkdir -m 777 {house.document('')} && cd {house.document('')} && for n in mem_usage_sec_tmp.xml "
                f"mem_usage_sec_0.xml wan_traffic_min_tmp.xml; do mkfifo $n; done")

    def check(house, _secret, planted, text):
        expect(planted, f"not planted: {text}")
        started(house)
        expect("timeout event" not in house.said(), "it stood still")
        await_that(lambda: is_fresh(house, "sim_strquality_sec_0.xml"), 12, "the other documents")
        return "one document is missing, the others appear"

    return before_the_start(pipes, check)


def folder_before_the_start(_long):
    """A user makes /tmp/dashboard first and owns it: does not hold, he decides what the web server shows."""
    def folder(house, _secret):
        return f"mkdir -m 777 {house.document('')}"

    def check(house, secret, planted, text):
        expect(planted, f"not planted: {text}")
        started(house)
        name = house.document("mem_usage_hour_0.xml")
        forged = try_as_user(f"ln -sf {secret} {name}")[0] == 0
        expect(forged == (house.document("").stat().st_uid == USER), "another result than docs/reliability.md tells")
        expect(secret.read_bytes() == SECRET, "a file was written")
        return "NOT HELD: a published name leads to root's file until the next document" if forged else "not possible"

    return before_the_start(folder, check)


def empty_records_before_the_start(_long):
    """A user makes /tmp/aptraffic first, with empty files: does not hold, each costs a descriptor a second."""
    def records(house, _secret):
        shutil.rmtree(house.root / "tmp/aptraffic")
        return f"mkdir {house.root}/tmp/aptraffic && cd {house.root}/tmp/aptraffic && touch APTraffic_$((0)) APTraffic_1"

    def check(house, _secret, planted, text):
        expect(planted, f"not planted: {text}")
        daemon = started(house)
        before = resources(daemon.pid)[0]
        time.sleep(5)
        more = resources(daemon.pid)[0] - before
        expect(0 < more <= 28, f"{more} descriptors in 5 s: another result than docs/reliability.md tells")
        return f"NOT HELD: {more} descriptors in five seconds, two files, two modules"

    return before_the_start(records, check)


ATTACKS = (beside_a_running_daemon, links_before_the_start, hard_links_before_the_start, pipes_before_the_start,
           folder_before_the_start, empty_records_before_the_start)
