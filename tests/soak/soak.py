"""A real robot with its page under steady work of clients of all kinds, and what it grows by.

    tests/soak/soak.py TAVRO LEDCTL [--minutes N] [--sure] [--plant] [--samples FILE]

Needs the Python package `tavro` (PYTHONPATH). Ends with status 1 unless every row of the verdict
holds. In the first third clients hurry, so that tables, caches and the C library's arenas get their
size; memory is judged by the steady part after it, extrapolated to an hour. A short run cannot tell
a slope of 1 MiB/h from none, nor from the end of that: --sure fails it only when the slope is above
what so short a run can resolve, with 95 % certainty. --plant lets clients do harm on purpose, and the
robot be killed at the end: then each kind of row must fail but "calls that stayed".
"""
import argparse
import collections
import contextlib
import os
import socket
import sys
import tempfile
import threading
import time
import traceback
from dataclasses import dataclass

import tavro

import clients
import planted
from process import RobotProcess
from trend import slope_of

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# Of PSS the anonymous part alone: that of libraries falls with each ledctl that shares them.
MEMORY = ("Rss", "Pss_Anon")
LIMIT = 1.0  # MiB an hour
SETTLING = 0.5  # MiB that arenas and tables may still take in a run too short for LIMIT
CHANCE = 3  # descriptors or threads that may be under way by chance
LOOK = 1.0  # seconds between two samples
HURRY = 10.0  # by which pauses are shorter in the first third
ROUNDS, AT_ONCE = 10, 100  # connections before the first third
REMEMBERED = 1100  # kinds of calls then; the robot keeps 1,024


@dataclass(frozen=True)
class Place:
    robot: RobotProcess
    ledctl: str


@dataclass(frozen=True)
class Row:
    what: str
    found: str
    holds: bool


class Ledger:
    """What the clients did, and which step took longer than `patience`, in seconds. Thread-safe."""

    def __init__(self, patience):
        self.patience = patience
        self._lock = threading.Lock()
        self.steps = collections.Counter()
        self.away = collections.Counter()
        self.last_success = {}  # by time.monotonic()
        self.faults = []
        self._since = {}

    def begin(self, name):
        with self._lock:
            self._since[name] = time.monotonic()

    def end(self, name, error=None):
        with self._lock:
            self.steps[name] += 1
            began = self._since.pop(name)
            if time.monotonic() - began > self.patience:
                self.faults.append(f"{name}: a step took {time.monotonic() - began:.0f} s")
            if error is None:
                self.last_success[name] = time.monotonic()
                return
            if is_away(error):
                self.away[name] += 1
            else:
                self.faults.append(f"{name}: {''.join(traceback.format_exception(error))}")

    def under_way(self):
        with self._lock:
            return sorted(self._since)


def is_away(error):
    """Whether it says that a module was away at that moment, and no more."""
    return isinstance(error, (tavro.CallFailed, tavro.Refused)) and str(error).startswith(clients.AWAY)


def work(kind, place, ledger, is_over, is_steady):
    """A client's life, on a thread of its own."""
    name = kind.__name__
    client = None
    hurry = 1.0 if kind in planted.ALL else HURRY
    while not is_over.wait(kind.pause if is_steady.is_set() else kind.pause / hurry):
        ledger.begin(name)
        error = None
        try:
            client = client or kind(place)
            client.step()
        except Exception as caught:  # whatever it is, the verdict tells it
            error = caught
        ledger.end(name, error)
    if client is not None:
        client.close()


def watch(robot, seconds, samples):
    """Looks at the robot until the time is over or it is gone."""
    began = time.monotonic()
    while (passed := time.monotonic() - began) < seconds and robot.is_running:
        samples.append((passed, robot.look()))
        time.sleep(LOOK)  # what lies between two samples of /proc, which tells of no change


def memory_row(name, steady, is_sure):
    """Slopes in MiB an hour, of KiB and seconds."""
    slope = slope_of([(seconds / 3600, look[name] / 1024) for seconds, look in steady])
    first, last = (steady[i][1][name] / 1024 for i in (0, -1))
    text = (f"{slope.value:+.2f} MiB/h ({slope.low:+.2f} to {slope.high:+.2f} with 95 %), "
            f"{first:.1f} to {last:.1f} MiB")
    if not is_sure:
        return Row(name, f"{text}, at most {LIMIT:g}", slope.value <= LIMIT)
    limit = max(LIMIT, SETTLING / ((steady[-1][0] - steady[0][0]) / 3600))
    return Row(name, f"{text}, surely at most {limit:.0f}", slope.low <= limit)


def count_row(name, steady):
    """Counts go up and down with what is under way; what stays shows in the fewest of each part."""
    size = len(steady) // 3
    fewest = [min(look[name] for _, look in steady[i * size:(i + 1) * size]) for i in range(3)]
    is_growing = fewest[0] < fewest[1] < fewest[2] and fewest[2] - fewest[0] > CHANCE
    return Row(name, "at least " + ", ".join(map(str, fewest)) + " in the thirds of the steady part",
               not is_growing)


def success_rows(kinds, ledger, is_over_at, part):
    """`part`: the seconds before the end in which each kind must get something done, whatever was
    away meanwhile."""
    for name in (kind.__name__ for kind in kinds):
        last = ledger.last_success.get(name)
        before = None if last is None else max(0.0, is_over_at - last)
        text = "none" if before is None else f"the last {before:.0f} s before the end"
        yield Row(f"successes of {name}", f"{text}, at most {part:.0f} s",
                  before is not None and before <= part)


def end(robot, ledger, threads, is_planted):
    """Lets all clients go, then the robot. Rows about what did not end."""
    deadline = time.monotonic() + ledger.patience
    for thread in threads:
        thread.join(max(0.0, deadline - time.monotonic()))
    stuck = ledger.under_way()
    with tavro.Robot(robot.address, name="soak-end") as last:
        running = [call for call in last.calls().running]
        limit = time.monotonic() + 10
        while running and time.monotonic() < limit:
            time.sleep(0.05)  # another process ends them, and tells nobody here
            running = last.calls().running
    calls = [f"{call.client}: {call.service}.{call.method}" for call in running]
    if is_planted:
        robot.kill()
    status, seconds = robot.stop()
    return [Row("steps that did not end", ", ".join(stuck) or "none", not stuck),
            Row("calls that stayed", ", ".join(calls) or "none", not calls),
            Row("the robot's end", f"status {status} after {seconds:.1f} s", status == 0)]


def fill(robot):
    """More at once than ever comes later. The C library keeps what its arenas once needed, and the
    robot remembers one call of each method and first argument, up to a number; both would look like
    growth for many minutes."""
    host, port = robot.address.rsplit(":", 1)
    for _ in range(ROUNDS):
        with contextlib.ExitStack() as open_ones:
            for _ in range(AT_ONCE):
                open_ones.enter_context(socket.create_connection((host, int(port))))
            for address in [robot.address, "unix:" + robot.socket] * (AT_ONCE // 4):
                open_ones.enter_context(tavro.Robot(address, name="soak-fill", timeout=60))
    with tavro.Robot(robot.address, name="soak-fill") as client:
        memory = client.service("HBMemory")
        for i in range(REMEMBERED):
            memory.listKeys(f"Soak/{i}/{'x' * 250}")


def run(place, minutes, kinds, patience):
    """The life of all clients. Returns samples, ledger, and the rows about successes and the end."""
    is_planted = any(kind in planted.ALL for kind in kinds)
    ledger, is_over, is_steady = Ledger(patience), threading.Event(), threading.Event()
    fill(place.robot)
    threads = [threading.Thread(target=work, args=(kind, place, ledger, is_over, is_steady),
                                daemon=True) for kind in kinds]
    for thread in threads:
        thread.start()
    watch(place.robot, minutes * 20, hurried := [])
    is_steady.set()
    watch(place.robot, minutes * 40, steady := [])
    rows = list(success_rows(kinds, ledger, time.monotonic(), minutes * 20))
    is_over.set()
    return hurried, steady, ledger, rows + end(place.robot, ledger, threads, is_planted)


def verdict(steady, ledger, ends, loud, is_sure):
    rows = [memory_row(name, steady, is_sure) for name in MEMORY]
    rows += [count_row(name, steady) for name in ("descriptors", "threads")]
    rows.append(Row("errors in the log", f"{len(loud)}" + "".join("\n    " + one for one in loud[:5]),
                    not loud))
    rows.append(Row("unexpected errors", f"{len(ledger.faults)}" + "".join(
        "\n    " + one.rstrip().replace("\n", "\n    ") for one in ledger.faults[:5]),
        not ledger.faults))
    return rows + ends


def write_samples(path, hurried, steady):
    with open(path, "w", encoding="utf-8") as file:
        for part, samples in (("hurried", hurried), ("steady", steady)):
            for seconds, look in samples:
                file.write(",".join([part, f"{seconds:.1f}", *(f"{name}={count}" for name, count
                                                              in look.items())]) + "\n")


def chosen(parser, names):
    """The kinds of clients of these names, all for none."""
    by_name = {kind.__name__.lower(): kind for kind in clients.ALL}
    wanted = [name for name in names.replace(",", " ").split() if name]
    unknown = [name for name in wanted if name not in by_name]
    if unknown:
        parser.error(f"no such kind of client: {', '.join(unknown)}; there are {', '.join(by_name)}")
    return [by_name[name] for name in wanted or by_name]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("tavro")
    parser.add_argument("ledctl")
    parser.add_argument("--minutes", type=float, default=10)
    parser.add_argument("--sure", action="store_true", help="fail only what is certain")
    parser.add_argument("--plant", action="store_true", help="let clients do harm on purpose")
    parser.add_argument("--patience", type=float, default=60, metavar="SECONDS",
                        help="how long one step of a client may take")
    parser.add_argument("--only", default="", metavar="KIND,...", help="these kinds of clients alone")
    parser.add_argument("--samples", metavar="FILE", help="write all samples there, as CSV")
    options = parser.parse_args()
    kinds = chosen(parser, options.only) + list(planted.ALL if options.plant else ())
    model = os.path.join(ROOT, "models", "vanto.xml")
    place = Place(RobotProcess(options.tavro, model), options.ledctl)
    try:
        hurried, steady, ledger, ends = run(place, options.minutes, kinds, options.patience)
        loud = place.robot.loud_lines()
    finally:
        place.robot.stop()
    if options.samples:
        write_samples(options.samples, hurried, steady)
    print(f"{options.minutes:g} minutes; steps: " + ", ".join(
        f"{name} {count}" + (f" ({ledger.away[name]} met a module away)" if ledger.away[name] else "")
        for name, count in sorted(ledger.steps.items())))
    rows = verdict(steady, ledger, ends, loud, options.sure)
    for row in rows:
        print(f"{'holds' if row.holds else 'FAILS':6} {row.what}: {row.found}")
    sys.exit(0 if all(row.holds for row in rows) else 1)


if __name__ == "__main__":
    main()
