"""Tells which share of its lines each fuzz target reaches with its corpus, from a build of its own.

python3 fuzz/coverage.py [--least PERCENT]: build-coverage is made by the preset coverage. Beside the
committed corpus what `make fuzz` has learnt is used, when it is there.
"""
import argparse
import json
import os
import shutil
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build-coverage")
# What each target is aimed at.
SOURCES = {
    "model": ["framework/sim"],
    "wire": ["remote/proto/convert.cpp", "remote/proto/described.cpp", "remote/proto/utf8.cpp"],
    "words": ["tools/ledctl/" + name + ".cpp" for name in (
        "literal", "overload", "completion", "names_of", "options", "config", "print", "suggest",
        "manual")],
    "calls": ["hardware/leds/src"],
    "page": ["web/server/" + name + ".cpp" for name in (
        "base64", "calls", "conversation", "fields", "frames", "gzip", "hosts", "http", "json", "log_tail",
        "replies")],
}


def tool(*words):
    return subprocess.run(words, cwd=ROOT, check=True, capture_output=True, text=True).stdout


def measure(name):
    """{file: (lines reached, lines)} of the target's sources."""
    raw, merged = os.path.join(BUILD, name + "-raw"), os.path.join(BUILD, name + ".profdata")
    shutil.rmtree(raw, ignore_errors=True)
    learnt = os.path.join(ROOT, "build-fuzz", "corpus", name)
    corpora = [os.path.join(ROOT, "fuzz", "corpus", name)] + ([learnt] if os.path.isdir(learnt) else [])
    program = os.path.join(BUILD, "bin", "fuzz_%s_replay" % name)
    environment = dict(os.environ, LLVM_PROFILE_FILE=raw + "/%m.profraw")  # one a library
    subprocess.run([program, *corpora], cwd=ROOT, check=True, env=environment)
    counts = [os.path.join(raw, one) for one in os.listdir(raw)]
    tool("llvm-profdata-14", "merge", "-o", merged, *counts)
    libraries = [os.path.join(BUILD, "lib", one) for one in sorted(os.listdir(os.path.join(BUILD, "lib")))
                 if one.endswith(".so")]
    objects = [word for library in libraries for word in ("-object", library)]
    report = json.loads(tool("llvm-cov-14", "export", "-summary-only", "-instr-profile", merged, program,
                             *objects))["data"][0]
    files = {os.path.relpath(one["filename"], ROOT): one["summary"]["lines"] for one in report["files"]}
    aimed = tuple(SOURCES[name])
    return {path: (lines["covered"], lines["count"]) for path, lines in sorted(files.items())
            if path in aimed or path.startswith(tuple(source + "/" for source in aimed))}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--least", type=float, default=80, help="percent of lines; less is a failure")
    parser.add_argument("build", nargs="*", help="words for cmake --build, such as -- -j1")
    args = parser.parse_args()
    targets = ["fuzz_%s_replay" % name for name in SOURCES]
    if not os.path.exists(os.path.join(BUILD, "build.ninja")):
        subprocess.run(["cmake", "--preset", "coverage"], cwd=ROOT, check=True)
    subprocess.run(["cmake", "--build", BUILD, *args.build, "--target", *targets], cwd=ROOT, check=True)
    failed = False
    for name in SOURCES:
        files = measure(name)
        reached, count = (sum(pair[i] for pair in files.values()) for i in (0, 1))
        percent = 100.0 * reached / count
        failed = failed or percent < args.least
        print("%s: %.1f %% of %d lines" % (name, percent, count))
        for path, (one, all_lines) in files.items():
            print("  %5.1f %%  %s" % (100.0 * one / max(all_lines, 1), path))
    sys.exit(1 if failed else 0)


main()
