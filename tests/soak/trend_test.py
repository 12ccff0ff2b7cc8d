"""The slope that the soak judges by: of figures whose growth is known."""
import random
import unittest

from trend import blocks, slope_of


def series(growth, noise, count=240, seed=1, memory=0.0):
    """Growth by the unit of time, with noise of which `memory` carries over to the next figure."""
    rng = random.Random(seed)
    figures, rest = [], 0.0
    for time in range(count):
        rest = memory * rest + rng.gauss(0, noise)
        figures.append((time, 100 + growth * time + rest))
    return figures


class Slope(unittest.TestCase):
    def test_of_a_straight_line_is_exact(self):
        slope = slope_of(series(0.5, 0))
        self.assertEqual((slope.value, slope.low, slope.high), (0.5, 0.5, 0.5))

    def test_is_not_moved_by_peaks(self):
        points = series(0.5, 0.1)
        for i in range(0, len(points), 7):
            points[i] = (points[i][0], points[i][1] + 1000)
        self.assertAlmostEqual(slope_of(points).value, 0.5, delta=0.01)

    def test_its_interval_holds_the_truth_nearly_always(self):
        for memory in (0.0, 0.5, 0.9):
            held = 0
            for seed in range(200):
                slope = slope_of(series(0.01, 1, seed=seed, memory=memory))
                held += slope.low <= 0.01 <= slope.high
            self.assertGreaterEqual(held, 180, f"noise with memory {memory}")

    def test_growth_beyond_the_noise_is_told_from_none(self):
        self.assertGreater(slope_of(series(0.05, 1)).low, 0)
        quiet = slope_of(series(0, 1))
        self.assertLess(quiet.low, 0)
        self.assertGreater(quiet.high, 0)

    def test_too_few_points_tell_nothing(self):
        with self.assertRaisesRegex(ValueError, "7 samples tell no trend"):
            slope_of(series(1, 0, count=7))

    def test_blocks_are_medians_in_their_order(self):
        points = [(time, time % 10 * 100 if time % 10 == 0 else 5) for time in range(100)]
        condensed = blocks(points, 10)
        self.assertEqual(len(condensed), 10)
        self.assertEqual({figure for _, figure in condensed}, {5})


if __name__ == "__main__":
    unittest.main()
