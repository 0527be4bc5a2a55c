"""The store and the tools: what is asked of them does not come, comes late, or is nonsense."""

import signal
import time

from house import House, Failure, await_that, expect, name_of, session_of
from look import expect_complete, is_fresh, resources

WATCHDOG = 30  # seconds: eleven for the watchdog, nine for the shutdown, the rest for a busy machine
GARBAGE = "#!/bin/sh\nprintf 'Average: all all . . . %s\\n0x Link encap\\n' '% % <&>'\n"
BINARY = "#!/bin/sh\nhead -c 200000 /dev/urandom\n"
ENDLESS = "#!/bin/sh\nexec yes 'Average: Link encap'\n"
HANGING = "#!/bin/sh\necho Average:\nexec sleep 1000000\n"
BLOCKING = "#!/bin/sh\ntrap '' HUP INT TERM\necho\nsleep 1000000 | cat\n"


def slow(script, seconds):
    return script.replace("#!/bin/sh\n", f"#!/bin/sh\nsleep {seconds}\n")


def expect_nothing_left(daemon):
    """A moment after the daemon no tool of it is there."""
    await_that(lambda: not session_of(daemon.pid), 5,
               f"the end of {[name_of(pid) for pid in session_of(daemon.pid)]}")


def ends_by_itself(house, daemon, message):
    begin = time.monotonic()
    status = daemon.ended(WATCHDOG)
    expect(status == 0, f"status {status} instead of 0")
    expect(message in house.said(), f"it did not say '{message}'")
    expect_nothing_left(daemon)
    expect_complete(house)
    return f"0 after {time.monotonic() - begin:.0f} s, nothing left"


def lives_on(house, daemon):
    house.watch()
    expect(daemon.ended(16) is None, f"ended with {daemon.status}: {house.said()[-300:]}")
    await_that(lambda: is_fresh(house), 15, "a fresh document")
    expect_complete(house)
    status, seconds = daemon.end_by(signal.SIGTERM)
    expect(status == 255 and seconds < 3, f"SIGTERM: {status} after {seconds:.2f} s")
    expect_nothing_left(daemon)
    return "lives, ends with 255"


def at_work(house, **variables):
    daemon = house.start(**variables)
    time.sleep(0.6)
    house.watch()
    await_that(lambda: is_fresh(house) and resources(daemon.pid)[1] == 3, 20, "the first documents")
    return daemon


def with_store(call, seconds, once):
    def attack(_long):
        house = House(f"store-{call}-{seconds}")
        trouble = house.root / "trouble"
        variables = {"LD_PRELOAD": "/mnt/bin/libsoak_trouble.so", "SOAK_TROUBLE": str(trouble)}
        line = f"{call} {seconds}{' once' if once else ''}\n"
        try:
            if call == "open_csman":
                trouble.write_text(line)
                daemon = house.start(**variables)
            else:
                daemon = at_work(house, **variables)
                trouble.write_text(line)
                house.watch()  # what makes it write
            if call == "close_csman":
                status, took = daemon.end_by(signal.SIGTERM)
                expect(status == 255 and took < 3, f"{status} after {took:.2f} s")
                return f"255 after {took:.2f} s"
            if not once:
                return ends_by_itself(house, daemon, "server thread timeout event")
            await_that(lambda: not trouble.exists(), 20, "the call")
            time.sleep(4)
            return lives_on(house, daemon)
        finally:
            house.leave()

    attack.__doc__ = f"{call} takes {'for ever' if seconds < 0 else f'{seconds} s'}"
    attack.__name__ = f"store_{call}_{'blocks' if seconds < 0 else 'late'}"
    return attack


def with_tool(tool, kind, script, message):
    def attack(_long):
        house = House(f"tool-{tool}-{kind}")
        try:
            if tool == "freemem":  # started with the module
                house.tool(tool, script)
            daemon = at_work(house)
            house.tool(tool, script)
            if tool == "freemem":
                return outlives(house, daemon)
            if message:
                return ends_by_itself(house, daemon, message)
            return lives_on(house, daemon)
        finally:
            house.leave()

    attack.__doc__ = f"{tool} is {kind}"
    attack.__name__ = f"tool_{tool}_{kind}"
    return attack


def outlives(house, daemon):
    """What the memory module starts and leaves alone goes on when the daemon has ended, at whatever moment."""
    status, _ = daemon.end_by(signal.SIGTERM)
    expect(status == 255, f"status {status}")
    time.sleep(0.5)
    left = [name_of(pid) for pid in session_of(daemon.pid)]
    expect(left == ["sleep 1000001"], f"left: {left}")
    return "freemem alone outlives the daemon"


def tool_attacks():
    from house import IFCONFIG, MPSTAT, NETSTAT
    query, server = "query thread timeout event", "server thread timeout event"
    scripts = {"mpstat": MPSTAT, "ifconfig": IFCONFIG, "netstat": NETSTAT}
    for tool, script in scripts.items():
        late = query if tool == "mpstat" else server
        missing = "RESTART DAEMON!" if tool == "mpstat" else None
        yield with_tool(tool, "missing", None, missing)
        yield with_tool(tool, "hanging", HANGING, late)
        yield with_tool(tool, "endless", ENDLESS, late)
        yield with_tool(tool, "deaf", BLOCKING, late)
        yield with_tool(tool, "garbage", GARBAGE, None)
        yield with_tool(tool, "binary", BINARY, None)
        yield with_tool(tool, "slow", slow(script, 1), None)
    for tool in ("awk", "wc", "ln"):
        yield with_tool(tool, "useless", "#!/bin/sh\nexit 1\n", None)
    yield with_tool("freemem", "lasting", "#!/bin/sh\nexec sleep 1000001\n", None)


def pile(long):
    """A respawning init and a netstat that never ends: no process is left of any of the daemons."""
    house = House("pile")
    left = []
    try:
        house.tool("netstat", ENDLESS)
        rounds = 20 if long else 3
        for _ in range(rounds):
            daemon = house.start()
            time.sleep(0.6)
            house.watch()
            if daemon.ended(WATCHDOG) is None:
                raise Failure("it did not end")
            expect_nothing_left(daemon)
            left += session_of(daemon.pid)
        return f"{rounds} daemons ended with 0, {len(left)} tools left"
    finally:
        house.leave()


STORE_CALLS = ("open_csman", "read_csman", "read_csman_int", "write_csman_int", "close_csman")
ATTACKS = (*(with_store(call, -1, False) for call in STORE_CALLS),
           *(with_store(call, 3, True) for call in STORE_CALLS), *tool_attacks(), pile)
