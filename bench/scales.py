"""The scales: runs the benchmark programs of a build and prints what they find as one table, each
figure beside its floor or peer of the same run and beside what it is to reach.

    bench/scales.py build [--json FILE] [--markdown] [--quick] [--only WORD]
"""
import argparse
import json
import math
import os
import statistics
import subprocess
import sys
import tempfile
from dataclasses import asdict, dataclass

import processes

SIZES = (100, 1_000, 10_000, 100_000)
GROWTH = (("start", "start and end"), ("createGroup", "group of all"), ("writeGroup", "write to all"))
UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


@dataclass
class Line:
    """One line of the table. `value` is `figure` over `peer` where `is_ratio`, else `figure`."""
    what: str
    beside: str
    figure: float
    peer: float
    unit: str
    value: float
    is_ratio: bool
    bound: float
    is_least: bool = False  # the bound is the least that is wanted, not the most

    @property
    def is_reached(self):
        return self.value >= self.bound if self.is_least else self.value <= self.bound


class Results:
    """What the programs reported, by benchmark. Other work on the machine only slows a program
    down, so the quickest of its repetitions tells what it costs; percentiles are medians."""

    def __init__(self, folder, repetitions):
        self.folder, self.repetitions, self.found = folder, repetitions, {}

    def run(self, program, options=(), times=1):
        """`times`: how many times the usual repetitions."""
        print(f"running {program} ...", file=sys.stderr)
        with tempfile.NamedTemporaryFile(suffix=".json") as report:
            run = subprocess.run(
                [os.path.join(self.folder, program), f"--benchmark_out={report.name}",
                 "--benchmark_out_format=json", f"--benchmark_repetitions={self.repetitions * times}",
                 *options], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
            if run.returncode != 0:
                sys.exit(f"{run.stdout}\n{program} ended with status {run.returncode}")
            entries = json.load(report)["benchmarks"]
        for entry in entries:
            if entry.get("error_occurred"):
                sys.exit(f"{program}: {entry['name']}: {entry['error_message']}")
            if entry["run_type"] == "iteration":
                name = entry["name"].split("/iterations")[0].removesuffix("/real_time")
                self.found.setdefault(name, []).append(entry)

    def median(self, name, counter):
        return statistics.median(entry[counter] for entry in self.found[name])

    def least(self, name, counter):
        return min(entry[counter] for entry in self.found[name])

    def most(self, name, counter):
        return max(entry[counter] for entry in self.found[name])

    def seconds(self, name, kind="real_time"):
        """Per iteration: "real_time", or "cpu_time" of the thread that is measured."""
        entries = self.found[name]
        return min(entry[kind] for entry in entries) * UNITS[entries[0]["time_unit"]]


def ratio(what, beside, figure, peer, unit, bound, is_least=False):
    return Line(what, beside, figure, peer, unit, figure / peer, True, bound, is_least)


def plain(what, beside, figure, unit, bound, peer=math.nan):
    return Line(what, beside, figure, peer, unit, figure, False, bound)


def remote_lines(results):
    """Wire and framework together, for two placements that are never compared."""
    # In turns, so that a slow minute of the machine is everybody's.
    results.run("remote_call_bench", ["--benchmark_enable_random_interleaving=true",
                                      "--benchmark_min_time=0.1"], times=2)
    bounds = {"one_core": (1.1, 0.95), "two_cores": (1.1, 0.6)}
    for place, (tcp, unix) in bounds.items():
        where = place.replace("_", " ")
        one = f"remote_call/one_in_flight/{place}/"
        sixteen = f"remote_call/16_in_flight/{place}/"
        if one + "echo_tcp" not in results.found:
            continue
        echo = "bare synchronous gRPC echo, TCP"
        for percentile in ("p50_us", "p99_us"):
            name = percentile.removesuffix("_us")
            of = results.least if name == "p50" else results.median
            peer = of(one + "echo_tcp", percentile)
            for way, bound in (("tcp", tcp), ("unix", unix)):
                yield ratio(f"remote setIntensity, {way}, {where}, {name}", echo,
                            of(one + f"robot_{way}", percentile), peer, "us",
                            bound if name == "p50" else math.inf)
        for way in ("tcp", "unix"):
            single = results.least(one + f"robot_{way}", "p50_us")
            fade = results.least(one + f"fadeRGB_{way}", "p50_us")
            yield plain(f"remote fadeRGB of 48 devices, {way}, {where}: more than setIntensity",
                        "remote setIntensity", fade - single, "us", 15, single)
        peer = results.most(sixteen + "echo_tcp", "calls_per_s")
        for name, text, bound in (
                ("robot_tcp", "16 in flight, tcp", 1.5), ("robot_unix", "16 in flight, unix", 1.5),
                ("asynchronous_tcp", "16 in flight, asynchronous client, tcp", 1.5),
                ("asynchronous_unix", "16 in flight, asynchronous client, unix", 2.5)):
            yield ratio(f"{text}, {where}", "the same echo, 16 threads",
                        results.most(sixteen + name, "calls_per_s"), peer, "calls/s", bound,
                        is_least=True)


def process_lines(results):
    """Inside one process: the processor time of the thread that calls."""
    results.run("fade_rgb_bench", ["--benchmark_filter=-resolve"])
    results.run("motion_tick_bench", ["--benchmark_filter=^(tick|plainLoop|armAndEnd)/"])
    yield ratio("fadeRGB of 48 devices down to key frames", "its three lists, built and dropped",
                results.seconds("fadeRGB", "cpu_time"),
                results.seconds("threeListsAlone", "cpu_time"), "s", 2)
    yield ratio("object call by name", "a virtual call through a map",
                results.seconds("objectCallByName"), results.seconds("virtualCallThroughMap"), "s",
                3)
    for count in (100, 1_000_000):
        yield ratio(f"tick of {count:,} moving channels", "the interpolation loop alone",
                    results.seconds(f"tick/{count}"), results.seconds(f"plainLoop/{count}"), "s", 2)
    yield ratio("1,000,000 movements pending, each to arm and to end", "1,000 pending",
                results.seconds("armAndEnd/1000000") / 1e6, results.seconds("armAndEnd/1000") / 1e3,
                "s", 2)
    results.run("pending_fades_bench")
    for name in ("arm", "end"):
        yield ratio(f"1,000,000 fades' futures pending, each to {name}", "1,000 pending",
                    results.seconds(f"{name}Fade/1000000"), results.seconds(f"{name}Fade/1000"),
                    "s", 2)


def growth_lines(results):
    results.run("model_growth_bench")
    for name, text in GROWTH:
        times = [results.seconds(f"{name}/{size}") for size in SIZES]
        exponent = math.log(times[-1] / times[0]) / math.log(SIZES[-1] / SIZES[0])
        yield plain(f"model of {SIZES[0]:,} to {SIZES[-1]:,} LEDs: {text}, exponent",
                    "linear growth", exponent, "", 1.35, 1.0)
        steps = [math.log(later / earlier, 10) for earlier, later in zip(times, times[1:])]
        yield plain(f"the steepest of its decades: {text}, exponent", "a quadratic step",
                    max(steps), "", 1.9, 2.0)


def time_lines(results):
    results.run("tick_lateness_bench")
    tick = 10.0
    yield plain("from a command to its value in the memory, p99", "one tick",
                results.median("commandToValue", "p99_ms"), "ms", tick + 1, tick)
    alone = results.median("tickLateness/alone", "p99_ms")
    yield plain("tick lateness, p99", "", alone, "ms", math.inf)
    for name, text, bound in (("watchers", "200 watchers at 50 Hz", 2),
                              ("pages", "50 pages at 50 Hz", 2),
                              ("loaded", "every core kept busy", 5)):
        yield plain(f"tick lateness with {text}, p99", "alone",
                    results.median(f"tickLateness/{name}", "p99_ms"), "ms", bound, alone)


def rest_lines(build, seconds):
    print("watching processes at rest ...", file=sys.stderr)
    echo, robot, blinking = processes.at_rest(build, seconds)
    beside = "a bare gRPC server at rest"
    yield plain("robot at rest: wake-ups", beside, robot.wakeups, "/s",
                max(echo.wakeups * 1.25, echo.wakeups + 1), echo.wakeups)
    yield plain("robot at rest: memory", beside, robot.mebibytes, "MiB", 24, echo.mebibytes)
    yield plain("robot at rest: processor", beside, robot.percent, "% of a core", math.inf,
                echo.percent)
    yield plain("passive blinking: processor", "at rest", blinking.percent, "% of a core", 0.1,
                robot.percent)
    yield plain("passive blinking: wake-ups", "at rest", blinking.wakeups, "/s", math.inf,
                robot.wakeups)
    starts = processes.starts(build, 11)
    yield ratio("start to ready", "a bare gRPC server's start", starts.robot, starts.echo, "s", 5)


def number(value, unit):
    if math.isnan(value):
        return ""
    if unit == "s":
        for name, size in (("s", 1.0), ("ms", 1e-3), ("us", 1e-6), ("ns", 1e-9)):
            if value >= size:
                return f"{value / size:.3g} {name}"
    text = f"{value:,.0f}" if value >= 1000 else f"{value:.3g}"
    return f"{text} {unit}".strip()


def cells(line):
    """What stands in one row."""
    sign = ">=" if line.is_least else "<="
    wanted, verdict = "", ""
    if math.isfinite(line.bound):
        factor = " x" if line.is_ratio else ""
        wanted = f"{sign} {line.bound:.3g}{factor}"
        verdict = "reached" if line.is_reached else "MISSED"
    return [line.what, number(line.figure, line.unit), line.beside, number(line.peer, line.unit),
            f"{line.value:.2f} x" if line.is_ratio else "", wanted, verdict]


HEAD = ["what", "figure", "beside", "its figure", "ratio", "to reach", ""]


def print_markdown(lines):
    for row in [HEAD, ["---"] * len(HEAD), *map(cells, lines)]:
        print(f"| {' | '.join(row)} |")


def print_table(lines):
    rows = [HEAD, *map(cells, lines)]
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    for row in rows:
        print("  ".join(cell.rjust(width) if i in (1, 3, 4) else cell.ljust(width)
                        for i, (cell, width) in enumerate(zip(row, widths))).rstrip())


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("build", help="the build folder")
    parser.add_argument("--json", metavar="FILE", help="write the lines there too")
    parser.add_argument("--markdown", action="store_true", help="print the table for a document")
    parser.add_argument("--quick", action="store_true", help="one repetition, short rests")
    parser.add_argument("--only", metavar="WORD", default="",
                        help="one part: remote, process, growth, time or rest")
    options = parser.parse_args()
    results = Results(os.path.join(options.build, "bench"), 1 if options.quick else 5)
    parts = {"process": lambda: process_lines(results), "growth": lambda: growth_lines(results),
             "time": lambda: time_lines(results), "remote": lambda: remote_lines(results),
             "rest": lambda: rest_lines(options.build, 5 if options.quick else 30)}
    lines = [line for name, part in parts.items() if options.only in name for line in part()]
    if not lines:
        sys.exit(f"no part of the scales is called {options.only!r}; there are {', '.join(parts)}")
    (print_markdown if options.markdown else print_table)(lines)
    if options.json:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump([{**asdict(line), "is_reached": line.is_reached} for line in lines], file,
                      indent=1, default=str)


if __name__ == "__main__":
    main()
