"""Odds ratios with their intervals on a log axis, a line of text and numbers each.

A square is an estimate, hollow where it is penalised; an arrow is an interval that goes on.
"""
from dataclasses import dataclass

import numpy as np

from .columns import DataError
from .effects import NOTHING, window_title
from .picture import DARK, MUTED, new_figure, shortened
from .wording import interval_text, p_text, percent_text

MOST_ROWS = 120
ROW, TOP, BOTTOM, PLOT = 0.23, 0.45, 0.75, 3.2  # inches
CHARACTER = 0.073  # inches, of the fixed-width font at 8.5 points
# Ticks within a power of ten, the densest first.
STEPS = ([1, 1.1, 1.2, 1.3, 1.5, 2, 2.5, 3, 4, 5, 6, 7, 8, 9], [1, 1.5, 2, 3, 4, 6, 8], [1, 2, 5], [1])


@dataclass
class Column:
    """A column of texts left or right of the plot."""
    title: str
    width: float
    texts: list
    family: str = "sans-serif"


def text_columns(rows, level):
    """Columns on the left and on the right of the plot."""
    terms = [shortened(row.term, 40) for row in rows]
    left = [Column("Haplotype", max(0.7, max(map(len, terms)) * CHARACTER) + 0.3, terms, "monospace")]
    if any(not np.isnan(row.in_cases) for row in rows):
        left += [Column("Cases", 0.65, [percent_text(row.in_cases) for row in rows]),
                 Column("Controls", 0.75, [percent_text(row.in_controls) for row in rows])]
    else:
        left += [Column("Frequency", 0.85, [percent_text(row.frequency) for row in rows])]
    ratios = [interval_text(row.odds_ratio, row.lower, row.upper).replace("inf", "∞") if row.is_known else ""
              for row in rows]
    right = [Column(f"OR ({level}% interval)", max(1.45, 0.075 * max(map(len, ratios)) + 0.15), ratios),
             Column("P", 0.65, [p_text(row.neg_log10_p) for row in rows])]
    if any(row.remark for row in rows):
        right += [Column("", 1.2, [row.remark for row in rows])]
    return left, right


def limits(rows):
    """Ends of the axis: all estimates and bounds, but of the bounds none beyond 8 times an estimate."""
    estimates = [1.0] + [row.odds_ratio for row in rows if 0 < row.odds_ratio < np.inf]
    bounds = estimates + [b for row in rows if row.is_known for b in (row.lower, row.upper) if 0 < b < np.inf]
    low, high = max(min(bounds), min(estimates) / 8), min(max(bounds), max(estimates) * 8)
    return min(low / 1.3, 0.8), max(high * 1.3, 1.25)


def ticks(low, high):
    """Round numbers between the ends, as many as have room."""
    powers = 10.0 ** np.arange(np.floor(np.log10(low)), np.ceil(np.log10(high)) + 1)
    for steps in STEPS:
        every = np.outer(powers, steps).ravel()
        shown = every[(every >= low) & (every <= high)]
        if len(shown) <= 8:
            break
    return shown[::1 + (len(shown) - 1) // 8]


def draw_interval(axes, y, row, low, high):
    """The interval of one row, and its square if the estimate is finite."""
    known = [not np.isnan(bound) for bound in (row.lower, row.upper)]
    ends = np.array([row.lower if known[0] else row.odds_ratio, row.upper if known[1] else row.odds_ratio])
    shown = np.clip(ends, low, high)
    axes.plot(shown, [y, y], color=DARK, linewidth=1.3, solid_capstyle="butt", gid=f"interval_{y}")
    for end, at, marker, side in ((ends[0], shown[0], "<", "left"), (ends[1], shown[1], ">", "right")):
        if end != at:
            axes.plot([at], [y], marker=marker, markersize=5, color=DARK, clip_on=False, gid=f"{side}_arrow_{y}")
    if 0 < row.odds_ratio < np.inf:
        hollow = row.is_penalised
        axes.plot([row.odds_ratio], [y], marker="s", markersize=5, markeredgecolor=DARK,
                  markerfacecolor="white" if hollow else DARK, gid=f"estimate_{y}")


def lines_of(rows):
    """The figure's lines from the top: a heading (text) for each window, then its rows (indices)."""
    lines, last = [], None
    references = {row.window: row.reference for row in reversed(rows) if row.reference != NOTHING}
    for k, row in enumerate(rows):
        if row.window != last:
            last = row.window
            lines.append(shortened(window_title(last), 60) + against(references.get(last)))
        lines.append(k)
    return lines


def against(reference):
    """What the haplotypes of a window are compared with."""
    if reference is None:
        return ""
    return ", against all others" if reference == "rest" else f", reference {shortened(reference, 40)}"


def axis_of(axes, low, high, level, rows, n_lines):
    """Limits, ticks and the words below."""
    axes.set_xscale("log")
    axes.set_xlim(low, high)
    axes.set_ylim(n_lines - 0.5, -0.5)
    marks = ticks(low, high)
    axes.set_xticks(marks, [f"{mark:g}" for mark in marks])
    axes.set_xticks([], minor=True)
    axes.set_yticks([])
    axes.spines["left"].set_visible(False)
    axes.axvline(1, color="black", linewidth=0.8)
    hollow = "; hollow: penalised estimate" if any(row.is_penalised for row in rows) else ""
    axes.set_xlabel(f"odds ratio, {level}% interval{hollow}")


def draw(table):
    """The picture of all rows of an effects table."""
    rows = table.rows
    if not rows:
        raise DataError(f"{table.path}: no odds ratio to draw.")
    if len(rows) > MOST_ROWS:
        raise DataError(f"{table.path}: {len(rows)} effects are too many for one picture; choose windows by --window or --top.")
    left, right = text_columns(rows, table.level)
    lines = lines_of(rows)
    plot_at = 0.1 + sum(column.width for column in left)
    width = plot_at + PLOT + 0.25 + sum(column.width for column in right)
    height = TOP + ROW * len(lines) + BOTTOM
    figure = new_figure(width, height, layout=None)
    axes = figure.add_axes([plot_at / width, BOTTOM / height, PLOT / width, ROW * len(lines) / height])
    low, high = limits(rows)
    axis_of(axes, low, high, table.level, rows, len(lines))

    def write(x, line, text, **style):
        y = BOTTOM + ROW * (len(lines) - line - 0.5)
        figure.text(x / width, y / height, text, va="center", fontsize=8.5, **style)

    for columns, x in ((left, 0.1), (right, plot_at + PLOT + 0.25)):
        for column in columns:
            write(x, -1, column.title, weight="bold")
            for line, k in enumerate(lines):
                if not isinstance(k, str):
                    write(x, line, column.texts[k], family=column.family,
                          color="black" if rows[k].is_known else MUTED)
            x += column.width
    for line, k in enumerate(lines):
        if isinstance(k, str):
            write(0.1, line, k, weight="bold", bbox={"color": "white", "pad": 1})
        elif rows[k].is_known:
            draw_interval(axes, line, rows[k], low, high)
    return figure
