"""The windows of a region as bars over their positions, and beneath them their haplotypes.

A column of tiles is a window, a tile a haplotype with its frequencies in cases and controls.
"""
from dataclasses import dataclass

import numpy as np
from matplotlib.patches import Rectangle

from .columns import DataError, numbers_of, read_columns
from .effects import KEY
from .picture import DARK, HIT, level_line, new_figure, shortened
from .windows import counted
from .wording import p_text

WIDTH, LEFT, RIGHT = 10.0, 0.65, 0.35  # inches
TOP, BARS, AXIS, LINKS, HEAD, TILE, BOTTOM = 0.35, 2.4, 0.5, 0.4, 0.4, 0.4, 0.35
CHARACTER = 0.07  # inches, of the fixed-width font at 8 points
MOST_TILES = 12
LONGEST = 40
NOTABLE = -np.log10(0.05)


@dataclass
class Tile:
    """A haplotype of one window."""
    haplotype: str
    in_cases: float
    in_controls: float
    z: float
    neg_log10_p: float

    def frequencies(self):
        """Percent in cases and controls, with an arrow where they differ notably."""
        arrow = "" if not self.neg_log10_p >= NOTABLE else "▲ " if self.z > 0 else "▼ "
        return f"{arrow}{100 * self.in_cases:.1f} / {100 * self.in_controls:.1f}"


def in_range(tests, place):
    """The windows that lie in (chromosome, from, to) or reach into it."""
    chromosome, first, last = place
    here = (tests.chromosome == chromosome) & (tests.last >= first) & (tests.first <= last)
    if not here.any():
        raise DataError(f"{tests.path}: no window with a p-value in {chromosome}:{first}-{last}.")
    return tests.select(here)


def read_tiles(path, tests):
    """The haplotypes of each window, in the order of the table."""
    keys = [(c, f"{a:.0f}", f"{b:.0f}", name)
            for c, a, b, name in zip(tests.chromosome, tests.first, tests.last, tests.name)]
    numeric = ["CASE_FREQ", "CTRL_FREQ", "Z", "NEG_LOG10_P"]
    columns, lines = read_columns(path, [*KEY, "HAP", *numeric], set(keys))
    values = zip(*(numbers_of(path, name, columns[name], lines) for name in numeric))
    tiles = {key: [] for key in keys}
    for key, haplotype, numbers in zip(zip(*(columns[name] for name in KEY)), columns["HAP"], values):
        tiles[key].append(Tile(shortened(haplotype, LONGEST), *numbers))
    if not any(tiles.values()):
        raise DataError(f"{path}: has no haplotype of these windows.")
    return list(tiles.values())


def shown_columns(tests, tiles):
    """Indices of the windows whose haplotypes fit side by side: those with the smallest p-values."""
    candidates = [i for i in np.argsort(-tests.neg_log10_p, kind="stable") if tiles[i]]
    width = max(0.95, CHARACTER * max(len(t.haplotype) for i in candidates for t in tiles[i]) + 0.15)
    most = max(1, int((WIDTH - LEFT - RIGHT) / width))
    return sorted(candidates[:most], key=lambda i: (tests.middle[i], tests.first[i])), width


def draw_bars(axes, tests, place, level, n_tests):
    """The upper part: bars from the first to the last SNP of each window."""
    y, line = tests.neg_log10_p, -np.log10(level)
    colors = np.where(y >= line, HIT, DARK)
    axes.hlines(y, tests.first / 1e6, tests.last / 1e6, colors=colors, linewidth=2.5, gid="bars")
    axes.scatter(tests.middle / 1e6, y, c=colors, s=12, linewidths=0.5, edgecolors="black", zorder=3, gid="middles")
    text = level_line(axes, level, n_tests)
    first, last = min(place[1], tests.first.min()), max(place[2], tests.last.max())
    edge = 0.01 * max(last - first, 1)
    axes.set_xlim((first - edge) / 1e6, (last + edge) / 1e6)
    axes.set_ylim(0, 1.1 * max(y.max(), line))
    axes.ticklabel_format(axis="x", useOffset=False)
    axes.set_xlabel(f"Position on chromosome {place[0]} (Mb)")
    axes.set_ylabel("−log₁₀ P")
    axes.set_title(f"{counted(len(y))} of {place[0]}:{place[1]}-{place[2]}", loc="left", fontsize=9)
    axes.set_title("dashed: " + text, loc="right", fontsize=9)


def draw_column(axes, x, top, width, heading, tiles, darkest):
    """The tiles of one window, in inches from the lower left corner of the figure."""
    for k, text in enumerate(heading):
        axes.text(x + width / 2, top + 0.27 - 0.15 * k, text, ha="center", va="center", fontsize=7.5,
                  weight="bold" if k else "normal")
    for k, tile in enumerate(tiles[:MOST_TILES]):
        y = top - TILE * (k + 1)
        share = min(tile.neg_log10_p / darkest, 1)
        grey = 1 - 0.65 * share
        axes.add_patch(Rectangle((x + 0.03, y + 0.02), width - 0.06, TILE - 0.04, linewidth=0.5,
                                 edgecolor="0.5", facecolor=(grey * 0.92, grey * 0.96, grey)))
        color = "white" if grey < 0.55 else "black"
        for text, up, size, family in ((tile.haplotype, 0.7, 8, "monospace"),
                                       (tile.frequencies(), 0.28, 7, "sans-serif")):
            axes.text(x + width / 2, y + up * TILE, text, ha="center", va="center", fontsize=size,
                      family=family, color=color)
    if len(tiles) > MOST_TILES:
        axes.text(x + width / 2, top - TILE * MOST_TILES - 0.08, f"and {len(tiles) - MOST_TILES} more",
                  ha="center", va="center", fontsize=7)


def draw_tiles(figure, bars, tests, tiles, height):
    """The lower part: columns of tiles, linked to the middles of their windows."""
    columns, width = shown_columns(tests, tiles)
    axes = figure.add_axes([0, 0, 1, 1], zorder=-1)
    axes.set_xlim(0, WIDTH)
    axes.set_ylim(0, height)
    axes.axis("off")
    top = height - TOP - BARS - AXIS - LINKS - HEAD
    start = LEFT + (WIDTH - LEFT - RIGHT - width * len(columns)) / 2
    darkest = max(4.0, max(t.neg_log10_p for i in columns for t in tiles[i]))
    first, last = bars.get_xlim()
    for k, i in enumerate(columns):
        x = start + k * width
        at = LEFT + (tests.middle[i] / 1e6 - first) / (last - first) * (WIDTH - LEFT - RIGHT)
        axes.plot([at, x + width / 2], [top + HEAD + LINKS, top + HEAD], color="0.6", linewidth=0.7)
        name = tests.name[i] if not tests.name[i].isdigit() else f"{tests.first[i]:.0f}"
        draw_column(axes, x, top, width, (shortened(name, int(width / 0.07)), f"P {p_text(tests.neg_log10_p[i])}"),
                    tiles[i], darkest)
    left_out = len(tests.name) - len(columns)
    smallest = f" of the {len(columns)} windows with the smallest P" if left_out else ""
    axes.text(LEFT, 0.15, f"Haplotypes{smallest}, frequency in cases / controls (%). Darker: smaller P of the "
              "haplotype. ▲ more, ▼ fewer in cases (P ≤ 0.05).", fontsize=7.5, va="center")


def draw(all_tests, level, n_tests, place, haplotype_path=None):
    """The picture of (chromosome, from, to); level and n_tests as in the other pictures of window tests."""
    tests = in_range(all_tests, place)
    height = TOP + BARS + AXIS
    tiles = None
    if haplotype_path:
        tiles = read_tiles(haplotype_path, tests)
        columns, _ = shown_columns(tests, tiles)
        most = max(len(tiles[i]) for i in columns)
        height += LINKS + HEAD + TILE * min(most, MOST_TILES) + BOTTOM + (0.15 if most > MOST_TILES else 0)
    figure = new_figure(WIDTH, height, layout=None)
    bars = figure.add_axes([LEFT / WIDTH, (height - TOP - BARS) / height, 1 - (LEFT + RIGHT) / WIDTH,
                            BARS / height])
    draw_bars(bars, tests, place, level, n_tests)
    if tiles:
        draw_tiles(figure, bars, tests, tiles, height)
    return figure
