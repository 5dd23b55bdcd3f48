"""The rows of PREFIX.effects.tsv, with the frequencies in cases and controls of PREFIX.hap.tsv."""
import math
import re
from dataclasses import dataclass, replace

from .columns import DataError, numbers_of, read_columns, read_numbers
from .windows import MOST_LOG_P

KEY = ("CHROM", "POS", "END", "WINDOW")
NUMBERS = ("HAP_FREQ", "OR", "NEG_LOG10_P")
NOTHING = "."  # for the haplotype of a covariate's row, and as code of an ordinary estimate


@dataclass
class Effect:
    """An odds ratio with its interval; nan is what the table does not know."""
    window: tuple
    haplotype: str
    reference: str
    test: str
    frequency: float
    odds_ratio: float
    lower: float
    upper: float
    neg_log10_p: float
    code: str
    in_cases: float = math.nan
    in_controls: float = math.nan

    @property
    def is_known(self):
        """There is an estimate, finite or infinite."""
        return not math.isnan(self.odds_ratio)

    @property
    def term(self):
        """Haplotype and test; the test is left out where it is the effect of a copy."""
        if self.haplotype == NOTHING:
            return self.test
        return self.haplotype if self.test == "ADD" else f"{self.haplotype} {self.test}"

    @property
    def is_penalised(self):
        """Estimate or bound are those of a penalised likelihood."""
        return self.code.endswith("PENALISED")

    @property
    def remark(self):
        """What keeps the row from being an ordinary estimate."""
        return "" if self.code == NOTHING else self.code.lower().replace("_", " ")


@dataclass
class EffectTable:
    """The odds ratios of a table; rows of rho are none and are counted only."""
    path: str
    level: str
    rows: list
    n_rho: int
    reference_frequencies: dict
    n_windows: int  # with those that were not chosen

    def of_windows(self, windows):
        """The table with these windows alone."""
        return replace(self, rows=[row for row in self.rows if row.window in windows])

    def of_names(self, names):
        """The table with the windows of these names alone, of which each must be there."""
        missing = set(names) - {row.window[3] for row in self.rows}
        if missing:
            raise DataError(f"{self.path}: no window {', '.join(sorted(missing))}.")
        return self.of_windows({row.window for row in self.rows if row.window[3] in names})

    def summary(self):
        """What is said about the table."""
        unknown = sum(not row.is_known for row in self.rows)
        windows = len({row.window for row in self.rows})
        chosen = f" of {self.n_windows}, chosen by --window, --top or as leads" if windows < self.n_windows else ""
        return (f"{len(self.rows)} effects, {unknown} of them without an estimate; windows: {windows}{chosen}; "
                f"rows of rho left out: {self.n_rho}.")


def window_title(window):
    """The window's name and place; the number of a sliding window is left out."""
    chromosome, first, last, name = window
    place = f"{chromosome}:{first}-{last}"
    return place if name.isdigit() or name == place else f"{name} ({place})"


def group_frequencies(path, keys):
    """{(window, haplotype): (frequency in cases, in controls)} of the windows."""
    names = [*KEY, "HAP", "CASE_FREQ", "CTRL_FREQ"]
    columns, lines = read_columns(path, names, keys)
    pair = [numbers_of(path, name, columns[name], lines) for name in names[5:]]
    labels = zip(zip(*(columns[name] for name in KEY)), columns["HAP"])
    return dict(zip(labels, zip(*pair)))


def level_of(header):
    """The level in the names of the interval's columns: 95 of L95 and U95; 95 where it is missing."""
    levels = [name[1:] for name in header if re.fullmatch(r"L\d+(\.\d+)?", name)]
    return levels[0] if levels else "95"


def read_effects(path, haplotype_path=None):
    """All rows of the effects table."""
    level = ""

    def wanted(header):
        nonlocal level
        level = level_of(header)
        return [*KEY, "HAP", "REF_HAP", "TEST", *NUMBERS, f"L{level}", f"U{level}", "ERRCODE"]

    columns, lines = read_columns(path, wanted)
    ratios = 0, math.inf
    number = read_numbers(path, columns, lines, {"HAP_FREQ": (0, 1), "OR": ratios, f"L{level}": ratios,
                                                 f"U{level}": ratios, "NEG_LOG10_P": (0, MOST_LOG_P)})
    windows = list(zip(*(columns[name] for name in KEY)))
    frequencies = group_frequencies(haplotype_path, set(windows)) if haplotype_path else {}
    if haplotype_path and not frequencies:
        raise DataError(f"{haplotype_path}: has none of the windows of {path}.")
    rows = []
    for i, window in enumerate(windows):
        if columns["TEST"][i] == "RHO":
            continue
        haplotype = columns["HAP"][i]
        in_cases, in_controls = frequencies.get((window, haplotype), (math.nan, math.nan))
        rows.append(Effect(window, haplotype, columns["REF_HAP"][i], columns["TEST"][i],
                           number["HAP_FREQ"][i], number["OR"][i], number[f"L{level}"][i],
                           number[f"U{level}"][i], number["NEG_LOG10_P"][i], columns["ERRCODE"][i],
                           in_cases, in_controls))
    return EffectTable(path, level, rows, len(windows) - len(rows), frequencies, len({row.window for row in rows}))
