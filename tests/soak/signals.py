"""Signals at random moments, with every module on, watched and logging."""

import os
import random
import re
import signal
import time
from concurrent.futures import ThreadPoolExecutor

from house import House, expect
from look import Watcher, expect_as_before, expect_complete, resources

LONGEST_END = 2.0  # seconds; the aim is one, and the figure that is reported says how far off a busy machine is


def end_one(number):
    house = House(f"end-{number}")
    try:
        chance = random.Random(number)
        daemon = house.start(("logc",) if number % 2 else ("logs",))
        life = chance.uniform(0, 9)
        time.sleep(min(life, 0.6))  # the daemon's start clears requests
        if life > 0.6:
            house.watch()
            time.sleep(life - 0.6)
        status, seconds = daemon.end_by(chance.choice((signal.SIGTERM, signal.SIGINT)))
        expect(status == 255, f"ended with {status}")
        expect(seconds < LONGEST_END, f"took {seconds:.2f} s to end")
        if (house.root / "tmp/dashboard").exists():
            expect_complete(house)
        return seconds
    finally:
        house.leave()


def ends(long):
    """SIGTERM and SIGINT at random moments of the first nine seconds: 255 within a second."""
    count = 2000 if long else 120
    with ThreadPoolExecutor(24) as pool:
        times = sorted(pool.map(end_one, range(count)))
    return f"{count} ends with 255, median {times[count // 2] * 1000:.1f} ms, longest {times[-1] * 1000:.0f} ms"


def hangups(long):
    """SIGHUP a hundred times a second: no second missing, no line of a tool lost."""
    count = 10000 if long else 2500
    house = House("hangups")
    try:
        daemon = house.start()
        watcher = Watcher(house)
        time.sleep(15)
        before = resources(daemon.pid)
        begin = time.monotonic()
        for i in range(count):
            os.kill(daemon.pid, signal.SIGHUP)
            time.sleep(max(0.0, begin + (i + 1) / 100 - time.monotonic()))
        time.sleep(5)
        expect(daemon.alive(), f"ended with {daemon.status}")
        seconds = watcher.expect_no_gap()
        expect_as_before(before, resources(daemon.pid))
        expect_complete(house)
        lost = [line for line in house.said().splitlines() if re.search(r"sscanf|RESTART|failed|timeout", line)]
        expect(not lost, f"it said {lost[:3]}")
        cores = house.document("cpu_usage_sec_0.xml").read_text()
        samples = cores.count("<time>")
        for core in range(min(4, os.cpu_count())):
            expect(cores.count(f"<cpu_usage{core}>10</cpu_usage{core}>") == samples > 0, f"core {core} is missing")
        heard = house.said().count("Received SIGHUP signal.")
        expect(heard > count // 10, f"only {heard} of {count} were reported")
        return f"{count} sent, {heard} reported (others came while one waited), {seconds} seconds without a gap"
    finally:
        house.leave()


ATTACKS = (ends, hangups)
