"""The long rack's own promises, with steps that take no time."""
import contextlib
import dataclasses
import io
import os
import tempfile
import unittest
from unittest import mock

import torture
from torture import Step

STEPS = (Step("one", "passes", [["true"], ["sh", "-c", "echo said $WORD"]], {"WORD": "this"}),
         Step("two", "fails", [["sh", "-c", "exit 3"], ["sh", "-c", "echo never"]]),
         Step("three", "is no program", [["no-such-program"]]),
         Step("four", "passes", [["true"]]))


class Torture(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.kept = folder.name
        for name, value in (("STEPS", STEPS), ("KEPT", self.kept), ("commit", lambda: "abc")):
            patch = mock.patch.object(torture, name, value)
            patch.start()
            self.addCleanup(patch.stop)

    def run_with(self, *words):
        """Returns the status and what it printed."""
        out = io.StringIO()
        with mock.patch("sys.argv", ["torture.py", *words]), contextlib.redirect_stdout(out):
            try:
                torture.main()
            except SystemExit as end:
                return end.code or 0, out.getvalue()
        return 0, out.getvalue()

    def test_a_step_that_fails_hides_no_other(self):
        status, text = self.run_with()
        self.assertEqual(status, "failed: two, three")
        table = text[text.index("=== the last"):]
        self.assertRegex(table, "passed +0:00:00  `one`: passes")
        self.assertRegex(table, "FAILED: sh ended with status 3 .*`two`")
        self.assertRegex(table, "FAILED: .*no-such-program.*`three`")
        self.assertRegex(table, "passed .*`four`")
        self.assertNotIn("never", text)

    def test_what_a_step_said_is_kept(self):
        self.run_with("--only", "one")
        with open(os.path.join(self.kept, "one.log"), encoding="utf-8") as log:
            self.assertEqual(log.read(), "said this\n")
        with open(os.path.join(self.kept, "results.md"), encoding="utf-8") as results:
            text = results.read()
        self.assertIn("| `one`: passes | passed | 0:00:00 |", text)
        self.assertIn("| `two`: fails | not run |", text)

    def test_steps_are_chosen_by_name(self):
        self.assertNotIn("=== two", self.run_with("--only", "one,four")[1])
        status, _ = self.run_with("--only", "five")
        self.assertIn("no such step: five; there are one, two, three, four", status)

    def test_resuming_leaves_out_what_passed(self):
        self.run_with()
        _, text = self.run_with("--resume")
        self.assertNotIn("=== one", text)
        self.assertIn("=== two", text)
        with mock.patch.object(torture, "commit", lambda: "def"):
            self.assertIn("=== one", self.run_with("--resume")[1])

    def test_what_passed_with_other_settings_is_run_again_and_told_as_it_was(self):
        self.run_with("--only", "one")
        long = (dataclasses.replace(STEPS[0], what="passes 1000 times"), *STEPS[1:])
        with mock.patch.object(torture, "STEPS", long):
            _, text = self.run_with("--only", "four")
            self.assertRegex(text, "passed .*`one`: passes \\(")
            self.assertIn("=== one: passes 1000 times", self.run_with("--resume")[1])

    def test_nothing_is_left_out_while_files_differ_from_their_commit(self):
        with mock.patch.object(torture, "commit", lambda: "abc-dirty"):
            self.run_with("--only", "one")
            self.assertIn("=== one", self.run_with("--resume", "--only", "one")[1])


if __name__ == "__main__":
    unittest.main()
