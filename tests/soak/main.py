"""Runs the attacks, many at a time, each in a house of its own. Started by run, in namespaces of its own."""

import argparse
import json
import pathlib
import re
import signal
import subprocess
import sys
import time
import traceback
from concurrent.futures import ThreadPoolExecutor, as_completed

import files
import limits
import outside
import planted
import signals
from house import Failure, House, expect
from look import Watcher, expect_as_before, expect_complete, resources
from outside import at_work

ATTACKS = (*signals.ATTACKS, *limits.ATTACKS, *outside.ATTACKS, *files.ATTACKS, *planted.ATTACKS)


class Reading:
    """A daemon with every module on and a reader of all that it publishes, for as long as the attacks go on."""

    def __init__(self, long):
        self.slack = 150 if long else 700
        self.house = House("read")
        self.daemon = at_work(self.house)
        self.watcher = Watcher(self.house)
        time.sleep(140 if long else 12)
        self.before = resources(self.daemon.pid)
        self.reader = subprocess.Popen([sys.executable, pathlib.Path(__file__).with_name("reader.py"),
                                        self.house.root / "tmp/dashboard"], stdout=subprocess.PIPE, text=True)

    def result(self):
        self.reader.send_signal(signal.SIGTERM)
        found = json.loads(self.reader.communicate()[0])
        try:
            expect(not found["incomplete"], f"{len(found['incomplete'])} incomplete: {found['incomplete'][:2]}")
            expect(self.daemon.alive(), f"it ended with {self.daemon.status}")
            expect(found["reads"] > 1000, f"only {found['reads']} reads")
            after = resources(self.daemon.pid)
            expect_as_before(self.before, after, self.slack)
            seconds = self.watcher.expect_no_gap()
            expect_complete(self.house)
            return (f"{found['reads']} reads, none incomplete, {found['absent']} between two documents; {seconds} seconds "
                    f"without a gap; descriptors, threads, kB: {self.before}, {after}")
        finally:
            self.house.leave()


def tried(attack, long):
    begin = time.monotonic()
    try:
        good, text = True, attack(long)
    except Failure as failure:
        good, text = False, str(failure)
    except Exception:  # the harness itself, or what it has started
        good, text = False, traceback.format_exc()
    return attack, good, text, time.monotonic() - begin


def show(name, good, text, seconds, purpose):
    print(f"{'ok    ' if good else 'FAILED'} {name} ({seconds:.0f} s): {purpose}\n       {text}", flush=True)


def first_line(attack):
    return attack.__doc__.strip().split("\n")[0]


def run_all(attacks, options):
    failed = []
    reading = Reading(options.long)
    with ThreadPoolExecutor(options.at_once) as pool:
        for done in as_completed([pool.submit(tried, attack, options.long) for attack in attacks]):
            attack, good, text, seconds = done.result()
            show(attack.__name__, good, text, seconds, first_line(attack))
            failed += [] if good else [attack.__name__]

    def reader(_long):
        return reading.result()

    _, good, text, seconds = tried(reader, options.long)
    show("reader", good, text, seconds, "a reader as fast as the machine allows, all the while")
    return failed + ([] if good else ["reader"])


def main():
    parser = argparse.ArgumentParser(prog="tests/soak/run", description="Tries to break the whole daemon in real time.")
    parser.add_argument("--long", action="store_true", help="the full figures; takes half an hour")
    parser.add_argument("--only", default=".", metavar="PATTERN", help="attacks whose name matches this expression")
    parser.add_argument("--at-once", type=int, default=16, metavar="N", help="so many attacks at a time (16)")
    parser.add_argument("--list", action="store_true", help="print the attacks and try none")
    options = parser.parse_args()
    attacks = [attack for attack in ATTACKS if re.search(options.only, attack.__name__)]
    if options.list:
        for attack in attacks:
            print(f"{attack.__name__:28} {first_line(attack)}")
        return 0
    if not attacks:
        parser.error(f"no attack has a name that matches '{options.only}' (see --list)")
    begin = time.monotonic()
    failed = run_all(attacks, options)
    print(f"# {len(attacks) + 1} attacks in {time.monotonic() - begin:.0f} s, {len(failed)} failed {failed or ''}")
    print(f"# tests {len(attacks) + 1}")
    return 1 if failed else 0


sys.exit(main())
