"""Runs a program built with the thread sanitizer and tells the data races that are ours.

    tests/soak/races.py PROGRAM [WORDS...]

The distribution's gRPC is not built for the sanitizer, so what its own code in headers does with its
own objects looks like races when they change hands inside the library. A report counts as gRPC's
when both of its accesses are made by gRPC: of each stack the innermost frame outside of the standard
library is one of namespace grpc. Every other report is printed and fails, and so does the program.
"""
import os
import re
import subprocess
import sys

OPTIONS = ("halt_on_error=0:exitcode=0:second_deadlock_stack=1:history_size=4:"
           "ignore_noninstrumented_modules=1")
REPORT = re.compile(r"^=+\nWARNING: ThreadSanitizer: .*?^=+$", re.M | re.S)
ACCESS = re.compile(r"^  (?:Previous )?(?:atomic )?(?:read|write) of size .*?:\n(.*?)^$", re.M | re.S | re.I)
FRAME = re.compile(r"^    #\d+ (.*)$", re.M)
STANDARD = re.compile(r"^(?:[\w:<>&* ]+ )?std::|/include/c\+\+/|^operator (?:new|delete)|^mem(?:cpy|set|move)\b")
OF_GRPC = re.compile(r"^(?:\S+ )*?grpc::")


def is_grpcs(report):
    """Whether gRPC's own code made both accesses."""
    stacks = [FRAME.findall(stack) for stack in ACCESS.findall(report)]
    if len(stacks) != 2:
        return False
    for stack in stacks:
        innermost = next((frame for frame in stack if not STANDARD.search(frame)), "")
        if not OF_GRPC.match(innermost.split("(")[0].split("<")[0]):
            return False
    return True


def main():
    done = subprocess.run(sys.argv[1:], env=dict(os.environ, TSAN_OPTIONS=OPTIONS), text=True,
                          stdout=sys.stdout, stderr=subprocess.PIPE, errors="replace")
    reports = REPORT.findall(done.stderr)
    ours = [report for report in reports if not is_grpcs(report)]
    rest = REPORT.sub("", done.stderr).strip()
    print("\n".join([rest, *ours]).strip())
    unread = done.stderr.count("WARNING: ThreadSanitizer") - len(reports)
    print(f"{len(ours)} races; {len(reports) - len(ours)} reports of what gRPC does by itself")
    if unread:
        print(f"{unread} reports were not understood")
    sys.exit(1 if ours or unread or done.returncode != 0 else 0)


if __name__ == "__main__":
    main()
