"""Draws how the robot's costs grow with its LEDs, for docs/performance.md.

    bench/plots.py build docs/growth.svg
"""
import sys

import matplotlib

matplotlib.use("Agg")
from matplotlib import pyplot  # noqa: E402

from scales import GROWTH, SIZES, Results  # noqa: E402


def main():
    build, target = sys.argv[1:]
    results = Results(f"{build}/bench", 3)
    results.run("model_growth_bench")
    matplotlib.rcParams["svg.hashsalt"] = "growth"  # the same picture from the same figures
    figure, axes = pyplot.subplots(figsize=(7, 4.5))
    for name, text in GROWTH:
        times = [1e3 * results.seconds(f"{name}/{size}") for size in SIZES]
        axes.loglog(SIZES, times, marker="o", label=text)
        axes.loglog(SIZES, [times[0] * size / SIZES[0] for size in SIZES], color="0.8", zorder=0,
                    linewidth=1)
    axes.set_xlabel("LEDs of the model")
    axes.set_ylabel("milliseconds")
    axes.set_title("Cost by size of the robot (grey: linear growth)")
    axes.grid(True, color="0.92")
    axes.legend(frameon=False)
    figure.tight_layout()
    figure.savefig(target, metadata={"Date": None})


main()
