"""A process that reads what a daemon publishes, as fast as the machine allows. Prints what it found when it is ended.

    reader.py FOLDER
"""

import json
import os
import signal
import sys
import time

from look import TEMPORARY, is_complete


def main():
    folder = sys.argv[1]
    found = {"reads": 0, "absent": 0, "incomplete": []}

    def stop(*_):
        raise SystemExit

    signal.signal(signal.SIGTERM, stop)
    names = []
    looked = 0.0
    try:
        while True:
            if time.monotonic() - looked > 0.5:
                looked = time.monotonic()
                names = [os.path.join(folder, n) for n in os.listdir(folder) if not TEMPORARY.search(n)]
            for name in names:
                read_one(name, found)
    finally:
        print(json.dumps(found), flush=True)


def read_one(name, found):
    try:
        fd = os.open(name, os.O_RDONLY)
    except FileNotFoundError:
        found["absent"] += 1  # between the removal of a document and the renaming of the next
        return
    try:
        text = os.read(fd, 1 << 20)
    finally:
        os.close(fd)
    found["reads"] += 1
    if not is_complete(text):
        found["incomplete"].append([os.path.basename(name), text[-80:].decode(errors="replace")])


main()
