"""No source file is longer than what a person reads in one go."""
import tree

LIMIT = 400
CONTRACT_LIMIT = 600  # the wire contract is one file on purpose, and looked things up in


def main():
    root = tree.arguments(__doc__).root
    paths = tree.files(root, tree.CODE + tree.SCRIPTS + ("CMakeLists.txt",))
    faults = []
    for path in paths:
        length = len(tree.lines(root, path))
        limit = CONTRACT_LIMIT if path.endswith(".proto") else LIMIT
        if length > limit:
            faults.append(f"{path}: {length} lines, at most {limit}")
    tree.finish(len(paths), faults, "files")


main()
