"""Holds the folder table of docs/architecture.md against the include lines of the tree.

A folder may include itself and what its row names in the last column: rows above its own and
libraries. Files in a folder's test/ may also use the test libraries and what the row `tests` names.
"""
import os
import re

import tree

LIBRARIES = {
    "boost/": "Boost", "spdlog/": "spdlog", "tinyxml2.h": "tinyxml2", "grpc/": "gRPC",
    "grpcpp/": "gRPC", "google/protobuf/": "gRPC", "CLI/": "CLI11", "nlohmann/": "nlohmann-json",
    "openssl/": "OpenSSL", "zlib.h": "zlib",
    "gtest/": "test", "gmock/": "test", "rapidcheck": "test", "benchmark/": "test"}
SYSTEM = ("sys/", "netinet/", "arpa/", "linux/", "bits/")
INCLUDE = re.compile(r'^\s*#\s*include\s*(<[^>]+>|"[^"]+")')
ANYTHING = "anything"


def read_table(root):
    """{folder: names it may use} in the order of the table."""
    table = {}
    for line in tree.lines(root, "docs/architecture.md"):
        cells = [cell.strip() for cell in line.strip().strip("|").split("|")]
        if len(cells) != 3 or not cells[0].startswith("`"):
            continue
        for folder in re.findall(r"`([^`]+?)/?`", cells[0]):
            table[folder] = {name.strip("` ").rstrip("/") for name in cells[2].split(",")} - {"std"}
    return table


def table_faults(root, table):
    """Folders that do not exist, and names that are neither a library nor a row above."""
    above, faults = set(), []
    for folder, uses in table.items():
        if not os.path.isdir(os.path.join(root, folder)):
            faults.append(f"docs/architecture.md: there is no folder {folder}")
        for name in sorted(uses - above - set(LIBRARIES.values()) - {ANYTHING}):
            faults.append(f"docs/architecture.md: {folder} uses {name}, which does not stand above")
        above.add(folder)
    return faults


def row_of(path, table):
    fitting = [row for row in table if path.startswith(row + "/")]
    return max(fitting, key=len, default=None)


def used_by(include, root, table):
    """The row or library that an include line names; None for the standard; a fault as ValueError."""
    name = include[1:-1]
    if name.endswith(".pb.h"):
        return "remote/proto"  # generated from it
    if include[0] == '"':
        if not os.path.exists(os.path.join(root, name)):
            raise ValueError(f"{include} is no path from the root of the tree")
        row = row_of(name, table)
        if row is None:
            raise ValueError(f"{include} lies in no folder of the table")
        return row
    for prefix, library in LIBRARIES.items():
        if name.startswith(prefix):
            return library
    if "/" in name and not name.startswith(SYSTEM):
        raise ValueError(f"{include} belongs to no known library")
    return None


def main():
    root = tree.arguments(__doc__).root
    table = read_table(root)
    faults = table_faults(root, table)
    paths = tree.files(root, tree.CODE)
    for path in paths:
        row = row_of(path, table)
        if row is None:
            faults.append(f"{path}: lies in no folder of docs/architecture.md's table")
            continue
        allowed = table[row] | {row}
        if "/test/" in path:
            allowed |= {"test"} | table.get("tests", set())
        for number, line in enumerate(tree.lines(root, path), 1):
            include = INCLUDE.match(line)
            if not include:
                continue
            try:
                used = used_by(include.group(1), root, table)
            except ValueError as fault:
                faults.append(f"{path}:{number}: {fault}")
                continue
            if used and used not in allowed and ANYTHING not in allowed:
                faults.append(f"{path}:{number}: {row} may not use {used} ({include.group(1)})")
    tree.finish(len(paths), faults, "files")


main()
