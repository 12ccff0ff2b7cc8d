"""What the checks of the tree share: walking it, and reporting."""
import argparse
import os
import sys

CODE = (".h", ".cpp")
SCRIPTS = (".py", ".sh", ".cmake", ".proto", ".js", ".css", ".html")
SKIPPED = {".git", "node_modules", "__pycache__"}


def arguments(description, **extra):
    """Parses ROOT and the named extra arguments."""
    parser = argparse.ArgumentParser(description=description)
    parser.add_argument("root", help="the tree to check")
    for name, text in extra.items():
        parser.add_argument(name, help=text)
    return parser.parse_args()


def files(root, suffixes=None):
    """Paths below root, relative to it and sorted; build folders and their like left out."""
    found = []
    for folder, names, leaves in os.walk(root):
        top = os.path.relpath(folder, root) == "."
        names[:] = [n for n in names if n not in SKIPPED and not (top and n.startswith("build"))]
        for leaf in leaves:
            if suffixes is None or leaf.endswith(suffixes):
                found.append(os.path.relpath(os.path.join(folder, leaf), root))
    return sorted(found)


def lines(root, path):
    """The lines of a text file, or none of one that is not text."""
    with open(os.path.join(root, path), "rb") as file:
        content = file.read()
    if b"\0" in content:
        return []
    return content.decode("utf-8", "replace").splitlines()


def finish(checked, faults, what):
    """Prints the faults and ends with 1, or says how much was checked. Checking nothing is a fault."""
    if not checked:
        faults = faults or [f"nothing to check: no {what} found"]
    for fault in faults:
        print(fault)
    print(f"{checked} {what} checked, {len(faults)} faults")
    sys.exit(1 if faults else 0)
