"""The table of a paper: rows of texts made of effects and of reports."""
import math

from .effects import window_title
from .wording import interval_text, p_text, percent_text


def frequencies(in_cases, in_controls, overall):
    """12.3% / 9.4% of cases and controls, else of all."""
    if math.isnan(in_cases):
        return percent_text(overall)
    return f"{percent_text(in_cases)} / {percent_text(in_controls)}"


def ratio_and_p(row):
    """Both cells, which are empty without an estimate."""
    if math.isnan(row.odds_ratio):
        return ["", ""]
    return [interval_text(row.odds_ratio, row.lower, row.upper), p_text(row.neg_log10_p)]


def effect_rows(table):
    """Heads and rows of an effects table; each window begins with its reference haplotype."""
    grouped = any(not math.isnan(row.in_cases) for row in table.rows)
    heads = ["Window", "Haplotype", "Cases / controls" if grouped else "Frequency", f"OR ({table.level}% CI)",
             "P", "Remark"]
    rows, begun = [], set()
    for row in table.rows:
        title = window_title(row.window)
        start = row.window, row.reference
        known = table.reference_frequencies.get(start)
        if known and start not in begun:
            rows.append([title, row.reference, frequencies(*known, math.nan), "1 (reference)", "", ""])
        begun.add(start)
        rows.append([title, row.term, frequencies(row.in_cases, row.in_controls, row.frequency),
                     *ratio_and_p(row), row.remark])
    return heads, rows


def report_rows(name, effects):
    """Heads and rows of a report."""
    heads = ["Report", "Genes", "Haplotype", "Controls", "OR (95% CI)", "P", "Remark"]
    return heads, [[name, effect.genes, effect.term, percent_text(effect.frequency), *ratio_and_p(effect),
                    effect.remark] for effect in effects]
