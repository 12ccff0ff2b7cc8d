"""The whole long rack: everything that takes too long for every day, one step after another.

    tests/torture.py [--only STEP,...] [--resume] [--list]

A step that fails does not keep the next from running. What each said is in build/torture/STEP.log;
the last verdict of each step is kept, and all are shown at the end as a table, and as Markdown in
build/torture/results.md. --resume leaves out what passed at this commit with the same settings;
nothing is left out while files differ from their commit. Fails when a step of this run failed.
"""
import argparse
import datetime
import json
import os
import subprocess
import sys
import time
from dataclasses import dataclass, field

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
KEPT = os.path.join(ROOT, "build", "torture")
JOBS = os.environ.get("JOBS") or str(os.cpu_count())
ROUNDS = os.environ.get("TORTURE_ROUNDS") or "1000"
MINUTES = os.environ.get("TORTURE_MINUTES") or "10"
INPUTS = os.environ.get("TORTURE_INPUTS") or "1000000"
FAULTS, SEQUENCES = "10", "2000"
MOTION = "motion_fault_system_test"
RACK = ("client_fault_system_test", "client_excess_system_test", "process_fault_system_test", MOTION)
PYTHON = "/usr/bin/python3"

ASAN = {"ASAN_OPTIONS": "detect_leaks=1:strict_string_checks=1",
        "UBSAN_OPTIONS": "print_stacktrace=1"}
TSAN = "halt_on_error=1:second_deadlock_stack=1"


@dataclass(frozen=True)
class Step:
    name: str
    what: str
    commands: list[list[str]]
    environment: dict[str, str] = field(default_factory=dict)


def build(folder, *targets):
    """What configures and builds targets of a preset."""
    return [["make", f"{folder}/build.ninja"],
            ["cmake", "--build", folder, "-j", JOBS, "--target", *targets]]


def longest(hours, *command):
    """For what has no end of its own when it hangs."""
    return ["timeout", f"{hours}h", *command]


STEPS = (
    Step("unload", f"all modules away and back {ROUNDS} times",
         [*build("build", "unload_test"), ["build/bin/unload_test"]], {"UNLOAD_ROUNDS": ROUNDS}),
    Step("unload-asan", "100 times under the address, leak and undefined-behaviour sanitizers",
         [*build("build-asan", "unload_test"), ["build-asan/bin/unload_test"]],
         {"UNLOAD_ROUNDS": "100", **ASAN}),
    Step("unload-tsan", "100 times under the thread sanitizer",
         [*build("build-tsan", "unload_test"), ["build-tsan/bin/unload_test"]],
         {"UNLOAD_ROUNDS": "100", "TSAN_OPTIONS": TSAN}),
    Step("storm-tsan", "60 s of every method from many remote clients under the thread sanitizer",
         [*build("build-tsan", "remote_storm_test"),
          [PYTHON, "tests/soak/races.py", "build-tsan/bin/remote_storm_test"]],
         {"REMOTE_STORM_SECONDS": "60"}),
    Step("rack", f"faults of clients, of excess, of the process and of motion {FAULTS} times; "
         f"properties of HBLeds: {SEQUENCES} sequences a robot in C++, the long setting in Python",
         [*build("build", *RACK, "leds_property_test", "robot", "python"),
          *(longest(2, f"build/bin/{program}") for program in RACK if program != MOTION),
          longest(2, f"build/bin/{MOTION}", f"--gtest_repeat={FAULTS}"),
          longest(2, "build/bin/leds_property_test"),
          longest(2, PYTHON, "-m", "pytest", "-q", "-p", "no:cacheprovider",
                  "clients/python/test/property_test.py")],
         {"FAULT_ROUNDS": FAULTS, "RC_PARAMS": f"max_success={SEQUENCES}", "RACK_LONG": "1",
          "no_proxy": "127.0.0.1,localhost", "PYTHONDONTWRITEBYTECODE": "1",
          "PYTHONPATH": os.path.join(ROOT, "build", "python"),
          "TAVRO_PROGRAM": os.path.join(ROOT, "build", "bin", "tavro")}),
    Step("soak", f"{MINUTES} minutes of steady work of all kinds of clients",
         [*build("build", "robot", "python"),
          [PYTHON, "tests/soak/soak.py", "build/bin/tavro", "build/bin/ledctl", "--minutes", MINUTES,
           "--samples", "build/torture/soak.csv"]],
         {"PYTHONPATH": os.path.join(ROOT, "build", "python")}),
    Step("instructions", "instructions of five paths beside those of an earlier commit",
         [["make", "instructions"]]),
    Step("fuzz", f"{INPUTS} new inputs for each fuzz target",
         [["make", "fuzz", f"FUZZ_ARGS=--inputs {INPUTS}"]]),
    Step("coverage", "which lines the tests run: 90 % of each folder", [["make", "coverage"]]),
    Step("faults", "seeded faults, one at a time: each is noticed", [["make", "faults"]]),
)


def commit():
    done = subprocess.run(["git", "describe", "--always", "--dirty"], cwd=ROOT, text=True,
                          stdout=subprocess.PIPE, check=True)
    return done.stdout.strip()


def run(command, environment, log):
    """What it prints goes to the terminal and into the log. Returns its status."""
    with subprocess.Popen(command, cwd=ROOT, env=dict(os.environ, **environment), text=True,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          errors="replace") as process:
        try:
            for line in process.stdout:
                print(line, end="", flush=True)
                log.write(line)
        except BaseException:  # Ctrl-C does not reach what runs under `timeout`
            process.terminate()
            raise
    return process.returncode


def attempt(step):
    """Runs a step up to its first command that fails. Returns (verdict, seconds)."""
    print(f"=== {step.name}: {step.what}", flush=True)
    began = time.monotonic()
    verdict = "passed"
    with open(os.path.join(KEPT, f"{step.name}.log"), "w", encoding="utf-8") as log:
        for command in step.commands:
            try:
                status = run(command, step.environment, log)
            except OSError as error:
                verdict = f"FAILED: {error}"
                break
            if status != 0:
                verdict = f"FAILED: {os.path.basename(command[0])} ended with status {status}"
                break
    return verdict, time.monotonic() - began


def read_results():
    try:
        with open(os.path.join(KEPT, "results.json"), encoding="utf-8") as file:
            return json.load(file)
    except FileNotFoundError:
        return {}


def keep(results):
    with open(os.path.join(KEPT, "results.json"), "w", encoding="utf-8") as file:
        json.dump(results, file, indent=1)
    with open(os.path.join(KEPT, "results.md"), "w", encoding="utf-8") as file:
        file.write("| step | verdict | took | when, commit |\n|---|---|---|---|\n")
        for row in table(results):
            file.write("| " + " | ".join(row) + " |\n")


def table(results):
    """Rows of texts, in the order of the steps. What was run is told as it was then."""
    for step in STEPS:
        one = results.get(step.name)
        if one is None:
            yield f"`{step.name}`: {step.what}", "not run", "", ""
        else:
            yield (f"`{step.name}`: {one.get('what', 'settings not kept')}", one["verdict"],
                   str(datetime.timedelta(seconds=round(one["seconds"]))),
                   f"{one['when']}, {one['commit']}")


def choose(only, resume, results):
    """Errors: SystemExit for a name that is no step's."""
    names = [name for name in only.replace(",", " ").split() if name]
    unknown = sorted(set(names) - {step.name for step in STEPS})
    if unknown:
        sys.exit(f"torture: no such step: {', '.join(unknown)}; there are "
                 f"{', '.join(step.name for step in STEPS)}")
    here = commit()
    for step in STEPS:
        one = results.get(step.name, {})
        has_passed = (one.get("verdict") == "passed" and one.get("what") == step.what and
                      one.get("commit") == here and not here.endswith("-dirty"))
        if (not names or step.name in names) and not (resume and has_passed):
            yield step


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--only", default="", metavar="STEP,...")
    parser.add_argument("--resume", action="store_true", help="leave out what passed so at this commit")
    parser.add_argument("--list", action="store_true", help="what there is")
    options = parser.parse_args()
    if options.list:
        print("\n".join(f"{step.name:14}{step.what}" for step in STEPS))
        return
    os.makedirs(KEPT, exist_ok=True)
    results = read_results()
    failed = []
    for step in list(choose(options.only, options.resume, results)):
        here = commit()
        verdict, seconds = attempt(step)
        results[step.name] = {"verdict": verdict, "what": step.what, "seconds": seconds,
                              "commit": here, "when": datetime.datetime.now().strftime("%Y-%m-%d %H:%M")}
        keep(results)
        if verdict != "passed":
            failed.append(step.name)
    print("=== the last verdict of each step")
    for what, verdict, took, when in table(results):
        print(f"{verdict:10} {took:>8}  {what}" + (f" ({when})" if when else ""))
    sys.exit(f"failed: {', '.join(failed)}" if failed else 0)


if __name__ == "__main__":
    main()
