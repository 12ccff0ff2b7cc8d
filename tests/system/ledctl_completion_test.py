"""Completion in a real bash, asking a real robot.

    ledctl_completion_test.py TAVRO LEDCTL
"""
import os
import subprocess
import sys
import time
import unittest

from ledctl_robot import DEADLINE, Robot

TAVRO, LEDCTL = sys.argv[1:3]
ASK = """
source tools/ledctl/completion/ledctl.bash
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMPREPLY=()
_ledctl
((${#COMPREPLY[@]})) && printf '%s\\n' "${COMPREPLY[@]}"
true
"""


class Completion(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        cls.robot = Robot(TAVRO, LEDCTL)
        cls.addClassCleanup(cls.robot.__exit__)

    def complete(self, *words, **variables):
        """The candidates for the last word, the words cut as bash cuts them."""
        ended = subprocess.run(["bash", "-c", ASK, "bash", LEDCTL, *words], capture_output=True,
                               env=self.robot.variables(**variables), text=True, timeout=DEADLINE)
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))
        return ended.stdout.splitlines()

    def test_commands_and_methods_stand_side_by_side(self):
        self.assertEqual(self.complete("wat"), ["watch"])
        self.assertEqual(self.complete("fad"), ["fade", "fadeListRGB", "fadeRGB"])
        self.assertIn("doctor", self.complete(""))
        self.assertEqual(self.complete("describe", "fadeR"), ["fadeRGB"])

    def test_groups_and_leds_come_from_the_robot(self):
        self.assertEqual(self.complete("off", "Brain"),
                         sorted(n for n in self.names("listGroups") + self.names("listLEDs")
                                if n.startswith("Brain")))
        self.robot.run("createGroup", "MyOwnGroup", '["FaceLeds"]')
        self.assertEqual(self.complete("fadeRGB", "MyO"), ["MyOwnGroup"])
        self.assertEqual(self.complete("listGroup", "FaceLedL"), [], "a LED is no group")

    def names(self, method):
        return self.robot.run(method).stdout.splitlines()

    def test_names_with_spaces_are_escaped_unless_quoted(self):
        self.robot.run("createGroup", "Own two", '["FaceLeds"]')
        self.assertEqual(self.complete("off", "Own"), ["Own\\ two"])
        self.assertEqual(self.complete("off", "'Own"), ["Own two"])
        self.assertEqual(self.complete("off", "Own\\ t"), ["Own\\ two"])

    def test_colours_come_from_the_documentation(self):
        self.assertEqual(self.complete("fadeRGB", "FaceLeds", "ma"), ["magenta"])

    def test_lists_are_filled_in_name_by_name(self):
        self.assertEqual(self.complete("createGroup", "G", "'[\"LeftE"),
                         ['["LeftEar"', '["LeftEye"'])
        self.assertEqual(self.complete("createGroup", "G", "'[\"EarLedLeft1"),
                         ['["EarLedLeft1"', '["EarLedLeft10"'])
        self.assertEqual(self.complete("createGroup", "G", "'[\"a\",\"EarLedLeft10"),
                         ['["a","EarLedLeft10","', '["a","EarLedLeft10"]'])

    def test_options_their_values_and_what_the_shell_cuts_apart(self):
        self.assertEqual(self.complete("off", "--pl"), ["--plain"])
        self.assertEqual(self.complete("--service", "HBMe"), ["HBMemory"])
        self.assertEqual(self.complete("--service", "=", "HBMe"), ["HBMemory"])
        self.assertIn("HBMemory", self.complete("--service", "="))
        self.assertEqual(self.complete("--robot", "127.0.0.1", ":", "54"), ["5480"])
        self.assertEqual(self.complete("--robot", "127.0"), ["127.0.0.1:5480"])
        self.assertEqual(self.complete("--token-file", "README"), ["README.md"])

    def test_the_robot_that_the_line_names_is_asked(self):
        nowhere = {"LEDCTL_ROBOT": "127.0.0.1:1"}
        host, port = self.robot.tcp.split(":")
        self.assertEqual(self.complete("off", "BrainLedsR", **nowhere), [])
        self.assertEqual(self.complete("--robot", host, ":", port, "off", "BrainLedsR", **nowhere),
                         ["BrainLedsRear", "BrainLedsRight"])

    def test_other_services_tell_their_names_too(self):
        self.assertEqual(self.complete("--service", "HBHost", "unloadModule", "mo"), ["motion"])
        self.assertEqual(
            self.complete("--service", "HBMemory", "getData", "RobotConfig/Head/V"),
            ["RobotConfig/Head/Version"])
        self.assertEqual(self.complete("watch", "Fa"), ["Face/\\*"])

    def test_commands_remain_where_there_is_no_robot(self):
        nowhere = {"LEDCTL_ROBOT": "127.0.0.1:1"}
        self.assertEqual(self.complete("wat", **nowhere), ["watch"])
        self.assertEqual(self.complete("off", "F", **nowhere), [])

    def test_a_robot_that_does_not_answer_is_given_up(self):
        os.kill(self.robot._process.pid, 19)
        try:
            start = time.monotonic()
            self.assertEqual(self.complete("wat"), ["watch"])
            self.assertLess(time.monotonic() - start, DEADLINE / 2)
        finally:
            os.kill(self.robot._process.pid, 18)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
