"""A house: a daemon's own /tmp, /usr/www, /var/run, tools and configuration store, and the daemon that lives in it."""

import ctypes
import os
import pathlib
import shutil
import subprocess
import time

BUILD = pathlib.Path("/mnt/bin")  # the programs under test: see run
HOUSES = pathlib.Path("/mnt/houses")

MODULES = ("cpu", "mem", "wan", "bond", "lan", "wifi24", "wifi5", "ap", "allap", "current", "sim")

# The one process whose id is in the file ends up as our child, whoever started it.
PR_SET_CHILD_SUBREAPER = 36
ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)

MPSTAT = r"""#!/bin/sh
echo 'Linux 6.1 (router)'
sleep 1
sleep 1
echo 'Average:     CPU    %usr   %nice    %sys %iowait    %irq   %soft  %steal  %guest  %gnice   %idle'
for core in all 0 1 2 3; do
    printf 'Average:    %4s    1.00    0.00    1.00    0.00    0.00    0.00    0.00    0.00    0.00   90.00\n' $core
done
"""
IFCONFIG = r"""#!/bin/sh
for name in lo eth0 br0 ra0 rai0 bond0; do printf '%-9s Link encap:Ethernet\n          UP\n\n' $name; done
"""
NETSTAT = "#!/bin/sh\nprintf 'Active\\nProto\\ntcp\\ntcp\\nudp\\n'\n"
OTHER_TOOLS = ("awk", "wc", "ln", "mkdir", "sleep", "cat", "yes", "head")
TOOLS = {"mpstat": MPSTAT, "ifconfig": IFCONFIG, "netstat": NETSTAT, "freemem": "#!/bin/sh\nexit 0\n"}

STORE = ["dashboard.enable 1", "wan.binding.1 99", "wan.name.99 eth0", "bond0.enable 1", "wifi24.interface ra0",
         "wifi5.interface rai0", "sim1.state 1", "sim2.state 1"]


def as_user(user):
    """What goes before a command that an ordinary user runs."""
    return ["/usr/bin/setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups"]


class Failure(Exception):
    """What an attack has found."""


def expect(condition, text):
    if not condition:
        raise Failure(text)


def await_that(condition, seconds, text):
    """Waits, in real time, for what is sure to come but not when."""
    end = time.monotonic() + seconds
    while not condition():
        expect(time.monotonic() < end, f"not within {seconds} s: {text}")
        time.sleep(0.05)


class House:
    def __init__(self, name, user=0):
        self.root = HOUSES / name
        self.user = user
        for folder in ("tmp", "run", "www", "bin", "csman"):
            (self.root / folder).mkdir(parents=True)
        os.chmod(self.root / "tmp", 0o1777)
        for tool in OTHER_TOOLS:
            (self.root / "bin" / tool).symlink_to(shutil.which(tool))
        for tool, script in TOOLS.items():
            self.tool(tool, script)
        for i in range(2):
            self.access_point(i)
        self.items(STORE + [f"{module}.enable 1" for module in MODULES])
        if user:
            subprocess.run(["chown", "-R", str(user), str(self.root)], check=True)
        self.log = self.root / "log"
        self.daemon = None

    def tool(self, name, script):
        """Puts a tool into the daemon's path, complete at any moment; without a script it is missing."""
        path = self.root / "bin" / name
        if script is None:
            path.unlink(missing_ok=True)
            return
        new = path.with_suffix(".new")
        new.write_bytes(script if isinstance(script, bytes) else script.encode())
        new.chmod(0o755)
        new.rename(path)

    def access_point(self, number):
        folder = self.root / "tmp/aptraffic"
        folder.mkdir(exist_ok=True)
        groups = ["1,2,3"] * 17
        (folder / f"APTraffic_{number}").write_text(
            "APMgnt_Info_Traffic_@" + groups[0] + "@_@" + "@".join(groups[1:9]) + "@_@" + "@".join(groups[9:]) + "@\n")

    def environment(self):
        return {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C", "LD_LIBRARY_PATH": str(BUILD),
                "CSMAN_DIR": str(self.root / "csman")}

    def items(self, lines):
        """Writes "name value" lines into the store."""
        subprocess.run([BUILD / "csmanctl", "load", "-"], input="\n".join(lines) + "\n", text=True, check=True,
                       env=self.environment(), stdout=subprocess.DEVNULL)

    def watch(self):
        """A user looks at every module; the request lasts a minute."""
        self.items([f"{module}.view 1" for module in MODULES])

    def command(self, words):
        """The daemon in its own view of the files."""
        view = ('mount --bind "$0/tmp" /tmp && mount --bind "$0/run" /run && mount --bind "$0/www" /usr/www && '
                'cd / && PATH=$0/bin && exec "$@"')
        user = as_user(self.user) if self.user else []
        return ["unshare", "--mount", "sh", "-c", view, str(self.root), *user, str(BUILD / "dashboard"), *words]

    def run(self, words=("logc",), **variables):
        """Starts a daemon and waits for what it forks off. Returns the status of the process that was started."""
        with open(self.log, "ab") as log:
            return subprocess.run(self.command(words), env={**self.environment(), **variables}, stdout=log,
                                  stderr=log, stdin=subprocess.DEVNULL, timeout=60).returncode

    def start(self, words=("logc",), **variables):
        pid_file = self.root / "run/dashboard_daemon.pid"
        pid_file.unlink(missing_ok=True)
        expect(self.run(words, **variables) == 0, "the daemon did not start")
        await_that(lambda: pid_file.exists() and pid_file.read_text().endswith("\n"), 20, "no PID file")
        self.daemon = Daemon(int(pid_file.read_text()))
        return self.daemon

    def said(self):
        return self.log.read_text(errors="replace")

    def document(self, name):
        return self.root / "tmp/dashboard" / name

    def leave(self):
        if self.daemon:
            self.daemon.kill()
        shutil.rmtree(self.root, ignore_errors=True)


class Daemon:
    def __init__(self, pid):
        self.pid = pid
        self.status = None

    def alive(self):
        return self.ended(0) is None

    def _reap(self, flags):
        if self.status is None:
            pid, status = os.waitpid(self.pid, flags)
            self.status = os.waitstatus_to_exitcode(status) if pid else None
        return self.status

    def ended(self, seconds):
        """Its exit status (the signal's number, negative), or None when it lives on after so many seconds."""
        end = time.monotonic() + seconds
        while self._reap(os.WNOHANG) is None and time.monotonic() < end:
            time.sleep(0.05)
        return self.status

    def end_by(self, number):
        """Sends a signal and waits for the end. Returns the exit status and the seconds that it took.

        Meanwhile we hold its view of the files: who goes last takes it down, before anybody hears of his end, and the
        kernel takes down one at a time. That is no part of the daemon's end.
        """
        expect(self.alive(), f"it had ended with {self.status} before")
        view = os.open(f"/proc/{self.pid}/ns/mnt", os.O_RDONLY)
        try:
            sent = time.monotonic()
            os.kill(self.pid, number)
            return self._reap(0), time.monotonic() - sent
        finally:
            os.close(view)

    def kill(self):
        signal_each(session_of(self.pid), 9)
        if self.status is None:
            self._reap(0)


def signal_each(processes, number):
    """A tool may end between the look at the processes and its signal."""
    for pid in processes:
        try:
            os.kill(pid, number)
        except ProcessLookupError:
            pass


def session_of(leader):
    """The processes of a session, the leader included; zombies are none any more."""
    found = []
    for entry in os.listdir("/proc"):
        if not entry.isdigit():
            continue
        try:
            with open(f"/proc/{entry}/stat", encoding="ascii", errors="replace") as file:
                fields = file.read().rpartition(")")[2].split()
        except OSError:
            continue
        if fields and int(fields[3]) == leader and fields[0] != "Z":
            found.append(int(entry))
    return found


def name_of(pid):
    try:
        return pathlib.Path(f"/proc/{pid}/cmdline").read_bytes().replace(b"\0", b" ").decode(errors="replace").strip()
    except OSError:
        return ""
