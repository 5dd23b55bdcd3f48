"""What all pictures share: style, size, shades that differ in grey, the file."""
import io
import os

import matplotlib
import numpy as np
from matplotlib.figure import Figure

from .output import write_whole

FORMATS = (".png", ".svg", ".pdf")

# In grey they have a luminance of 0.23, 0.64, 0.43 and 0.55; hits have a dark edge as well.
DARK, LIGHT, HIT, MUTED = "#1f3f66", "#84aad4", "#d1491f", "#8c8c8c"
# With more points than this a vector file would be slow to show: they become an image within it.
MOST_VECTORS = 10_000


def new_figure(width, height, layout="constrained"):
    """An empty figure of so many inches, whose look depends on no settings of the user.

    With layout None its axes are placed by hand.
    """
    matplotlib.rcdefaults()
    matplotlib.rcParams.update({
        # Those after the first are for viewers of an SVG that lack it.
        "font.family": "sans-serif", "font.sans-serif": ["DejaVu Sans", "Verdana"],
        "font.monospace": ["DejaVu Sans Mono", "Menlo"], "font.size": 9,
        "axes.spines.top": False, "axes.spines.right": False,
        "axes.linewidth": 0.8, "svg.fonttype": "none", "svg.hashsalt": "quilmar", "pdf.fonttype": 42,
        "text.parse_math": False, "axes.axisbelow": True,
    })
    return Figure(figsize=(width, height), dpi=200, layout=layout)


def save(figure, path, inputs):
    """Draws into the format of the file's name. The same data give the same bytes."""
    suffix = os.path.splitext(path)[1].lower()
    undated = {".svg": {"Date": None}, ".pdf": {"CreationDate": None}}
    picture = io.BytesIO()
    figure.savefig(picture, format=suffix[1:], metadata=undated.get(suffix))
    write_whole(path, picture.getvalue(), inputs)


def level_line(axes, level, n_tests):
    """The dashed line of a p-value and its wording; n_tests is their number if the line is Bonferroni's."""
    text = f"P = {level:.3g}" + (f" (0.05 / {n_tests:,})" if n_tests else "")
    axes.axhline(-np.log10(level), color="black", linewidth=0.8, dashes=(5, 3), gid="level", label=text)
    return text


def points(axes, x, y, color, gid):
    """Dots of a size that suits their number."""
    axes.plot(x, y, linestyle="", marker="o", markersize=3.2 if len(x) < 2000 else 2, markeredgewidth=0,
              color=color, rasterized=len(x) > MOST_VECTORS, gid=gid)


def hits(axes, x, y):
    """Dots of the tests beyond the line, on top of the others."""
    axes.plot(x, y, linestyle="", marker="o", markersize=4.2, markeredgewidth=0.5, markeredgecolor="black",
              color=HIT, gid="hits", zorder=3)


def shortened(text, most):
    """The text, its end replaced by three dots where it has too many characters."""
    return text if len(text) <= most else text[:most - 1] + "…"
