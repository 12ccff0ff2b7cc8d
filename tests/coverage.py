"""Which lines of the sources the tests run: a table by folder, from a build of the preset coverage.

    tests/coverage.py BUILD [--least PERCENT] [--lines FOLDER]

Runs every test of that build. Fails when a folder that is counted stays below PERCENT. --lines lists
the lines of FOLDER that no test runs.
"""
import argparse
import glob
import json
import os
import shutil
import subprocess
import sys

FOLDERS = ("framework", "hardware", "services", "access", "remote", "web", "tavro", "tools")
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def run_tests(build, profiles):
    shutil.rmtree(profiles, ignore_errors=True)
    environment = dict(os.environ, LLVM_PROFILE_FILE=f"{profiles}/%4m.profraw")
    done = subprocess.run(["ctest", "--test-dir", build, "--output-on-failure", "-LE", "source",
                           "-j", str(os.cpu_count())], env=environment)
    if done.returncode != 0:
        sys.exit("tests failed")


def objects(build):
    """Everything that holds code of ours."""
    for pattern in ("bin/*", "lib/*.so", "lib/tavro/*.so"):
        yield from sorted(glob.glob(os.path.join(build, pattern)))


def export(build, profiles):
    """By source file: its lines and those that ran, and the numbers of those that did not."""
    merged = os.path.join(build, "tests.profdata")
    subprocess.run(["llvm-profdata-14", "merge", "-sparse", "-o", merged,
                    *glob.glob(f"{profiles}/*.profraw")], check=True)
    first, *others = objects(build)
    command = ["llvm-cov-14", "export", f"-instr-profile={merged}", first]
    command += [f"-object={other}" for other in others]
    command.append("--ignore-filename-regex=(/test/|build|/usr/)")
    report = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    return json.loads(report.stdout)["data"][0]["files"]


def missed(file):
    """Line numbers at which a region begins that never ran."""
    return sorted({segment[0] for segment in file["segments"]
                   if segment[3] and segment[4] and segment[2] == 0})


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("build")
    parser.add_argument("--least", type=float, default=90, metavar="PERCENT")
    parser.add_argument("--lines", metavar="FOLDER")
    parser.add_argument("--again", action="store_true", help="show the last run, run nothing")
    options = parser.parse_args()
    profiles = os.path.abspath(os.path.join(options.build, "profiles"))
    if not options.again:
        run_tests(options.build, profiles)
    files = [(os.path.relpath(file["filename"], ROOT), file)
             for file in export(options.build, profiles)]
    low = []
    print(f"{'folder':12}{'lines':>8}{'run':>8}{'percent':>9}")
    for folder in FOLDERS:
        lines = [file["summary"]["lines"] for path, file in files if path.startswith(folder + "/")]
        count, ran = (sum(one[key] for one in lines) for key in ("count", "covered"))
        if count == 0:
            sys.exit(f"no line of {folder} was compiled")
        percent = 100 * ran / count
        print(f"{folder:12}{count:8}{ran:8}{percent:8.1f}%")
        if percent < options.least:
            low.append(folder)
    for path, file in files:
        if options.lines and path.startswith(options.lines) and missed(file):
            print(f"{path}: {', '.join(map(str, missed(file)))}")
    if low:
        sys.exit(f"below {options.least:g} %: {', '.join(low)}")


main()
