"""Makes the faults of faults.py, one at a time, and sees whether a test notices.

    tests/faults/seed.py FOLDER [WORD]

Works on a copy of the last commit, in FOLDER (git-ignored). WORD picks the faults whose text has it.
Fails when a fault goes unnoticed, or no longer fits the code.
"""
import os
import re
import subprocess
import sys

from faults import FAULTS

PATIENCE = 240  # seconds for a test program: a hang is noticed too


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
    if os.path.exists(tree):
        require(["git", "-C", tree, "checkout", "-q", "--force", "--detach", commit])
    else:
        require(["git", "worktree", "prune"])
        require(["git", "worktree", "add", "-q", "--detach", tree, commit])
    if not os.path.exists(f"{tree}/build/build.ninja"):
        require(["cmake", "--preset", "release"], cwd=tree)


def build(tree, program):
    return run(["cmake", "--build", "build", "--target", program], cwd=tree)


def test(tree, fault):
    """Which tests failed; none when the fault went unnoticed."""
    try:
        done = run([f"build/bin/{fault.program}", "--gtest_brief=1",
                    f"--gtest_filter={fault.filter}"], cwd=tree, timeout=PATIENCE)
    except subprocess.TimeoutExpired:
        return ["(it hung)"]
    if done.returncode == 0:
        return []
    return sorted(set(re.findall(r"^\[  FAILED  \] (\w[^\s,]*\.[^\s,]+)", done.stdout, re.M))) or ["(died)"]


def verdict(tree, fault):
    """What became of a fault, and whether that is as it should be."""
    path = os.path.join(tree, fault.file)
    with open(path, encoding="utf-8") as file:
        text = file.read()
    if text.count(fault.was) != 1:
        return f"stands {text.count(fault.was)} times in {fault.file}, not once", False
    try:
        with open(path, "w", encoding="utf-8") as file:
            file.write(text.replace(fault.was, fault.becomes))
        built = build(tree, fault.program)
        if built.returncode != 0:
            return f"does not compile:\n{built.stdout[-1000:]}", False
        noticed = test(tree, fault)
    finally:
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
    if not noticed:
        return "UNNOTICED", False
    more = f" and {len(noticed) - 1} more" if len(noticed) > 1 else ""
    return f"noticed by {noticed[0]}{more}", True


def main():
    folder, word = sys.argv[1], "".join(sys.argv[2:])
    tree = os.path.join(folder, "tree")
    prepare(tree)
    chosen = [fault for fault in FAULTS if word in fault.what]
    for program in sorted({fault.program for fault in chosen}):  # what is not faulty passes
        require(["cmake", "--build", "build", "--target", program], cwd=tree)
        require([f"build/bin/{program}", "--gtest_brief=1"], cwd=tree)
    failed = 0
    for fault in chosen:
        text, is_good = verdict(tree, fault)
        failed += not is_good
        print(f"{fault.what}: {text}", flush=True)
    print(f"{len(chosen) - failed} of {len(chosen)} faults noticed")
    sys.exit(1 if failed or not chosen else 0)


main()
