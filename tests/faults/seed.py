"""Makes the faults of faults.py, one at a time, and sees whether a test notices.

    tests/faults/seed.py FOLDER [--jobs N] [--list | --fit] [WORD]

Works on a copy of the last commit, in FOLDER (git-ignored). WORD picks the faults whose text has it.
For each only the test program that is to notice, and what it is made of, is built again. Noticed is
what fails twice by the same tests, none of which fails without a fault. Fails when a fault goes
unnoticed, or no longer fits the code; --fit looks at that alone, in the sources here.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import time

from faults import FAULTS

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# Seconds for the tests that are about a fault, and for all of a program: a hang is noticed too.
PATIENCE, PATIENCE_WITH_ALL = 60, 600
# What a program can end in that names no test.
HUNG, DIED = "(it hung)", "(died)"


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", **options)


def require(command, **options):
    done = run(command, **options)
    if done.returncode != 0:
        sys.exit(f"{done.stdout}\n{' '.join(command)} ended with status {done.returncode}")


def prepare(tree):
    """A clean copy of the last commit, configured."""
    commit = run(["git", "rev-parse", "HEAD"]).stdout.strip()
    if os.path.exists(f"{tree}/.git"):  # else git would take the folder for a part of ROOT
        require(["git", "-C", tree, "checkout", "-q", "--force", "--detach", commit])
    else:
        if os.path.exists(tree):
            require(["git", "check-ignore", "-q", tree])  # nobody's work
            shutil.rmtree(tree)
        require(["git", "worktree", "prune"])
        require(["git", "worktree", "add", "-q", "--detach", tree, commit])
    if not os.path.exists(f"{tree}/build/build.ninja"):
        # With a compiler cache, mending a fault costs nothing.
        cached = ["-DCMAKE_CXX_COMPILER_LAUNCHER=ccache"] if shutil.which("ccache") else []
        require(["cmake", "--preset", "release", *cached], cwd=tree)


def build_command(programs, jobs):
    return ["cmake", "--build", "build", "-j", jobs, "--target", *programs]


def failures(tree, fault, tests):
    """Which of these tests fail."""
    try:
        done = run([f"build/bin/{fault.program}", "--gtest_brief=1",
                    f"--gtest_filter={tests}"], cwd=tree,
                   timeout=PATIENCE_WITH_ALL if tests[:2] in ("*", "*-") else PATIENCE)
    except subprocess.TimeoutExpired:
        return [HUNG]
    if done.returncode == 0:
        return []
    names = re.findall(r"^\[  FAILED  \] (\w[^\s,]*\.[^\s,]+)", done.stdout, re.M)
    return sorted(set(names)) or [DIED]


def failures_twice(tree, fault, tests):
    """Those that fail at two attempts: a busy machine alone fails one now and then."""
    first = failures(tree, fault, tests)
    second = failures(tree, fault, tests) if first else []
    is_vague = {HUNG, DIED} & {*first, *second}
    return second if is_vague else [test for test in second if test in first]


def failing_anyway(tree, fault):
    """Tests of the fault's program that fail without it. Errors: SystemExit when that cannot be told."""
    failed = failures(tree, fault, "*-")
    if {HUNG, DIED} & {*failed}:
        sys.exit(f"without a fault, {fault.program} as a whole: {failed[0]}")
    return failed


def read(tree, fault):
    """The text of the file that is to be made faulty. Errors: ValueError when it does not fit."""
    with open(os.path.join(tree, fault.file), encoding="utf-8") as file:
        text = file.read()
    if text.count(fault.was) != 1:
        raise ValueError(f"stands {text.count(fault.was)} times in {fault.file}, not once")
    return text


def fit(faults):
    """Whether all fit the sources here; prints those that do not."""
    misfits = 0
    for fault in faults:
        try:
            read(ROOT, fault)
        except (OSError, ValueError) as error:
            misfits += 1
            print(f"{fault.what}: {error}")
    print(f"{len(faults)} faults, {misfits} of them do not fit the code")
    return misfits == 0


def verdict(tree, fault, jobs, left_out):
    """What became of a fault, and whether that is as it should be. Tests `left_out` do not count."""
    path = os.path.join(tree, fault.file)
    try:
        text = read(tree, fault)
    except ValueError as error:
        return str(error), False
    try:
        with open(path, "w", encoding="utf-8") as file:
            file.write(text.replace(fault.was, fault.becomes))
        built = run(build_command([fault.program], jobs), cwd=tree)
        if built.returncode != 0:
            return f"does not compile:\n{built.stdout[-1000:]}", False
        for tests in (fault.filter, "*-" + ":".join(left_out)):
            if noticed := failures_twice(tree, fault, tests):
                break
    finally:
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
    if not noticed:
        return "UNNOTICED", False
    if noticed == [HUNG]:
        require(build_command([fault.program], jobs), cwd=tree)
        if again := failures(tree, fault, tests):
            return f"hung, but mended again, fails too: {', '.join(again)}", False
    more = f" and {len(noticed) - 1} more" if len(noticed) > 1 else ""
    return f"noticed by {noticed[0]}{more}", True


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("folder")
    parser.add_argument("--jobs", default=str(os.cpu_count()), metavar="N")
    parser.add_argument("--list", action="store_true", help="what there is")
    parser.add_argument("--fit", action="store_true", help="only whether they fit the sources")
    parser.add_argument("word", nargs="?", default="")
    options = parser.parse_intermixed_args()  # WORD may stand last
    chosen = [fault for fault in FAULTS if options.word in fault.what]
    if options.list:
        print("\n".join(f"{fault.program:12} {fault.what}" for fault in chosen))
        return
    if options.fit:
        sys.exit(0 if fit(chosen) else 1)
    tree = os.path.join(options.folder, "tree")
    prepare(tree)
    programs = sorted({fault.program for fault in chosen})
    if programs:
        require(build_command(programs, options.jobs), cwd=tree)
    for fault in chosen:  # what is not faulty passes, on a busy machine at the second attempt
        if failures(tree, fault, fault.filter) and (failed := failures(tree, fault, fault.filter)):
            sys.exit(f"without a fault, fails: {', '.join(failed)}")
    left_out = {fault.program: failing_anyway(tree, fault)
                for fault in {fault.program: fault for fault in chosen}.values()}
    for program, tests in left_out.items():
        if tests:
            print(f"{program}, fail without a fault and do not count: {', '.join(tests)}", flush=True)
    failed = 0
    for fault in chosen:
        began = time.monotonic()
        text, is_good = verdict(tree, fault, options.jobs, left_out[fault.program])
        failed += not is_good
        print(f"{fault.what}: {text} ({time.monotonic() - began:.0f} s)", flush=True)
    print(f"{len(chosen) - failed} of {len(chosen)} faults noticed")
    sys.exit(1 if failed or not chosen else 0)


if __name__ == "__main__":
    main()
