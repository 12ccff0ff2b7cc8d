"""The soak with clients that do harm on purpose: each kind of row of its verdict must fail, but for
the calls that stayed, which nothing here causes.

    canary_test.py COMMAND...     of the soak
"""
import re
import subprocess
import sys

# What looks at the harm that is done, and the successes of two clients that have none.
MUST_FAIL = ("Rss", "Pss_Anon", "descriptors", "threads", "errors in the log", "unexpected errors",
             "successes of Errors", "successes of Idle", "steps that did not end",
             "the robot's end")


def main():
    done = subprocess.run([*sys.argv[1:], "--minutes", "0.75", "--sure", "--plant", "--patience", "5"],
                          capture_output=True, text=True)
    print(done.stdout, done.stderr)
    failed = re.findall(r"^FAILS  ([^:]+):", done.stdout, re.M)
    unnoticed = [one for one in MUST_FAIL if one not in failed]
    if unnoticed or done.returncode != 1:
        sys.exit(f"status {done.returncode}, not noticed: {', '.join(unnoticed) or 'nothing'}")


main()
