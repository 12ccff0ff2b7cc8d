"""Runs fuzz targets, one after another, and tells how many inputs each had.

python3 fuzz/run.py BUILD [--seconds N | --inputs N] [TARGET...]
"""
import argparse
import os
import re
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
TARGETS = ("model", "wire", "words", "calls", "page")
# Longer inputs than these show nothing new and cost time.
LONGEST = {"model": 4096, "wire": 2048, "words": 512, "calls": 64, "page": 2048}


def run(build, name, seconds, inputs):
    """What libFuzzer prints goes to the terminal; returns (status, inputs run)."""
    learnt, found = (os.path.join(build, folder) for folder in ("corpus/" + name, "found/"))
    os.makedirs(learnt, exist_ok=True)
    os.makedirs(found, exist_ok=True)
    command = [os.path.join(build, "bin", "fuzz_" + name), learnt, os.path.join(HERE, "corpus", name),
               "-artifact_prefix=" + found + name + "-", "-max_len=%d" % LONGEST[name],
               "-print_final_stats=1", "-timeout=60", "-rss_limit_mb=2048"]
    command.append("-runs=%d" % inputs if inputs else "-max_total_time=%d" % seconds)
    words = os.path.join(HERE, name + ".dict")
    if os.path.exists(words):
        command.append("-dict=" + words)
    process = subprocess.Popen(command, cwd=os.path.dirname(HERE), stderr=subprocess.PIPE, text=True,
                               errors="replace")
    executed = 0
    for line in process.stderr:
        sys.stderr.write(line)
        counted = re.search(r"number_of_executed_units: (\d+)", line)
        executed = int(counted.group(1)) if counted else executed
    return process.wait(), executed


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", help="a folder that the preset fuzz has built")
    parser.add_argument("--seconds", type=int, default=60)
    parser.add_argument("--inputs", type=int, help="instead of a time")
    parser.add_argument("targets", nargs="*", metavar="TARGET", help=" ".join(TARGETS))
    args = parser.parse_intermixed_args()
    unknown = sorted(set(args.targets) - set(TARGETS))
    if unknown:
        parser.error("no such target: %s; there are %s" % (", ".join(unknown), ", ".join(TARGETS)))
    lines, failed = [], False
    for name in args.targets or TARGETS:
        status, executed = run(os.path.abspath(args.build), name, args.seconds, args.inputs)
        failed = failed or status != 0
        lines.append("%-6s %9d inputs, %s" % (name, executed, "FOUND SOMETHING" if status else "nothing found"))
    print("\n".join(lines))
    sys.exit(1 if failed else 0)


main()
