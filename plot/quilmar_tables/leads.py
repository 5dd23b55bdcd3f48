"""Lead windows, the best of each locus: PREFIX.lead.tsv, and the same made of the window tests of merged parts.

qualifying: P or TOP_P_BONF is at most 1e-4
lead: of the qualifying windows that no lead stands for yet the one with the smallest P, the first of equal ones
it stands for the qualifying windows without another lead, on its chromosome, with at most so many bases between
"""
import os
import re
from dataclasses import dataclass

import numpy as np

from .columns import lines, read_columns, read_numbers
from .effects import KEY

MOST_P = 1e-4


@dataclass
class Lead:
    """A lead and the ends of what it stands for."""
    window: tuple
    first: float
    last: float


def beside(path):
    """The lead table of the same scan, or None where there is none."""
    found = re.fullmatch(r"(.*)\.(?:win|effects)\.tsv(?:\.gz)?", path)
    names = [found[1] + suffix for suffix in (".lead.tsv", ".lead.tsv.gz")] if found else []
    return next((name for name in names if os.path.exists(name)), None)


def read_leads(path):
    """The leads beside a table of windows or effects, the smallest P first; none without such a table."""
    table = beside(path)
    # A table of a scan that found nothing has no rows.
    if not table or sum(1 for _ in lines(table)) == 1:
        return []
    names = ["NEG_LOG10_P", "LOCUS_POS", "LOCUS_END"]
    columns, rows = read_columns(table, [*KEY, *names])
    y, first, last = read_numbers(table, columns, rows, dict.fromkeys(names, (0, np.inf))).values()
    windows = list(zip(*(columns[name] for name in KEY)))
    return [Lead(windows[i], first[i], last[i]) for i in np.argsort(-np.nan_to_num(y), kind="stable")]


def loci(first, last, y, distance):
    """(place of the lead, places of all that it stands for) of windows of one chromosome."""
    left = np.ones(len(y), dtype=bool)
    for best in np.argsort(-y, kind="stable"):
        if left[best]:
            near = left & (first <= last[best] + distance) & (last >= first[best] - distance)
            left &= ~near
            yield best, np.flatnonzero(near)


def lead_table(path, kb):
    """The table as quilmar-scan makes it, as text, of a table of window tests."""
    names = ["POS", "END", "P", "NEG_LOG10_P", "TOP_P_BONF"]
    columns, rows = read_columns(path, ["CHROM", *names])
    first, last, p, y, top_p = read_numbers(path, columns, rows, dict.fromkeys(names, (0, np.inf))).values()
    qualifying = np.fmin(p, top_p) <= MOST_P
    chromosomes = np.array(columns["CHROM"])
    added = {}  # by line
    for chromosome in dict.fromkeys(columns["CHROM"]):
        here = np.flatnonzero(qualifying & (chromosomes == chromosome))
        for lead, found in loci(first[here], last[here], np.nan_to_num(y[here]), 1000 * kb):
            locus = here[found]
            added[rows[here[lead]]] = f"{len(locus)}\t{first[locus].min():.0f}\t{last[locus].max():.0f}"
    added[1] = "N_WINDOWS\tLOCUS_POS\tLOCUS_END"
    return "".join(f"{line}\t{added[k]}\n" for k, line in enumerate(lines(path), 1) if k in added)
