"""The verdicts of the tables: each can fail."""
import argparse
import math
import unittest

import instructions
import scales


class Scales(unittest.TestCase):
    def test_a_ratio_is_reached_up_to_its_bound_and_missed_beyond(self):
        self.assertTrue(scales.ratio("call", "echo", 11, 10, "us", 1.1).is_reached)
        missed = scales.ratio("call", "echo", 11.2, 10, "us", 1.1)
        self.assertFalse(missed.is_reached)
        self.assertEqual(scales.cells(missed),
                         ["call", "11.2 us", "echo", "10 us", "1.12 x", "<= 1.1 x", "MISSED"])

    def test_a_least_bound_is_missed_below_it(self):
        self.assertTrue(scales.ratio("calls", "echo", 30, 20, "/s", 1.5, is_least=True).is_reached)
        self.assertFalse(scales.ratio("calls", "echo", 29, 20, "/s", 1.5, is_least=True).is_reached)

    def test_a_figure_without_a_peer_is_compared_itself(self):
        self.assertTrue(scales.plain("memory", "", 24, "MiB", 24).is_reached)
        self.assertFalse(scales.plain("memory", "", 24.1, "MiB", 24).is_reached)

    def test_a_figure_without_a_bound_has_no_verdict(self):
        self.assertEqual(scales.cells(scales.plain("p99", "", 3e-6, "s", math.inf))[1:],
                         ["3 us", "", "", "", "", ""])


class Instructions(unittest.TestCase):
    def compare(self, counts):
        options = argparse.Namespace(new="new", base="base", most=10)
        return instructions.table(options, lambda build, path: counts[build])

    def test_a_tenth_more_passes_and_more_fails_each_path(self):
        self.assertEqual(self.compare({"new": 1100, "base": 1000})[1], [])
        lines, failed = self.compare({"new": 1101, "base": 1000})
        self.assertEqual(failed, list(instructions.PATHS))
        self.assertTrue(lines[1].endswith("+10.1%  TOO MANY"), lines[1])

    def test_fewer_never_fail(self):
        self.assertEqual(self.compare({"new": 10, "base": 1000})[1], [])


if __name__ == "__main__":
    unittest.main()
