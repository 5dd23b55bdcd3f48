"""The windows of a region as bars over their positions, and beneath them their haplotypes.

A column of tiles is a window, a tile a haplotype with its frequencies in cases and controls.
"""
from dataclasses import dataclass

import numpy as np
from matplotlib.patches import Rectangle

from .columns import DataError, numbers_of, read_columns
from .effects import KEY
from .leads import read_leads
from .picture import DARK, HIT, MOST_VECTORS, level_line, new_figure, shortened
from .windows import counted
from .wording import p_text

WIDTH, LEFT, RIGHT = 10.0, 0.65, 0.35  # inches
TOP, BARS, AXIS, LINKS, LINE, TILE, BOTTOM = 0.35, 2.4, 0.5, 0.4, 0.15, 0.4, 0.35
CHARACTER = 0.07  # inches, of the fixed-width font at 8 points
MOST_TILES = 12
MOST_COLUMNS = 11
MOST_THICK = 300  # windows; more are thin lines
LEAST_MARGIN = 10_000  # base pairs
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


@dataclass
class View:
    """What is shown of the tests."""
    place: tuple  # chromosome, from, to
    names: list  # windows with columns, or None
    top: int  # columns at most, or None
    leads: list  # keys of windows, the smallest P first


def in_range(tests, place):
    """The windows that lie in (chromosome, from, to) or reach into it."""
    chromosome, first, last = place
    here = (tests.chromosome == chromosome) & (tests.last >= first) & (tests.first <= last)
    if not here.any():
        raise DataError(f"{tests.path}: no window with a p-value in {chromosome}:{first}-{last}.")
    return tests.select(here)


def keys_of(tests):
    """What the rows of the windows begin with in every table."""
    return [(str(c), f"{a:.0f}", f"{b:.0f}", str(name))
            for c, a, b, name in zip(tests.chromosome, tests.first, tests.last, tests.name)]


def read_tiles(path, tests):
    """The haplotypes of each window, in the order of the table."""
    keys = keys_of(tests)
    numeric = ["CASE_FREQ", "CTRL_FREQ", "Z", "NEG_LOG10_P"]
    columns, lines = read_columns(path, [*KEY, "HAP", *numeric], set(keys))
    values = zip(*(numbers_of(path, name, columns[name], lines) for name in numeric))
    tiles = {key: [] for key in keys}
    for key, haplotype, numbers in zip(zip(*(columns[name] for name in KEY)), columns["HAP"], values):
        tiles[key].append(Tile(shortened(haplotype, LONGEST), *numbers))
    if not any(tiles.values()):
        raise DataError(f"{path}: has no haplotype of these windows.")
    return list(tiles.values())


def view_of(tests, options):
    """What the options ask for; without --range the windows of --window or the best lead's locus, with as much
    again on both sides."""
    leads = read_leads(tests.path)
    if options.range:
        place = options.range
    elif options.window:
        places = [(str(tests.chromosome[i]), tests.first[i], tests.last[i])
                  for i, name in enumerate(tests.name) if name in options.window]
        if len({chromosome for chromosome, *_ in places}) > 1:
            raise DataError(f"{tests.path}: these windows lie on several chromosomes.")
        if not places:
            raise DataError(f"{tests.path}: no window {', '.join(options.window)} with a p-value.")
        place = around(places[0][0], min(place[1] for place in places), max(place[2] for place in places))
    elif leads:
        place = around(leads[0].window[0], leads[0].first, leads[0].last)
    else:
        raise DataError(f"{tests.path}: no lead window in the scan's table .lead.tsv beside it; give --range.")
    return View(place, options.window, options.top, [lead.window for lead in leads])


def around(chromosome, first, last):
    """The place with as much again on both sides."""
    margin = max(last - first, LEAST_MARGIN)
    return chromosome, int(max(first - margin, 0)), int(last + margin)


def overlap_too_much(tests, i, j):
    """More than half of the shorter window is common to both."""
    common = min(tests.last[i], tests.last[j]) - max(tests.first[i], tests.first[j])
    return common > 0.5 * min(tests.last[i] - tests.first[i], tests.last[j] - tests.first[j])


def shown_columns(tests, tiles, view):
    """Indices of the windows whose haplotypes fit side by side, and the width of a column: those of --window, or
    leads and then the smallest p-values, without windows that overlap one of those by more than half."""
    keys = keys_of(tests)
    best = [int(i) for i in np.argsort(-tests.neg_log10_p, kind="stable") if tiles[i]]
    chosen = []
    if view.names:
        chosen = [i for i in best if tests.name[i] in view.names]
    else:
        for i in [*(keys.index(lead) for lead in view.leads if lead in keys), *best]:
            if tiles[i] and i not in chosen and not any(overlap_too_much(tests, i, j) for j in chosen):
                chosen.append(i)
    chosen = chosen[:min(view.top or MOST_COLUMNS, MOST_COLUMNS)]
    width = max(0.8, *(CHARACTER * max(len(heading(tests, i)[-2]), *(len(t.haplotype) for t in tiles[i])) + 0.15
                       for i in chosen))
    chosen = chosen[:max(1, int((WIDTH - LEFT - RIGHT) / width))]
    return sorted(chosen, key=lambda i: (tests.middle[i], tests.first[i])), width


def heading(tests, i):
    """The lines above a column: the window's name unless it is numbered, its place, its p-value."""
    name = [] if tests.name[i].isdigit() else [shortened(tests.name[i], 17)]
    return [*name, f"{tests.first[i]:.0f}-{tests.last[i]:.0f}", f"P {p_text(tests.neg_log10_p[i])}"]


def draw_bars(axes, tests, place, level, n_tests):
    """The upper part: bars from the first to the last SNP of each window."""
    y, line = tests.neg_log10_p, -np.log10(level)
    colors = np.where(y >= line, HIT, DARK)
    few = len(y) <= MOST_THICK
    axes.hlines(y, tests.first / 1e6, tests.last / 1e6, colors=colors, linewidth=2.5 if few else 1, gid="bars",
                rasterized=len(y) > MOST_VECTORS)
    axes.scatter(tests.middle / 1e6, y, c=colors, s=12 if few else 4, linewidths=0.5 if few else 0,
                 edgecolors="black", zorder=3, gid="middles", rasterized=len(y) > MOST_VECTORS)
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


def draw_column(axes, x, top, width, head, tiles, darkest):
    """The tiles of one window, in inches from the lower left corner of the figure."""
    for k, text in enumerate(reversed(head)):
        axes.text(x + width / 2, top + 0.12 + LINE * k, text, ha="center", va="center", fontsize=7.5,
                  weight="normal" if k else "bold")
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


def draw_tiles(figure, bars, tests, tiles, columns, width, height):
    """The lower part: columns of tiles, linked to the middles of their windows."""
    axes = figure.add_axes([0, 0, 1, 1], zorder=-1)
    axes.set_xlim(0, WIDTH)
    axes.set_ylim(0, height)
    axes.axis("off")
    head = head_height(tests, columns)
    top = height - TOP - BARS - AXIS - LINKS - head
    start = LEFT + (WIDTH - LEFT - RIGHT - width * len(columns)) / 2
    darkest = max(4.0, max(t.neg_log10_p for i in columns for t in tiles[i]))
    first, last = bars.get_xlim()
    for k, i in enumerate(columns):
        x = start + k * width
        at = LEFT + (tests.middle[i] / 1e6 - first) / (last - first) * (WIDTH - LEFT - RIGHT)
        axes.plot([at, x + width / 2], [top + head + LINKS, top + head], color="0.6", linewidth=0.7)
        draw_column(axes, x, top, width, heading(tests, i), tiles[i], darkest)
    axes.text(LEFT, 0.15, "Haplotypes, frequency in cases / controls (%). Darker: smaller P of the "
              "haplotype. ▲ more, ▼ fewer in cases (P ≤ 0.05).", fontsize=7.5, va="center")


def head_height(tests, columns):
    """Inches of the headings."""
    return 0.1 + LINE * max(len(heading(tests, i)) for i in columns)


def draw(all_tests, level, n_tests, view, haplotype_path=None):
    """The picture of a view; level and n_tests as in the other pictures of window tests."""
    tests = in_range(all_tests, view.place)
    height = TOP + BARS + AXIS
    if haplotype_path:
        tiles = read_tiles(haplotype_path, tests)
        columns, width = shown_columns(tests, tiles, view)
        most = max(len(tiles[i]) for i in columns)
        height += (LINKS + head_height(tests, columns) + TILE * min(most, MOST_TILES) + BOTTOM +
                   (0.15 if most > MOST_TILES else 0))
    figure = new_figure(WIDTH, height, layout=None)
    bars = figure.add_axes([LEFT / WIDTH, (height - TOP - BARS) / height, 1 - (LEFT + RIGHT) / WIDTH,
                            BARS / height])
    draw_bars(bars, tests, view.place, level, n_tests)
    if haplotype_path:
        draw_tiles(figure, bars, tests, tiles, columns, width, height)
    return figure
