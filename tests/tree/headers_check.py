"""Every public header compiles on its own, without a warning."""
import concurrent.futures
import os
import subprocess

import tree

FOLDERS = ("framework/", "access/", "services/", "hardware/leds/src/", "remote/client/",
           "remote/server/")
FLAGS = ["-std=c++20", "-fsyntax-only", "-Wall", "-Wextra", "-Wpedantic", "-Werror"]


def compile_alone(compiler, root, build, path):
    """What the compiler says to a file that includes nothing else."""
    generated = os.path.join(build, "remote/proto")
    command = [compiler, *FLAGS, "-I", root, "-isystem", generated, "-x", "c++", "-"]
    return subprocess.run(command, input=f'#include "{path}"\n', capture_output=True, text=True)


def main():
    args = tree.arguments(__doc__, build="its build folder, for generated headers",
                          compiler="the C++ compiler")
    paths = [path for path in tree.files(args.root, ".h")
             if path.startswith(FOLDERS) and "/test/" not in path]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        runs = pool.map(lambda path: compile_alone(args.compiler, args.root, args.build, path), paths)
    faults = [f"{path}: does not compile alone\n{run.stderr}"
              for path, run in zip(paths, runs) if run.returncode != 0]
    tree.finish(len(paths), faults, "headers")


main()
