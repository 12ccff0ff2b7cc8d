"""Runs the examples of docs/ledctl.md as they are printed there, against a real robot.

    ledctl_docs_test.py TAVRO LEDCTL

A block marked `shell` is one script; it ends well. A block marked `text` after it is what the script
prints; "..." stands for anything, lines included.
"""
import os
import re
import subprocess
import sys
import unittest

from ledctl_robot import DEADLINE, Robot

TAVRO, LEDCTL = sys.argv[1:3]
BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)


def blocks():
    with open("docs/ledctl.md", encoding="utf-8") as file:
        return BLOCK.findall(file.read())


def pattern_of(text):
    """What is printed, as a regular expression."""
    return re.escape(text).replace(re.escape("..."), ".*")


class Examples(unittest.TestCase):

    def test_every_example_does_what_the_guide_says(self):
        found = blocks()
        self.assertGreater(len([kind for kind, _ in found if kind == "shell"]), 8)
        with Robot(TAVRO, LEDCTL) as robot:
            path = os.path.dirname(LEDCTL) + ":" + os.environ["PATH"]
            for i, (kind, script) in enumerate(found):
                self.assertIn(kind, ("shell", "text"))
                if kind == "text":
                    self.assertEqual(found[i - 1][0], "shell", f"nothing prints: {script}")
                    continue
                with self.subTest(script=script):
                    ended = subprocess.run(["bash", "-euc", script], capture_output=True, text=True,
                                           env=robot.variables(PATH=path), timeout=DEADLINE)
                    self.assertEqual((ended.returncode, ended.stderr), (0, ""))
                    if i + 1 < len(found) and found[i + 1][0] == "text":
                        self.assertRegex(ended.stdout,
                                         re.compile(rf"\A{pattern_of(found[i + 1][1])}\Z", re.DOTALL))

    def test_the_man_page_is_well_formed(self):
        ended = subprocess.run(["man", "--warnings", "-l", "tools/ledctl/ledctl.1"],
                               capture_output=True, text=True, timeout=DEADLINE,
                               env={"PATH": os.environ["PATH"], "LANG": "C.UTF-8",
                                    "MANWIDTH": "80"})
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))
        self.assertIn("--token-file FILE", ended.stdout)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
