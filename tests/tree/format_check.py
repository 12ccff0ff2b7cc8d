"""Every C++ file is laid out as clang-format lays it out (`make format` does it)."""
import subprocess

import tree


def main():
    root = tree.arguments(__doc__).root
    paths = tree.files(root, tree.CODE)
    faults = []
    for start in range(0, len(paths), 50):
        run = subprocess.run(["clang-format-14", "--dry-run", *paths[start:start + 50]], cwd=root,
                             check=True, capture_output=True, text=True)
        faulty = {line.split(":")[0] for line in run.stderr.splitlines() if "warning:" in line}
        faults += [f"{path}: not formatted" for path in sorted(faulty)]
    tree.finish(len(paths), faults, "files")


main()
