"""The window tests of PREFIX.win.tsv."""
from dataclasses import dataclass

import numpy as np

from .columns import DataError, read_columns, read_numbers
from .tails import inflation_text

MOST_CHROMOSOMES = 100
MOST_LOG_P = 1e6


@dataclass
class WindowTests:
    """The windows that have a p-value, in the order of the table, and how many have none."""
    path: str
    chromosome: np.ndarray
    first: np.ndarray
    last: np.ndarray
    name: np.ndarray
    neg_log10_p: np.ndarray
    inflation: str  # lambda of all windows of the table, or nothing
    n_without: int

    @property
    def heading(self):
        """Their number, and lambda."""
        return counted(len(self.name)) + (f", λ = {self.inflation}" if self.inflation else "")

    @property
    def middle(self):
        """Positions between the first and the last SNP."""
        return (self.first + self.last) / 2

    def select(self, chosen):
        """The windows of a mask or of indices."""
        return WindowTests(self.path, self.chromosome[chosen], self.first[chosen], self.last[chosen],
                           self.name[chosen], self.neg_log10_p[chosen], self.inflation, 0)

    def title(self, i):
        """The window's name, or its place where windows are numbered."""
        if not self.name[i].isdigit():
            return self.name[i]
        return f"{self.chromosome[i]}:{self.first[i]:.0f}-{self.last[i]:.0f}"


def read_windows(path):
    """All windows with a p-value; there must be one."""
    # N_SNP is not used, but tells the table from that of haplotypes.
    names = ["CHROM", "POS", "END", "WINDOW", "N_SNP", "DF", "CHISQ", "NEG_LOG10_P"]
    columns, rows = read_columns(path, names)
    positions = 0, 2**31 - 1
    numbers = read_numbers(path, columns, rows, {"POS": positions, "END": positions, "DF": (0, np.inf),
                                                 "CHISQ": (0, np.inf), "NEG_LOG10_P": (0, MOST_LOG_P)})
    first, last, df, chi_square, y = numbers.values()
    for name in ("POS", "END"):
        if np.isnan(numbers[name]).any():
            raise DataError(f"{path}:{rows[int(np.isnan(numbers[name]).argmax())]}: {name} is NA.")
    if (n_names := len(set(columns["CHROM"]))) > MOST_CHROMOSOMES:
        raise DataError(f"{path}: there are {n_names} names of chromosomes; is it the right table?")
    has_p = ~np.isnan(y)
    if not has_p.any():
        raise DataError(f"{path}: none of the {len(y)} windows has a p-value.")
    return WindowTests(path, np.array(columns["CHROM"])[has_p], first[has_p], last[has_p],
                       np.array(columns["WINDOW"])[has_p], y[has_p], inflation_text(chi_square[has_p], df[has_p]),
                       int((~has_p).sum()))


def counted(n):
    """1 window, 700,000 windows."""
    return f"{n:,} window{'' if n == 1 else 's'}"


def bonferroni(tests):
    """0.05 by the number of tests."""
    return 0.05 / len(tests.neg_log10_p)
