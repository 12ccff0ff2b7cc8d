"""clang-tidy, by the rules of .clang-tidy, on the sources below the remote layer."""
import concurrent.futures
import json
import os
import subprocess

import tree

FOLDERS = ("framework/", "hardware/", "services/")


def sources(root, build):
    """What the build compiles there, tests left out, longest first so that the last ends early."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        compiled = {os.path.relpath(entry["file"], root) for entry in json.load(file)}
    chosen = [path for path in compiled if path.startswith(FOLDERS) and "/test/" not in path]
    return sorted(chosen, key=lambda path: -os.path.getsize(os.path.join(root, path)))


def tidy(root, build, path):
    command = ["clang-tidy-14", "--quiet", "-p", build, "--warnings-as-errors=*", path]
    return subprocess.run(command, cwd=root, capture_output=True, text=True)


def main():
    args = tree.arguments(__doc__, build="a build folder of the tree")
    root = os.path.realpath(args.root)
    paths = sources(root, args.build)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        runs = pool.map(lambda path: tidy(root, args.build, path), paths)
    faults = [f"{path}:\n{run.stdout}{run.stderr}"
              for path, run in zip(paths, runs) if run.returncode != 0]
    tree.finish(len(paths), faults, "sources")


main()
