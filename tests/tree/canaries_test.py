"""Each check of the tree, shown a tree with one fault, finds that fault: none of them is asleep."""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
TABLE = """| folder | what it is | may use |
|---|---|---|
| `low` | below | std |
| `high` | above | `low`, Boost |
"""


class Canary(unittest.TestCase):
    def setUp(self):
        self.root = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.root)

    def write(self, path, text):
        full = os.path.join(self.root, path)
        os.makedirs(os.path.dirname(full), exist_ok=True)
        with open(full, "w", encoding="utf-8") as file:
            file.write(text)

    def check(self, name, *extra):
        command = [sys.executable, os.path.join(HERE, name + "_check.py"), self.root, *extra]
        run = subprocess.run(command, capture_output=True, text=True)
        self.assertIn(run.returncode, (0, 1), run.stderr)
        return run.returncode, run.stdout

    def assert_fault(self, text, name, *extra):
        status, output = self.check(name, *extra)
        self.assertIn(text, output)
        self.assertEqual(status, 1)

    def assert_clean(self, name, *extra):
        status, output = self.check(name, *extra)
        self.assertEqual((status, "0 faults" in output), (0, True), output)


class Layers(Canary):
    def setUp(self):
        super().setUp()
        self.write("docs/architecture.md", TABLE)
        self.write("low/low.h", "#include <vector>\n")
        self.write("high/high.h", '#include "low/low.h"\n#include <boost/asio.hpp>\n')

    def test_accepts_a_tree_in_order(self):
        self.assert_clean("layers")

    def test_finds_an_include_that_points_upwards(self):
        self.write("low/bad.cpp", '#include "high/high.h"\n')
        self.assert_fault("low/bad.cpp:1: low may not use high", "layers")

    def test_finds_a_library_that_the_row_does_not_name(self):
        self.write("low/bad.cpp", "\n#include <boost/asio.hpp>\n")
        self.assert_fault("low/bad.cpp:2: low may not use Boost", "layers")

    def test_finds_a_library_that_nobody_knows(self):
        self.write("high/bad.cpp", "#include <surprise/all.h>\n")
        self.assert_fault("no known library", "layers")

    def test_finds_a_path_that_does_not_start_at_the_root(self):
        self.write("low/bad.cpp", '#include "low.h"\n')
        self.assert_fault("no path from the root", "layers")

    def test_finds_a_folder_without_a_row(self):
        self.write("stray/stray.cpp", "\n")
        self.assert_fault("stray/stray.cpp: lies in no folder", "layers")

    def test_finds_a_row_without_a_folder(self):
        self.write("docs/architecture.md", TABLE + "| `gone` | was there | std |\n")
        self.assert_fault("there is no folder gone", "layers")

    def test_finds_a_row_that_uses_one_below_it(self):
        self.write("docs/architecture.md", TABLE.replace("| std |", "| `high` |"))
        self.assert_fault("low uses high, which does not stand above", "layers")

    def test_finds_the_test_library_outside_of_tests(self):
        self.write("low/test/low_test.cpp", "#include <gtest/gtest.h>\n")
        self.assert_clean("layers")
        self.write("low/bad.cpp", "#include <gtest/gtest.h>\n")
        self.assert_fault("low may not use test", "layers")


class Symbols(Canary):
    ENTRY = 'extern "C" __attribute__((visibility("default"))) int _createModule() { return 0; }\n'

    def build(self, name, text, *flags):
        self.write(name + ".cpp", text)
        subprocess.run(["g++", "-std=c++20", "-shared", "-fPIC", *flags, "-o", f"lib{name}.so",
                        name + ".cpp"], cwd=self.root, check=True)

    def test_accepts_the_entry_point_alone(self):
        self.build("good", self.ENTRY, "-fvisibility=hidden")
        self.assert_clean("symbols")

    def test_finds_a_second_symbol(self):
        self.build("bad", self.ENTRY + "int leaked() { return 1; }\n")
        self.assert_fault("T _Z6leakedv", "symbols")

    def test_finds_a_unique_symbol(self):
        self.build("bad", self.ENTRY +
                   "template <class T> int& one() { static int n = 0; return n; }\n"
                   "int two() { return one<int>(); }\n")
        self.assert_fault("u _Z", "symbols")

    def test_finds_that_there_is_no_module(self):
        self.assert_fault("nothing to check", "symbols")


class Sources(Canary):
    def test_size_finds_a_file_of_401_lines(self):
        self.write("a.cpp", "\n" * 400)
        self.assert_clean("size")
        self.write("b.py", "\n" * 401)
        self.assert_fault("b.py: 401 lines", "size")

    def test_words_finds_a_path_of_one_machine(self):
        self.write("a.txt", "see docs/home/page and ~/home/x\n")
        self.assert_clean("words")
        self.write("b.cpp", '// x\nconst char* where = "/home/me/robot";\n')
        self.assert_fault("b.cpp:2: a path of one machine", "words")

    def test_words_finds_work_left_without_its_reason(self):
        self.write("a.cpp", "// TODO: merge once the parser accepts lists\n")
        self.assert_clean("words")
        self.write("b.cpp", "// TODO later\n")
        self.assert_fault("b.cpp:1: work left", "words")

    def test_format_finds_a_badly_laid_out_file(self):
        self.write("good/a.cpp", "int a() { return 1; }\n")
        self.assert_clean("format")
        self.write("good/b.cpp", "int  b( ){return 1;}\n")
        self.assert_fault("good/b.cpp: not formatted", "format")

    def test_headers_finds_one_that_leans_on_its_includer(self):
        self.write("framework/a.h", "#pragma once\n#include <string>\nstd::string a();\n")
        self.assert_clean("headers", self.root, "g++")
        self.write("framework/b.h", "#pragma once\nstd::vector<int> b();\n")
        self.assert_fault("framework/b.h: does not compile alone", "headers", self.root, "g++")

    def test_tidy_finds_a_name_against_the_rules(self):
        shutil.copy(os.path.join(HERE, "..", "..", ".clang-tidy"), self.root)
        self.write("framework/a.cpp", "class Good {};\nGood makeGood() { return {}; }\n")
        self.write("compile_commands.json", '[{"directory": "%s", "file": "%s/framework/a.cpp", '
                   '"command": "g++ -c framework/a.cpp"}]' % (self.root, self.root))
        self.assert_clean("tidy", self.root)
        self.write("framework/a.cpp", "class bad_name {};\n")
        self.assert_fault("readability-identifier-naming", "tidy", self.root)


if __name__ == "__main__":
    unittest.main()
