"""What counts as noticing a fault: of programs that answer as they are told, and build at once."""
import os
import tempfile
import unittest
from unittest import mock

import seed
from faults import Fault

FAULT = Fault("a lamp stays dark", "lamp.cpp", "on();", "", "lamp_test", "Lamp*")
ALL_BUT_OLD = "*-Old.Fails"


class Verdict(unittest.TestCase):
    def verdict(self, *answers):
        """Each answer: the tests that are asked for, and those that fail."""
        wanted = [tests for tests, _ in answers]
        asked = []

        def failures(_, fault, tests):
            self.assertIs(fault, FAULT)
            asked.append(tests)
            return answers[len(asked) - 1][1]

        built = mock.Mock(returncode=0)
        with tempfile.TemporaryDirectory() as tree, mock.patch.object(seed, "failures", failures), \
                mock.patch.object(seed, "run", return_value=built):
            path = os.path.join(tree, FAULT.file)
            with open(path, "w", encoding="utf-8") as file:
                file.write("{ on(); }")
            said = seed.verdict(tree, FAULT, "1", ["Old.Fails"])
            with open(path, encoding="utf-8") as file:
                self.assertEqual(file.read(), "{ on(); }")
        self.assertEqual(asked, wanted)
        return said

    def test_noticed_is_what_fails_twice(self):
        said = self.verdict(("Lamp*", ["Lamp.Lit", "Lamp.Slow"]), ("Lamp*", ["Lamp.Lit"]))
        self.assertEqual(said, ("noticed by Lamp.Lit", True))

    def test_what_fails_once_does_not_count(self):
        said = self.verdict(("Lamp*", ["Lamp.Slow"]), ("Lamp*", []), (ALL_BUT_OLD, ["Room.Slow"]),
                            (ALL_BUT_OLD, ["Room.Other"]))
        self.assertEqual(said, ("UNNOTICED", False))

    def test_all_tests_but_those_that_fail_anyway_may_notice(self):
        said = self.verdict(("Lamp*", []), (ALL_BUT_OLD, ["Room.Bright"]),
                            (ALL_BUT_OLD, ["Room.Bright", "Room.Warm"]))
        self.assertEqual(said, ("noticed by Room.Bright", True))

    def test_a_hang_counts_when_the_mended_program_passes(self):
        hung = [("Lamp*", [seed.HUNG])] * 2
        self.assertEqual(self.verdict(*hung, ("Lamp*", [])), ("noticed by (it hung)", True))
        said = self.verdict(*hung, ("Lamp*", [seed.HUNG]))
        self.assertEqual(said, ("hung, but mended again, fails too: (it hung)", False))


if __name__ == "__main__":
    unittest.main()
