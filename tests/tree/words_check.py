"""Words that do not belong into the tree: paths of one machine, work left without a reason."""
import re

import tree

RULES = [
    # The robot's socket has its published place below the system's folder for such things.
    (re.compile(r"(?<![\w.~$}])/(home/|Users/|root/|work/|mnt/|opt/|tmp/(?!tavro-))"),
     "a path of one machine"),
    (re.compile(r"\b(TODO|FIXME|XXX)\b(?!: (\S+ ){2}\S)"), "work left without its reason"),
    (re.compile(r"\bNOLINT\w*\b(?!\()"), "a silenced warning without its name"),
    (re.compile(r"^(<{7}|>{7}) "), "a merge left unfinished"),
]
# Hold the words it looks for; and what git writes into a worktree.
OWN = ("tests/tree/words_check.py", "tests/tree/canaries_test.py", ".git")


def main():
    root = tree.arguments(__doc__).root
    paths = [path for path in tree.files(root) if path not in OWN]
    faults = []
    for path in paths:
        for number, line in enumerate(tree.lines(root, path), 1):
            for pattern, meaning in RULES:
                if pattern.search(line):
                    faults.append(f"{path}:{number}: {meaning}: {line.strip()[:80]}")
    tree.finish(len(paths), faults, "files")


main()
