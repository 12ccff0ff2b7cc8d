"""doctor, bench and the configuration of ledctl, with real robots.

    ledctl_doctor_test.py TAVRO LEDCTL
"""
import json
import os
import subprocess
import sys
import unittest

from ledctl_robot import DEADLINE, Robot

TAVRO, LEDCTL = sys.argv[1:3]
NOWHERE = {"LEDCTL_ROBOT": "127.0.0.1:1"}


class WithRobot(unittest.TestCase):

    @classmethod
    def setUpClass(cls):
        cls.robot = Robot(TAVRO, LEDCTL)
        cls.addClassCleanup(cls.robot.__exit__)


class Doctor(WithRobot):

    def examine(self, *words, **variables):
        ended = self.robot.run("--json", "doctor", *words, **variables)
        self.assertEqual(ended.stderr, "")
        return ended.returncode, json.loads(ended.stdout)

    def test_a_whole_robot_is_well(self):
        status, told = self.examine()
        self.assertEqual((status, told["ok"], told["problems"]), (0, True, []))
        self.assertEqual(told["name"], "Vanto")
        self.assertEqual(told["address"], self.robot.address)
        self.assertEqual(told["source"], "LEDCTL_ROBOT")
        self.assertEqual(told["role"], "operator")
        self.assertEqual(set(told["modules"]),
                         {"memory", "robotmodel", "motion", "signsandfeedback", "leds"})
        self.assertIn("HBLeds", told["services"])
        self.assertEqual(told["limits"]["list elements"], 4096)

    def test_people_read_it_as_text(self):
        ended = self.robot.run("doctor")
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))
        self.assertTrue(ended.stdout.startswith("robot     Vanto at unix:"), ended.stdout)
        self.assertTrue(ended.stdout.endswith("\nAll is well.\n"), ended.stdout)

    def test_running_calls_are_listed(self):
        call = subprocess.Popen([LEDCTL, "rotateEyes", "255", "0.2", "60"],
                                env=self.robot.variables(), stderr=subprocess.DEVNULL)
        try:
            while True:
                calls = self.examine()[1]["calls"]
                if calls:
                    break
                self.assertIsNone(call.poll())
            self.assertEqual((calls[0]["service"], calls[0]["method"]), ("HBLeds", "rotateEyes"))
            self.assertEqual(calls[0]["client"].split("/")[0], "ledctl")
        finally:
            call.terminate()
            call.wait(DEADLINE)

    def test_no_robot_is_told_with_where_it_was_looked_for_and_how_to_start_one(self):
        status, told = self.examine(**NOWHERE)
        self.assertEqual((status, told["ok"], told["reached"]), (3, False, False))
        self.assertIn("127.0.0.1:1", told["problems"][0]["what"])
        self.assertIn("LEDCTL_ROBOT", told["problems"][0]["advice"])
        self.assertIn("make run", told["problems"][0]["advice"])

    def test_it_takes_no_arguments(self):
        ended = self.robot.run("doctor", "x")
        self.assertEqual(ended.returncode, 2)
        self.assertIn("Usage: ledctl doctor", ended.stderr)


class DoctorOfPartOfARobot(unittest.TestCase):

    def test_what_is_missing_is_named_with_what_brings_it_back(self):
        with Robot(TAVRO, LEDCTL) as robot:
            ended = robot.run("--service", "HBHost", "unloadModule", "leds")
            self.assertEqual(ended.returncode, 0, ended.stderr)
            ended = robot.run("doctor")
            self.assertEqual(ended.returncode, 1)
            self.assertIn("WRONG: There is no HBLeds", ended.stdout)
            self.assertIn("loadModule leds", ended.stdout)


class Bench(WithRobot):

    def test_percentiles_grow_and_the_calls_are_counted(self):
        ended = self.robot.run("--json", "bench", "--count", "50")
        self.assertEqual((ended.returncode, ended.stderr), (0, ""))
        told = json.loads(ended.stdout)
        self.assertEqual((told["service"], told["method"], told["count"]),
                         ("HBRobotModel", "getRobotName", 50))
        self.assertTrue(0 < told["p50"] <= told["p90"] <= told["p99"] <= told["max"], told)
        self.assertGreater(told["callsPerSecond"], 0)

    def test_any_method_can_be_measured(self):
        ended = self.robot.run("--json", "bench", "--count", "5", "--service", "HBMemory", "getData",
                               "RobotConfig/Head/Version")
        self.assertEqual(json.loads(ended.stdout)["method"], "getData")

    def test_a_call_that_fails_ends_it(self):
        ended = self.robot.run("bench", "getIntensity", "NoSuchLed")
        self.assertEqual((ended.returncode, ended.stdout), (1, ""))
        self.assertIn("NoSuchLed", ended.stderr)


class Configuration(WithRobot):

    def configure(self, text, home=None):
        folder = os.path.join(home or self.robot.home, ".config", "ledctl")
        os.makedirs(folder, exist_ok=True)
        path = os.path.join(folder, "config")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        self.addCleanup(os.remove, path)
        return path

    def run_without_variable(self, *words, **more):
        variables = self.robot.variables(**more)
        if "LEDCTL_ROBOT" not in more:
            del variables["LEDCTL_ROBOT"]
        return subprocess.run([LEDCTL, *words], env=variables, capture_output=True, text=True,
                              timeout=DEADLINE)

    def test_its_robot_is_the_one_that_is_meant(self):
        self.configure(f"address = {self.robot.address}\n")
        told = json.loads(self.run_without_variable("--json", "doctor").stdout)
        self.assertEqual((told["address"], told["source"]),
                         (self.robot.address, "the configuration"))

    def test_variable_and_option_go_before_it(self):
        self.configure("address = 127.0.0.1:1\n")
        self.assertEqual(self.run_without_variable("services").returncode, 3)
        self.assertEqual(self.robot.run("services").returncode, 0)
        self.assertEqual(
            self.run_without_variable("--robot", self.robot.tcp, "services").returncode, 0)

    def test_the_folder_for_such_files_may_be_elsewhere(self):
        elsewhere = os.path.join(self.robot.home, "elsewhere")
        self.configure(f"address = {self.robot.address}\n", home=elsewhere)
        ended = self.run_without_variable("services",
                                          XDG_CONFIG_HOME=os.path.join(elsewhere, ".config"))
        self.assertEqual(ended.returncode, 0, ended.stderr)

    def test_a_mistake_is_told_with_file_and_line(self):
        path = self.configure("# mine\nadress = x\n")
        ended = self.run_without_variable("services")
        self.assertEqual((ended.returncode, ended.stdout), (2, ""))
        self.assertEqual(ended.stderr,
                         f"ledctl: {path}:2: unknown key 'adress'. Did you mean 'address'?\n")
        self.assertEqual(self.run_without_variable("--help").returncode, 0)

    def test_its_token_goes_to_no_other_robot(self):
        self.configure("address = 127.0.0.1:1\ntoken-file = nowhere.token\n")
        ended = self.run_without_variable("services")
        self.assertIn("nowhere.token", ended.stderr)
        self.assertEqual(self.robot.run("services").returncode, 0)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
