"""Every module library exports its entry point and nothing else.

Anything more (above all symbols of type u, which g++ makes of inline variables) can keep a library in
the process after it was unloaded.
"""
import glob
import subprocess

import tree


def main():
    folder = tree.arguments(__doc__).root
    modules = sorted(glob.glob(folder + "/lib*.so"))
    faults = []
    for module in modules:
        listing = subprocess.run(["nm", "-D", "--defined-only", module], check=True,
                                 capture_output=True, text=True).stdout
        symbols = sorted(tuple(line.split()[-2:]) for line in listing.splitlines())
        if symbols != [("T", "_createModule")]:
            told = ", ".join(f"{kind} {name}" for kind, name in symbols) or "nothing"
            faults.append(f"{module}: exports {told} instead of T _createModule")
    tree.finish(len(modules), faults, "modules")


main()
