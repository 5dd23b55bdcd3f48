"""-log10 P of every window along the genome."""
import numpy as np

from .picture import DARK, LIGHT, hits, level_line, new_figure, points

# Labelled windows of a chromosome lie farther apart than this, in base pairs.
LABEL_DISTANCE = 1e6


def chromosome_spans(tests):
    """{chromosome: (first x, last x)} side by side in the order of the table, with gaps between."""
    spans = {name: None for name in tests.chromosome}
    extent = {}
    for name in spans:
        position = tests.middle[tests.chromosome == name]
        extent[name] = position.max() - position.min()
    gap = 0.012 * (sum(extent.values()) or 1)
    x = 0.0
    for name in spans:
        spans[name] = (x, x + extent[name])
        x += extent[name] + gap
    return spans


def label_ticks(axes, figure, spans):
    """The chromosomes' names in the middle of each, without those that would touch the one before."""
    axes.set_xticks([(first + last) / 2 for first, last in spans.values()], list(spans))
    axes.tick_params(axis="x", length=0)
    figure.draw_without_rendering()
    end = -np.inf
    for label in axes.get_xticklabels():
        box = label.get_window_extent()
        if box.x0 < end:
            label.set_visible(False)
        else:
            end = box.x1 + 2


def label_hits(axes, figure, tests, x, beyond):
    """Names at the best windows, as long as no two labels touch."""
    taken, labelled = [], []
    figure.draw_without_rendering()
    for i in beyond[np.argsort(-tests.neg_log10_p[beyond], kind="stable")][:500]:
        if any(tests.chromosome[i] == c and abs(tests.middle[i] - m) < LABEL_DISTANCE for c, m in labelled):
            continue
        across = axes.transLimits.transform((x[i], 0))[0]
        side = "left" if across < 0.15 else "right" if across > 0.85 else "center"
        label = axes.annotate(tests.title(i), (x[i], tests.neg_log10_p[i]), (0, 5), ha=side,
                              textcoords="offset points", fontsize=8)
        box = label.get_window_extent()
        if any(box.overlaps(other) for other in taken):
            label.remove()
            continue
        taken.append(box)
        labelled.append((tests.chromosome[i], tests.middle[i]))


def draw(tests, level, n_tests):
    """The picture; level is the p-value of the line, n_tests their number if it is Bonferroni's."""
    figure = new_figure(10, 3.8)
    axes = figure.add_subplot()
    spans = chromosome_spans(tests)
    y, line = tests.neg_log10_p, -np.log10(level)
    x = np.empty(len(y))
    single = len(spans) == 1
    for k, (name, (first, _)) in enumerate(spans.items()):
        here = tests.chromosome == name
        position = tests.middle[here]
        x[here] = position / 1e6 if single else position - position.min() + first
        below = here & (y < line)
        points(axes, x[below], y[below], (DARK, LIGHT)[k % 2], f"chromosome_{name}")
    beyond = np.flatnonzero(y >= line)
    hits(axes, x[beyond], y[beyond])
    line_text = level_line(axes, level, n_tests)
    axes.margins(x=0.01)
    axes.set_ylim(0, 1.12 * max(y.max(), line))
    axes.set_ylabel("−log₁₀ P")
    axes.set_title(tests.heading, loc="left", fontsize=9)
    axes.set_title("dashed: " + line_text, loc="right", fontsize=9)
    if single:
        axes.set_xlabel(f"Position on chromosome {tests.chromosome[0]} (Mb)")
        axes.ticklabel_format(axis="x", useOffset=False)
    else:
        axes.set_xlabel("Chromosome")
        label_ticks(axes, figure, spans)
    label_hits(axes, figure, tests, x, beyond)
    return figure
