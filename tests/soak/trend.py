"""How fast a figure grows, and how well that is known.

Theil and Sen's slope: the median of the slopes between all pairs of points, which single peaks do not
move. Its interval of 95 % is Sen's. That takes points for independent, which neighbours in time are
not, so the points are first condensed into blocks, and what dependence is left widens the interval.
"""
import math
import statistics
from dataclasses import dataclass

BLOCKS = 24
DEVIATIONS = 1.96  # of a normal distribution hold 95 %


@dataclass(frozen=True)
class Slope:
    """By the unit of time that the points came in; `low` to `high` holds the true one with 95 %."""
    value: float
    low: float
    high: float


def blocks(points, count=BLOCKS):
    """Points (time, figure) condensed into at most `count` medians, in the order of time."""
    size = len(points) / count
    if size <= 1:
        return list(points)
    parts = [points[round(i * size):round((i + 1) * size)] for i in range(count)]
    return [(statistics.median(time for time, _ in part), statistics.median(one for _, one in part))
            for part in parts]


def dependence(points, slope):
    """How much each point tells of the next one beyond the trend, 0 to 0.9 (lag-one correlation)."""
    rest = [figure - slope * time for time, figure in points]
    middle = statistics.fmean(rest)
    spread = sum((one - middle) ** 2 for one in rest)
    if spread == 0:
        return 0.0
    together = sum((one - middle) * (other - middle) for one, other in zip(rest, rest[1:]))
    return min(0.9, max(0.0, together / spread))


def slope_of(points):
    """Errors: ValueError for fewer than eight points: they tell no trend."""
    if len(points) < 8:
        raise ValueError(f"{len(points)} samples tell no trend; 8 are the fewest")
    points = blocks(points)
    slopes = sorted((y2 - y1) / (t2 - t1) for i, (t1, y1) in enumerate(points)
                    for t2, y2 in points[i + 1:])
    value = statistics.median(slopes)
    count = len(points)
    rho = dependence(points, value)
    deviation = math.sqrt(count * (count - 1) * (2 * count + 5) / 18 * (1 + rho) / (1 - rho))
    outside = (len(slopes) - DEVIATIONS * deviation) / 2
    if outside < 0:  # the points tell nothing of it
        return Slope(value, -math.inf, math.inf)
    low = math.floor(outside)
    return Slope(value, slopes[low], slopes[len(slopes) - 1 - low])
