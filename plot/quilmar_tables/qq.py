"""Observed p-values against those that uniform ones of the same number are expected to be.

The i-th smallest of n stands over -log10 (i / (n + 1)); the band holds 95% of it if the tests are independent.
"""
import numpy as np

from .picture import DARK, hits, level_line, new_figure, points
from .tails import null_band

# Points closer than this in both directions, in units of -log10 P, would cover each other.
RESOLUTION = 0.002


def distinct(x, y):
    """Indices of points, in order along the curve, of which no two stand on the same place."""
    cells = np.round(np.column_stack((x, y)) / (RESOLUTION * max(1.0, y.max() / 8)))
    return np.flatnonzero(np.append(True, np.any(np.diff(cells, axis=0) != 0, axis=1)))


def draw(tests, level, n_tests):
    """The picture; level is the p-value of the line, n_tests their number if it is Bonferroni's."""
    figure = new_figure(4.8, 4.8)
    axes = figure.add_subplot()
    n = len(tests.neg_log10_p)
    y = np.sort(tests.neg_log10_p)[::-1]
    x = -np.log10(np.arange(1, n + 1) / (n + 1))
    line = -np.log10(level)
    ranks = np.unique(np.round(np.geomspace(1, n, 300)))
    low, high = null_band(ranks, n)
    axes.fill_between(-np.log10(ranks / (n + 1)), low, high, color="0.85", linewidth=0, gid="band",
                      label="95% of uniform p-values")
    axes.plot([0, x[0]], [0, x[0]], color="black", linewidth=0.8)
    shown = distinct(x, y)
    below = shown[y[shown] < line]
    points(axes, x[below], y[below], DARK, "windows")
    hits(axes, x[y >= line], y[y >= line])
    level_line(axes, level, n_tests)
    axes.set_xlim(0, 1.04 * max(x[0], 0.1))
    axes.set_ylim(0, 1.06 * max(y[0], line, high.max()))
    axes.set_xlabel("expected −log₁₀ P")
    axes.set_ylabel("observed −log₁₀ P")
    axes.set_title(tests.heading, loc="left", fontsize=9)
    axes.legend(loc="lower right", frameon=False, fontsize=8)
    return figure
