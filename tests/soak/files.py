"""Names that are something else, file systems that are full, read-only or gone, other instances."""

import os
import shutil
import pathlib
import signal
import subprocess
import sys
import time

from house import House, await_that, expect, name_of
from look import expect_as_before, expect_complete, is_fresh, resources
from outside import at_work

VICTIM = b"must stay as it is\n"


def mount(*words):
    subprocess.run(["mount", *words], check=True)


def expect_recovery(house, daemon):
    """Alive, and everything is published again once the trouble is over."""
    expect(daemon.alive(), f"ended with {daemon.status}: {house.said()[-300:]}")
    house.watch()
    await_that(lambda: is_fresh(house), 25, "a fresh document afterwards")
    time.sleep(7)
    count = expect_complete(house)
    return f"lives, {count} documents complete afterwards"


def plant(path, kind, victim):
    if kind == "pipe":
        os.mkfifo(path)
    elif kind == "link":
        os.symlink(victim, path)
    elif kind == "dangling link":
        os.symlink("/nowhere/at/all", path)
    elif kind == "folder":
        os.mkdir(path)
        (path / "not empty").touch()
    elif kind == "device":
        os.mknod(path, 0o600 | 0o020000, os.makedev(1, 3))
    elif kind == "hard link":
        os.link(victim, path)


def uproot(path):
    if path.is_dir() and not path.is_symlink():
        shutil.rmtree(path)
    else:
        path.unlink(missing_ok=True)


def names_of(house, place):
    """Every name in a place that the daemon opens, or links."""
    published = [p.name for p in house.document("").iterdir() if "_tmp" not in p.name]
    if place == "temporary":
        whole = {name[:-4] + "_tmp.xml" for name in published}
        short = {name.replace("_0.xml", "_tmp.xml") for name in published}
        return [house.document(name) for name in whole | short]
    if place == "published":
        return [house.document(name) for name in published]
    if place == "web":
        return list((house.root / "www").iterdir())
    return [house.root / f"tmp/aptraffic/APTraffic_{i}" for i in range(4)]


def with_planted(place, kind):
    def attack(_long):
        house = House(f"{place}-{kind}".replace(" ", "-"))
        victim = house.root / "tmp/victim"
        victim.write_bytes(VICTIM)
        try:
            daemon = at_work(house)
            time.sleep(8)  # requests are seen every sixth second
            before = resources(daemon.pid)
            names = names_of(house, place)
            expect(names, "no names")
            end = time.monotonic() + 9
            while time.monotonic() < end:  # the daemon mends some of them by itself
                for path in names:
                    try:
                        uproot(path)
                        plant(path, kind, victim)
                    except OSError:
                        pass
                time.sleep(0.3)
            untouched = victim.read_bytes() == VICTIM
            expect(untouched, "a file elsewhere was written")
            for path in names:
                uproot(path)
            for i in range(2):
                house.access_point(i)
            result = expect_recovery(house, daemon)
            after = resources(daemon.pid)
            if place == "access point" and kind in ("folder", "device"):  # read as empty, and stay open
                return f"{result}; {after[0] - before[0]} descriptors more"
            expect_as_before(before, after)
            return result
        finally:
            house.leave()

    attack.__doc__ = f"a {kind} at every {place} name"
    attack.__name__ = f"{place}_{kind}".replace(" ", "_")
    return attack


def full(_long):
    """A file system without room: empty documents meanwhile, whole ones afterwards."""
    house = House("full")
    try:
        mount("-t", "tmpfs", "-o", "size=2m,mode=1777", "soak", str(house.root / "tmp"))
        for i in range(2):
            house.access_point(i)
        daemon = at_work(house)
        before = resources(daemon.pid)
        filler = os.open(house.root / "tmp/filler", os.O_CREAT | os.O_WRONLY)
        try:
            while True:
                os.write(filler, b"x" * 4096)
        except OSError:
            pass
        os.close(filler)
        expect(daemon.ended(15) is None, f"ended with {daemon.status}")
        (house.root / "tmp/filler").unlink()
        result = expect_recovery(house, daemon)
        expect_as_before(before, resources(daemon.pid))
        return result
    finally:
        house.leave()
        subprocess.run(["umount", "-l", str(house.root / "tmp")], check=False, stderr=subprocess.DEVNULL)


def read_only(_long):
    """A file system that becomes read-only for a while: the documents stay as they were."""
    house = House("read-only")
    tmp = str(house.root / "tmp")
    try:
        mount("-t", "tmpfs", "-o", "mode=1777", "soak", tmp)
        for i in range(2):
            house.access_point(i)
        daemon = at_work(house)
        before = resources(daemon.pid)
        mount("-o", "remount,ro", tmp)
        expect(daemon.ended(12) is None, f"ended with {daemon.status}")
        expect_complete(house)
        mount("-o", "remount,rw", tmp)
        result = expect_recovery(house, daemon)
        expect_as_before(before, resources(daemon.pid))
        return result
    finally:
        house.leave()
        subprocess.run(["umount", "-l", tmp], check=False, stderr=subprocess.DEVNULL)


def vanishing(_long):
    """/tmp is unmounted under its feet: it lives, says what it cannot open, and ends when it is told."""
    house = House("vanishing")
    try:
        daemon = at_work(house)
        subprocess.run(["nsenter", f"--mount=/proc/{daemon.pid}/ns/mnt", "sh", "-c",
                        "umount -l /tmp; umount -l /usr/www"], check=True)
        expect(daemon.ended(12) is None, f"ended with {daemon.status}")
        expect("error(No such file or directory)!" in house.said(), "it said nothing")
        status, seconds = daemon.end_by(signal.SIGTERM)
        expect(status == 255 and seconds < 2, f"{status} after {seconds:.2f} s")
        return "lives, ends with 255"
    finally:
        house.leave()


def removed(_long):
    """/tmp/dashboard and /usr/www are emptied, removed and made anew while it runs."""
    house = House("removed")
    try:
        daemon = at_work(house)
        before = resources(daemon.pid)
        for _ in range(3):
            shutil.rmtree(house.document(""))
            for entry in (house.root / "www").iterdir():
                entry.unlink()
            time.sleep(3)
            house.document("").mkdir(mode=0o755)
        result = expect_recovery(house, daemon)
        # Links come back with the next document of each.
        link = house.root / "www/mem_usage_sec_0.xml"
        expect(link.is_symlink(), "the link did not come back")
        expect_as_before(before, resources(daemon.pid))
        return result
    finally:
        house.leave()


def second_instance(_long):
    """A second instance ends with 1 and leaves the first and its documents alone."""
    house = House("second")
    try:
        first = at_work(house)
        said = subprocess.run([sys.executable, pathlib.Path(__file__).with_name("reap.py"), *house.command(["logc"])],
                              env=house.environment(), capture_output=True, text=True, check=True, timeout=60).stdout
        expect(said.endswith("ended with [0, 1]\n"), f"parent and child of the second: {said}")
        expect("fatal[daemonize" in said and "Could not lock PID lock file" in said, "it said nothing")
        expect((house.root / "run/dashboard_daemon.pid").read_text() == f"{first.pid}\n", "another process id")
        expect(first.ended(6) is None and is_fresh(house), "the first suffered")
        return "the second ends with 1, the first lives"
    finally:
        house.leave()


def stale_lock(_long):
    """Lock files of the dead, and one on a file system without room, keep nobody from starting."""
    house = House("stale")
    run = house.root / "run"
    try:
        mount("-t", "tmpfs", "-o", "size=16k", "soak", str(run))
        lock = run / "dashboard_daemon.pid"
        for content in (b"1\n", b"not a number", b"4194304\n" * 500):
            lock.write_bytes(content)
            expect(house.run() == 0, "the start failed")
            await_that(lambda: "<time>" in text_of(house), 25, "a document")
            pid = int(lock.read_text(errors="replace").split("\n")[0])
            os.kill(pid, signal.SIGTERM)
            expect(os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]) == 255, "another end")
            house.document("mem_usage_sec_0.xml").unlink(missing_ok=True)
        lock.unlink()
        with open(run / "filler", "wb") as filler:
            filler.write(b"x" * 16384)
        expect(house.run() == 0, "the start on a full disk failed")
        await_that(lambda: "<time>" in text_of(house), 25, "a document")
        (pid,) = [int(e) for e in os.listdir("/proc") if e.isdigit() and belongs(e, house)]
        os.kill(pid, signal.SIGTERM)
        expect(os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1]) == 255, "another end on a full disk")
        return "starts and ends over three stale files and on a full disk"
    finally:
        house.leave()
        subprocess.run(["umount", "-l", str(run)], check=False)


def text_of(house):
    house.watch()
    time.sleep(0.5)
    try:
        return house.document("mem_usage_sec_0.xml").read_text()
    except OSError:
        return ""


def belongs(entry, house):
    try:
        environment = open(f"/proc/{entry}/environ", errors="replace").read()
        return f"CSMAN_DIR={house.root}/csman" in environment and "dashboard logc" in name_of(int(entry))
    except OSError:
        return False


KINDS = {"temporary": ("pipe", "link", "dangling link", "hard link", "folder", "device"),
         "published": ("pipe", "link", "folder", "device"),
         "web": ("pipe", "link", "dangling link", "folder", "device"),
         "access point": ("pipe", "link", "dangling link", "folder", "device")}
ATTACKS = (*(with_planted(place, kind) for place, kinds in KINDS.items() for kind in kinds), full, read_only, vanishing,
           removed, second_instance, stale_lock)
