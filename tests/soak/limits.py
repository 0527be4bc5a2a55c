"""No descriptors, no memory, no processes, no processor time; and a machine that stands still for a while."""

import os
import pathlib
import re
import resource
import signal
import subprocess
import time

from house import MODULES, House, as_user, await_that, expect, session_of, signal_each
from look import Watcher, expect_as_before, expect_complete, resources
from files import expect_recovery
from outside import at_work

MEGABYTE = 1 << 20


def no_descriptors(_long):
    """Not one free descriptor for ten seconds: messages, no end; everything goes on afterwards."""
    house = House("descriptors")
    try:
        daemon = at_work(house)
        before = resources(daemon.pid)
        limit = resource.prlimit(daemon.pid, resource.RLIMIT_NOFILE)
        resource.prlimit(daemon.pid, resource.RLIMIT_NOFILE, (3, limit[1]))
        expect(daemon.ended(10) is None, f"ended with {daemon.status}")
        expect("Too many open files" in house.said(), "it said nothing")
        expect_complete(house)
        resource.prlimit(daemon.pid, resource.RLIMIT_NOFILE, limit)
        result = expect_recovery(house, daemon)
        expect_as_before(before, resources(daemon.pid))
        return result
    finally:
        house.leave()


def no_memory(_long):
    """No memory when modules start: they stay off and are tried again; none of the rest suffers."""
    house = House("memory")
    try:
        daemon = at_work(house)
        kept = [module for module in MODULES if module != "mem"]
        house.items([f"{module}.enable 0" for module in kept])
        time.sleep(8)
        limit = resource.prlimit(daemon.pid, resource.RLIMIT_AS)
        used = int(re.search(r"VmSize:\s+(\d+)", pathlib.Path(f"/proc/{daemon.pid}/status").read_text())[1]) * 1024
        resource.prlimit(daemon.pid, resource.RLIMIT_AS, (used, limit[1]))
        house.items([f"{module}.enable 1" for module in kept])
        expect(daemon.ended(14) is None, f"ended with {daemon.status}")
        resource.prlimit(daemon.pid, resource.RLIMIT_AS, limit)
        house.items([f"{module}.enable 0" for module in kept])
        time.sleep(8)
        house.items([f"{module}.enable 1" for module in kept])
        time.sleep(8)
        return expect_recovery(house, daemon)
    finally:
        house.leave()


def limit_processes(daemon, most):  # nobody but its user may: not even root without a capability
    subprocess.run([*as_user(12345), "prlimit", f"--pid={daemon.pid}", f"--nproc={most}:"], check=True)


def no_processes(_long):
    """No process can be made (for an ordinary user, since root is above that limit): tools fail, it lives."""
    house = House("processes", user=12345)
    try:
        daemon = at_work(house)
        limit = resource.getrlimit(resource.RLIMIT_NPROC)[1]
        limit_processes(daemon, 1)
        status = daemon.ended(14)
        if status == 0 and "RESTART DAEMON!" in house.said():
            return "the limit met mpstat's own shell, which printed nothing: 0"
        expect(status is None, f"ended with {status}")
        expect(re.search(r"\((Resource temporarily unavailable|Cannot allocate memory)\)", house.said()), "no tool failed")
        limit_processes(daemon, limit)
        return expect_recovery(house, daemon)
    finally:
        house.leave()


def busy(_long):
    """Other programs keep every core busy: no second missing."""
    house = House("busy")
    hogs = []
    try:
        daemon = at_work(house)
        before = resources(daemon.pid)
        hogs = [subprocess.Popen(["sh", "-c", "while :; do :; done"]) for _ in range(os.cpu_count())]
        watcher = Watcher(house)
        expect(daemon.ended(25) is None, f"ended with {daemon.status}")
        seconds = watcher.expect_no_gap()
        expect_as_before(before, resources(daemon.pid))
        return f"{seconds} seconds without a gap"
    finally:
        for hog in hogs:
            hog.kill()
            hog.wait()
        house.leave()


def stand_still(daemon, seconds):
    group = session_of(daemon.pid)
    signal_each(group, signal.SIGSTOP)
    time.sleep(seconds)
    signal_each(group, signal.SIGCONT)


def still_shortly(_long):
    """The daemon and its tools stand still for a second, several times: it goes on."""
    house = House("still")
    try:
        daemon = at_work(house)
        before = resources(daemon.pid)
        for _ in range(6):
            stand_still(daemon, 1)
            time.sleep(4)
        result = expect_recovery(house, daemon)
        expect_as_before(before, resources(daemon.pid))
        return result
    finally:
        house.leave()


def still_long(long):
    """For twelve seconds: it goes on, or the watchdog, whose five seconds went on meanwhile, has ended it with 0."""
    ends = 0
    rounds = 12 if long else 2
    for number in range(rounds):
        house = House(f"still-long-{number}")
        try:
            daemon = at_work(house)
            stand_still(daemon, 12)
            status = daemon.ended(12)
            expect(status in (None, 0), f"ended with {status}")
            if status == 0:
                expect("timeout event" in house.said(), "it ended without a word")
                ends += 1
            else:
                expect_recovery(house, daemon)
            expect_complete(house)
        finally:
            house.leave()
    return f"{rounds - ends} of {rounds} lived, {ends} ended with 0 and its message"


def steady(long):
    """Modules are switched on and off at random: descriptors, threads and memory at the end as at the beginning."""
    import random
    chance = random.Random(11)
    house = House("steady")
    try:
        daemon = at_work(house)
        time.sleep(14)
        before = resources(daemon.pid)
        end = time.monotonic() + (1800 if long else 60)
        while time.monotonic() < end:
            house.items([f"{module}.enable {chance.randrange(2)}" for module in MODULES])
            time.sleep(chance.uniform(0.2, 8))
            house.watch()
            expect(daemon.alive(), f"ended with {daemon.status}")
        house.items([f"{module}.enable 1" for module in MODULES])
        time.sleep(14)
        result = expect_recovery(house, daemon)
        expect_as_before(before, resources(daemon.pid))
        return f"{result}; {before} and {resources(daemon.pid)} descriptors, threads, kB"
    finally:
        house.leave()


ATTACKS = (no_descriptors, no_memory, no_processes, busy, still_shortly, still_long, steady)
