"""Which lines of the sources the tests run: a table by folder, from a build of the preset coverage.

    tests/coverage.py BUILD [--least PERCENT] [--jobs N] [--lines FOLDER] [--again]

Runs every test of that build but those labelled `source`. Fails when one fails, and when a folder stays below PERCENT. --lines
lists the lines of FOLDER that no test runs.
"""
import argparse
import glob
import json
import os
import shutil
import subprocess
import sys

FOLDERS = ("framework", "hardware", "services", "access", "remote", "web", "tavro", "tools")
PACKAGE = "clients/python/tavro"
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# What every Python that finds the package on its path runs first.
HOOK = "import coverage\ncoverage.process_startup()\n"
PYTHON_SETTINGS = """[run]
source = {package}
omit = */v1/*
data_file = {profiles}/python
parallel = True
sigterm = True
"""


def prepare_python(build, profiles):
    """Returns the environment in which the package's lines are counted, in every process."""
    settings = os.path.join(build, "python-coverage.cfg")
    with open(settings, "w", encoding="utf-8") as file:
        file.write(PYTHON_SETTINGS.format(package=os.path.join(build, "python", "tavro"),
                                          profiles=profiles))
    with open(os.path.join(build, "python", "sitecustomize.py"), "w", encoding="utf-8") as file:
        file.write(HOOK)
    return {"COVERAGE_PROCESS_START": settings}


def run_tests(build, profiles, jobs):
    """Returns whether all passed."""
    shutil.rmtree(profiles, ignore_errors=True)
    os.makedirs(profiles)
    environment = dict(os.environ, LLVM_PROFILE_FILE=f"{profiles}/%4m.profraw",
                       **prepare_python(build, profiles))
    done = subprocess.run(["ctest", "--test-dir", build, "--output-on-failure", "-LE", "source",
                           "-j", jobs], env=environment)
    return done.returncode == 0


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
    command.append("--ignore-filename-regex=(/test/|^/usr/)")
    report = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    files = []
    for file in json.loads(report.stdout)["data"][0]["files"]:
        path = os.path.normpath(file["filename"])  # a compiler cache goes by way of the build folder
        if not path.startswith(build + os.sep):
            files.append({"path": os.path.relpath(path, ROOT), "missed": missed(file),
                          "count": file["summary"]["lines"]["count"],
                          "ran": file["summary"]["lines"]["covered"]})
    return files


def missed(file):
    """Line numbers at which a region begins that never ran."""
    return sorted({segment[0] for segment in file["segments"]
                   if segment[3] and segment[4] and segment[2] == 0})


def export_python(build, profiles):
    """The same of the package's statements."""
    tool = [sys.executable, "-m", "coverage"]
    options = {"cwd": build, "check": True, "stdout": subprocess.DEVNULL,
               "env": dict(os.environ, COVERAGE_RCFILE=os.path.join(build, "python-coverage.cfg"))}
    subprocess.run([*tool, "combine", "--keep", "-q"], **options)
    report = os.path.join(build, "python-coverage.json")
    subprocess.run([*tool, "json", "-q", "-o", report], **options)
    with open(report, encoding="utf-8") as file:
        files = json.load(file)["files"]
    package = os.path.join(build, "python", "tavro")
    return [{"path": os.path.join(PACKAGE, os.path.relpath(os.path.join(build, path), package)),
             "missed": file["missing_lines"], "count": file["summary"]["num_statements"],
             "ran": file["summary"]["covered_lines"]} for path, file in files.items()]


def table(files):
    """Prints it. Returns the percent by folder."""
    percents = {}
    print(f"{'folder':22}{'lines':>8}{'run':>8}{'percent':>9}")
    for folder in (*FOLDERS, PACKAGE):
        own = [file for file in files if file["path"].startswith(folder + "/")]
        count, ran = (sum(file[key] for file in own) for key in ("count", "ran"))
        if count == 0:
            sys.exit(f"no line of {folder} was compiled")
        percents[folder] = 100 * ran / count
        print(f"{folder:22}{count:8}{ran:8}{percents[folder]:8.1f}%")
    return percents


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("build")
    parser.add_argument("--least", type=float, default=90, metavar="PERCENT")
    parser.add_argument("--jobs", default=str(os.cpu_count()), metavar="N")
    parser.add_argument("--lines", metavar="FOLDER")
    parser.add_argument("--again", action="store_true", help="show the last run, run nothing")
    options = parser.parse_args()
    build = os.path.abspath(options.build)
    profiles = os.path.join(build, "profiles")
    have_passed = options.again or run_tests(build, profiles, options.jobs)
    files = export(build, profiles) + export_python(build, profiles)
    percents = table(files)
    for file in files:
        if options.lines and file["path"].startswith(options.lines) and file["missed"]:
            print(f"{file['path']}: {', '.join(map(str, file['missed']))}")
    low = [folder for folder, percent in percents.items() if percent < options.least]
    faults = [f"below {options.least:g} %: {', '.join(low)}"] if low else []
    faults += [] if have_passed else ["tests failed"]
    sys.exit("; ".join(faults) if faults else 0)


main()
