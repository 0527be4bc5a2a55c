"""Runs a command that leaves a child behind, and tells how both ended: reap.py COMMAND..."""

import ctypes
import os
import subprocess
import sys

PR_SET_CHILD_SUBREAPER = 36
ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
statuses = [subprocess.run(sys.argv[1:], stdin=subprocess.DEVNULL, check=False).returncode]
try:
    while True:
        statuses.append(os.waitstatus_to_exitcode(os.wait()[1]))
except ChildProcessError:
    print("ended with", statuses)
