"""ledctl on a terminal: the robot on the whole screen, progress, and Ctrl-C.

    ledctl_screen_test.py TAVRO LEDCTL
"""
import signal
import sys
import tempfile
import termios
import unittest

import pyte

from ledctl_robot import Robot

TAVRO, LEDCTL = sys.argv[1:3]
ENTER, LEAVE = b"\x1b[?1049h", b"\x1b[?25h\x1b[?1049l"
LIT, OFF = "●", "·"


class Screen:
    """What a person sees of a program on a terminal."""

    def __init__(self, terminal, rows=24, columns=80):
        self.terminal = terminal
        self.pyte = pyte.Screen(columns, rows)
        self._stream = pyte.ByteStream(self.pyte)
        self._seen = 0

    def lines(self):
        self._stream.feed(self.terminal.output[self._seen:])
        self._seen = len(self.terminal.output)
        return self.pyte.display

    def count(self, dot):
        return "".join(self.lines()).count(dot)

    def colors(self, dot):
        self.lines()
        return {cell.fg for row in self.pyte.buffer.values() for cell in row.values()
                if cell.data == dot}

    def wait_for(self, holds):
        self.terminal.read_until(lambda: holds(self))


class Watch(unittest.TestCase):
    """Each test sets the LEDs that it looks at."""

    @classmethod
    def setUpClass(cls):
        cls.robot = Robot(TAVRO, LEDCTL)
        cls.addClassCleanup(cls.robot.__exit__)

    def set_up_leds(self):
        self.run_ok("off", "AllLeds")
        self.run_ok("_setAnyLedIntensity", "ChestLeds", "0")
        self.run_ok("setIntensity", "FeetLeds", "0")

    def run_ok(self, *words):
        ended = self.robot.run(*words)
        self.assertEqual((ended.returncode, ended.stderr), (0, ""), words)
        return ended.stdout

    def test_the_robot_stands_on_80_by_24_with_two_rings_for_eyes(self):
        self.set_up_leds()
        self.run_ok("fadeRGB", "FaceLeds", "red", "0")
        with self.robot.on_terminal("watch", COLORTERM="truecolor") as terminal:
            screen = Screen(terminal)
            screen.wait_for(lambda s: s.count(LIT) == 16 and "quits" in s.lines()[-1])
            self.assertEqual(screen.colors(LIT), {"ff0000"})
            self.assertGreater(screen.count(OFF), 40)
            self.assertIn("Vanto", screen.lines()[0])
            self.assertIn(self.robot.address, screen.lines()[0])
            self.assertIn("q or Ctrl-C quits", screen.lines()[-1])
            for line in screen.lines():
                cells = [i for i, cell in enumerate(line) if cell == LIT]
                self.assertEqual(sum(cells), 39 * len(cells), f"uneven: {line}")
            terminal.type(b"q")
            self.assertEqual(terminal.wait(), 0)

    def test_colours_are_those_of_the_table_where_the_terminal_has_no_more(self):
        self.set_up_leds()
        self.run_ok("fadeRGB", "FaceLeds", "blue", "0")
        with self.robot.on_terminal("watch") as terminal:
            screen = Screen(terminal)
            screen.wait_for(lambda s: s.count(LIT) == 16)
            self.assertIn(b"\x1b[38;5;21m", terminal.output)
            self.assertNotIn(b"\x1b[38;2;", terminal.output)

    def test_brightness_is_told_by_shape_without_colours(self):
        self.set_up_leds()
        self.run_ok("setIntensity", "LeftEar", "0.2")
        with self.robot.on_terminal("watch", NO_COLOR="1") as terminal:
            screen = Screen(terminal)
            screen.wait_for(lambda s: s.count("○") == 10)
            self.assertNotIn(b"\x1b[38", terminal.output)

    def test_it_changes_as_the_robot_does(self):
        self.set_up_leds()
        with self.robot.on_terminal("watch") as terminal:
            screen = Screen(terminal)
            screen.wait_for(lambda s: s.count(OFF) > 40)
            self.assertEqual(screen.count(LIT), 0)
            self.run_ok("setIntensity", "RightEar", "1")
            screen.wait_for(lambda s: s.count(LIT) == 10)

    def test_it_is_drawn_anew_when_the_terminal_changes_its_size(self):
        with self.robot.on_terminal("watch") as terminal:
            Screen(terminal).wait_for(lambda s: "quits" in s.lines()[-1])
            start = len(terminal.output)
            terminal.resize(12, 40)

            def is_whole():
                screen = pyte.Screen(40, 12)
                pyte.ByteStream(screen).feed(terminal.output[start:])
                return "Vanto" in screen.display[0] and "quits" in screen.display[-1]

            terminal.read_until(is_whole)

    def test_it_stands_on_small_terminals_too(self):
        for rows, columns in ((12, 40), (6, 20), (2, 8), (1, 1)):
            with self.subTest(rows=rows, columns=columns), self.robot.on_terminal(
                    "watch", "--count", "1", rows=rows, columns=columns) as terminal:
                self.assertEqual(terminal.wait(), 0)
                self.assertIn(LEAVE, terminal.output)

    def test_ctrl_c_and_termination_give_the_terminal_back(self):
        for end in (lambda t: t.type(b"\x03"), lambda t: t.process.send_signal(signal.SIGTERM),
                    lambda t: t.type(b"q")):
            with self.robot.on_terminal("watch") as terminal:
                Screen(terminal).wait_for(lambda s: "quits" in s.lines()[-1])
                during = termios.tcgetattr(terminal.fd)
                self.assertFalse(during[3] & termios.ECHO)
                end(terminal)
                self.assertEqual(terminal.wait(), 0)
                self.assertEqual(terminal.output.count(ENTER), 1)
                self.assertTrue(terminal.output.endswith(LEAVE), terminal.output[-40:])
                self.assertEqual(termios.tcgetattr(terminal.fd), terminal.settings)

    def test_a_robot_that_goes_gives_the_terminal_back_and_says_so(self):
        with Robot(TAVRO, LEDCTL) as robot, robot.on_terminal("watch") as terminal:
            Screen(terminal).wait_for(lambda s: "quits" in s.lines()[-1])
            robot._process.kill()
            self.assertEqual(terminal.wait(), 3)
            self.assertIn(b"ledctl: ", terminal.output.split(LEAVE)[1])
            self.assertEqual(termios.tcgetattr(terminal.fd), terminal.settings)

    def test_a_viewer_sees_the_robot_too(self):
        with tempfile.NamedTemporaryFile("w") as tokens:
            tokens.write("viewer a-token-to-look-with\n")
            tokens.flush()
            with Robot(TAVRO, LEDCTL, "--tokens", tokens.name) as robot:
                viewer = {"LEDCTL_ROBOT": robot.tcp, "TAVRO_TOKEN": "a-token-to-look-with"}
                refused = robot.run("off", "AllLeds", **viewer)
                self.assertIn("needs the role operator; yours is viewer", refused.stderr)
                with robot.on_terminal("watch", **viewer) as terminal:
                    screen = Screen(terminal)
                    screen.wait_for(lambda s: "quits" in s.lines()[-1])
                    self.assertGreater(screen.count(LIT) + screen.count(OFF), 16)
                    terminal.type(b"q")
                    self.assertEqual(terminal.wait(), 0)

    def test_plain_is_lines_without_anything_to_drive_a_terminal(self):
        with self.robot.on_terminal("watch", "--plain", "--count", "1") as terminal:
            self.assertEqual(terminal.wait(), 0)
            self.assertNotIn(b"\x1b", terminal.output)
            self.assertIn(b"Device/SubDeviceList/Face/Led/Red/Left/0Deg/Actuator/Value ",
                          terminal.output)

    def test_a_pattern_is_still_a_list_of_swatches(self):
        with self.robot.on_terminal("watch", "Face/*", "--count", "1") as terminal:
            self.assertEqual(terminal.wait(), 0)
            self.assertNotIn(ENTER, terminal.output)
            self.assertIn(b"Face/Led/Left/0Deg", terminal.output)

    def test_what_takes_longer_than_a_second_is_told_and_ctrl_c_stops_it(self):
        with self.robot.on_terminal("rotateEyes", "255", "0.2", "60") as terminal:
            terminal.read_until(lambda: b"rotateEyes 255 0.2 60: 1 s, Ctrl-C stops it"
                                in terminal.output)
            terminal.type(b"\x03")
            self.assertEqual(terminal.wait(), 130)
            self.assertTrue(terminal.output.endswith(b"\r\x1b[Kledctl: stopped\r\n"),
                            terminal.output)

    def test_no_progress_is_told_when_plain(self):
        with self.robot.on_terminal("--plain", "--wait", "fade", "BrainLeds", "0", "1.3") as terminal:
            self.assertEqual(terminal.wait(), 0)
            self.assertEqual(terminal.output, b"")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
