"""What a daemon has published, said and used, looked at from outside."""

import os
import pathlib
import re
import threading
import time

from house import Failure, expect

HEAD = b'<?xml version="1.0" ?>\n<datalist>\n'
TAIL = b"</datalist>\n"

# Of tmp/dashboard: temporary names end so, but for the one that a link of the all-AP module leads to.
TEMPORARY = re.compile(r"_tmp(\.xml)?$")
SECONDS = re.compile(rb"<time>(-?\d+)000</time>")


def is_complete(text):
    return text.startswith(HEAD) and text.endswith(TAIL) and text.count(TAIL) == 1


def documents(house):
    """Name and text of every published document; one that goes away meanwhile is about to be replaced."""
    folder = house.root / "tmp/dashboard"
    for name in sorted(os.listdir(folder)):
        if TEMPORARY.search(name):
            continue
        try:
            yield name, (folder / name).read_bytes()
        except FileNotFoundError:
            pass


def expect_complete(house):
    count = 0
    for name, text in documents(house):
        expect(is_complete(text), f"{name} is not complete: {text[-60:]!r}")
        count += 1
    return count


def newest(house, name="mem_usage_sec_0.xml"):
    try:
        times = SECONDS.findall(house.document(name).read_bytes())
    except OSError:
        return 0
    return int(times[-1]) if times else 0


def is_fresh(house, name="mem_usage_sec_0.xml"):
    return time.time() - newest(house, name) < 4


def resources(pid):
    """Descriptors, threads, and kB of the daemon's own memory."""
    status = pathlib.Path(f"/proc/{pid}/status").read_text()
    number = {key: int(re.search(rf"^{key}:\s+(\d+)", status, re.M)[1]) for key in ("Threads", "RssAnon")}
    return len(os.listdir(f"/proc/{pid}/fd")), number["Threads"], number["RssAnon"]


def expect_as_before(before, after, slack_kb=700):
    """Tools come and go, with a descriptor each. Rings take a page when a sample first reaches it: in the first two
    minutes that is most of what a daemon ever uses."""
    expect(after[0] <= before[0] + 2 and after[1] == before[1] and after[2] <= before[2] + slack_kb,
           f"descriptors, threads, kB: {before} at first, {after} at the end")


class Watcher(threading.Thread):
    """Keeps a house watched, and collects every second that its memory document has shown."""

    def __init__(self, house):
        super().__init__(daemon=True)
        self.house = house
        self.seen = set()
        self.over = threading.Event()
        self.start()

    def run(self):
        rounds = 0
        while not self.over.wait(5):
            if rounds % 4 == 0:
                self.house.watch()
            rounds += 1
            self.collect()

    def collect(self):
        try:
            text = self.house.document("mem_usage_sec_0.xml").read_bytes()
        except OSError:
            return
        self.seen.update(int(second) for second in SECONDS.findall(text))

    def stop(self):
        self.over.set()
        self.join()
        self.collect()
        return self.seen

    def expect_no_gap(self):
        seen = sorted(self.stop())
        if not seen:
            raise Failure("no second was published")
        gaps = [(a, b) for a, b in zip(seen, seen[1:]) if b != a + 1]
        expect(not gaps, f"missing seconds between {gaps}")
        return len(seen)
