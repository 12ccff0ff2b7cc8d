"""Counts the instructions of five paths, which noise does not move, and compares two builds.

    bench/instructions.py NEW [BASE] [--most PERCENT]

NEW and BASE are build folders. Fails when a path takes more than PERCENT more instructions than in
BASE.
"""
import argparse
import os
import re
import subprocess
import sys
import tempfile

PATHS = ("fadeRGB", "setIntensity", "wire", "tick", "follow")
FEW, MANY = 200, 600


def count(program, path, calls):
    """Instructions of the whole process."""
    with tempfile.TemporaryDirectory() as folder:
        run = subprocess.run(
            ["valgrind", "--tool=callgrind", f"--callgrind-out-file={folder}/out", program, path,
             str(calls)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        if run.returncode != 0:
            sys.exit(f"{run.stdout}\n{program} {path} {calls} ended with status {run.returncode}")
        return int(re.search(r"Collected : (\d+)", run.stdout).group(1))


def per_call(build, path):
    """What start and end cost is in both counts."""
    program = os.path.join(build, "bench/paths")
    return (count(program, path, MANY) - count(program, path, FEW)) / (MANY - FEW)


def table(options, measure=per_call):
    """The lines of the table, and the paths that take too many."""
    lines = [f"{'path':14}{'instructions':>14}" +
             (f"{'before':>14}{'more':>9}" if options.base else "")]
    failed = []
    for path in PATHS:
        new = measure(options.new, path)
        line = f"{path:14}{new:14,.0f}"
        if options.base:
            base = measure(options.base, path)
            more = 100 * (new - base) / base
            line += f"{base:14,.0f}{more:+8.1f}%"
            if more > options.most:
                line += "  TOO MANY"
                failed.append(path)
        lines.append(line)
    return lines, failed


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("new")
    parser.add_argument("base", nargs="?")
    parser.add_argument("--most", type=float, default=10, metavar="PERCENT")
    options = parser.parse_args()
    lines, failed = table(options)
    print("\n".join(lines))
    if failed:
        sys.exit(f"more than {options.most:g} % more instructions: {', '.join(failed)}")


if __name__ == "__main__":
    main()
