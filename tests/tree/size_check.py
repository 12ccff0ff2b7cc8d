"""No source file is longer than what a person reads in one go."""
import tree

LIMIT = 400


def main():
    root = tree.arguments(__doc__).root
    paths = tree.files(root, tree.CODE + tree.SCRIPTS + ("CMakeLists.txt",))
    faults = []
    for path in paths:
        length = len(tree.lines(root, path))
        if length > LIMIT:
            faults.append(f"{path}: {length} lines, at most {LIMIT}")
    tree.finish(len(paths), faults, "files")


main()
