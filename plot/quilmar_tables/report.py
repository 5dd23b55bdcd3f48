"""The effects of a report of quilmar.

A row is a label, filled with blanks to its width, and estimate, standard error, z and p with the same decimals
each. Widths are counted in bytes, and numbers can touch: the label ends where the heads of the columns and the
rule beneath them say, and numbers are split by their decimals. The p-value is computed from z.

A haplotype is printed in letters where the specification that quilmar-scan exported stands beside the report of its
data file: a comment before its GENE line gives the letters of 1 and of 0 at each SNP.
"""
import math
import os
import re
from dataclasses import dataclass

import numpy as np
from scipy.special import ndtri

from .columns import DataError, lines
from .tails import neg_log10_p_of_z

TITLE = re.compile(r"(Additive|Recessive|Dominant|Codominant) haplotype effects under Hardy-Weinberg ")
HEAD = re.compile(r" *Estimate *StdError *Z-Stat *P-Value$")
SUCCESS = "Success."
DEVIATION = "homozygous deviation"


@dataclass
class ReportedEffect:
    """An odds ratio of a report; nan where the fit failed or gave no standard error."""
    genes: str
    term: str
    frequency: float
    odds_ratio: float
    lower: float
    upper: float
    neg_log10_p: float
    remark: str


def label_width(head, rule):
    """Bytes of the label column: the rule is as long as it and four columns of width w together.

    "Estimate" ends with the first column, or begins with it where w is 6 or 7, less than its letters.
    """
    at = head.index("Estimate")
    w, rest = divmod(len(rule) - at - 8, 3)
    return len(rule) - 4 * w if rest == 0 else at


def values(text):
    """The numbers of a row, which may touch; None if it has other than estimate alone or all four."""
    decimals = re.search(rb"\.(\d+)\D*$", text)
    pattern = rb" *(-?(?:\d+\.\d{%d}|inf|nan))" % (len(decimals[1]) if decimals else 1)
    found = re.findall(pattern, text)
    is_whole = re.fullmatch(rb"(?:%s)*\s*" % pattern, text)
    return [float(number) for number in found] if is_whole and len(found) in (1, 4) else None


def effects_section(path):
    """(line number, text) of the lines from the head of the effects to their status."""
    numbered = list(enumerate(lines(path), 1))
    if not numbered or not any("=== QUILMAR Analysis" in text for _, text in numbered[:2]):
        raise DataError(f"{path}: is neither a table of effects nor a report of quilmar.")
    start = [k for k, (_, text) in enumerate(numbered) if TITLE.match(text)]
    if not start:
        raise DataError(f"{path}: the report has no effects.")
    section = numbered[start[0]:]
    head = [k for k, (_, text) in enumerate(section) if HEAD.match(text)]
    status = [k for k, (_, text) in enumerate(section) if text.startswith("Status: ")]
    if not head or not status:
        raise DataError(f"{path}: the report is cut short.")
    return section[head[0]:status[0] + 1]


def rows_of(path, section):
    """(part, genes, label, numbers) of each row; part is Effects, Environment or Frequencies."""
    width = label_width(section[0][1], section[1][1])
    part = genes = ""
    for number, text in section[2:-3]:
        row = text.encode()
        if row.startswith(b"-"):
            continue
        if not row.startswith(b" "):
            if text in ("Effects", "Environment", "Frequencies"):
                part, genes = text, ""
            else:
                genes = text
            continue
        numbers = values(row[width:])
        if numbers is None:
            raise DataError(f"{path}:{number}: the row cannot be read: '{text.strip()}'.")
        yield part, genes, row[:width].decode("utf-8", "replace").strip(), numbers


class HaplotypeFrequencies:
    """Frequencies of the haplotypes of genes, summed from those over all genes."""

    def __init__(self, rows):
        self.whole = {label: numbers[0] for part, _, label, numbers in rows
                      if part == "Frequencies" and label != "Rho"}
        self.lengths = {}
        for part, genes, label, _ in rows:
            for gene, haplotype in zip(gene_numbers(genes), label.split("*")):
                if part != "Frequencies" and haplotype:
                    self.lengths[gene] = len(haplotype)

    def __call__(self, genes, label):
        """Of the haplotype, or of the combination; nan where a gene before it has an unknown length."""
        wanted = []
        for gene, haplotype in zip(gene_numbers(genes), label.split("*")):
            before = [self.lengths.get(g) for g in range(1, gene)]
            if None in before:
                return math.nan
            wanted.append((sum(before), haplotype))
        if not wanted:
            return math.nan
        return sum(f for text, f in self.whole.items() if all(text.startswith(h, at) for at, h in wanted))


class Letters:
    """The letters of haplotypes, by the .spec beside the report; without one the digits stay."""
    COMMENT = re.compile(r"letters of 1: (.*); of 0: (.*)$")

    def __init__(self, report):
        path = os.path.splitext(report.removesuffix(".out"))[0] + ".spec"
        self.genes, comment = [], None
        for line in lines(path) if os.path.exists(path) else ():
            comment = self.COMMENT.match(line) or comment
            if line.startswith("GENE="):
                self.genes.append([group.split() for group in comment.groups()[::-1]] if comment else None)
                comment = None

    def haplotype(self, gene, text):
        """Of one gene; as it is where the comment is about other SNPs."""
        by_digit = self.genes[gene - 1] if gene <= len(self.genes) else None
        if not by_digit or {len(alleles) for alleles in by_digit} != {len(text)} or set(text) - set("01"):
            return text
        return ("-" if any(len(a) > 1 for group in by_digit for a in group) else "").join(
            by_digit[int(digit)][at] for at, digit in enumerate(text))

    def __call__(self, genes, label):
        """Of a label, whose last part may be a covariate."""
        parts = label.split("*")
        for at, gene in enumerate(gene_numbers(genes)[:len(parts)]):
            parts[at] = self.haplotype(gene, parts[at])
        return "*".join(parts)


def gene_numbers(title):
    """[1, 2] of "Genes 1*2"."""
    return [int(number) for number in re.findall(r"\d+", title)]


def effect_of(genes, term, frequency, numbers, status):
    """The odds ratio with its 95% interval; the numbers of a failed fit are not shown."""
    if status != SUCCESS:
        return ReportedEffect(genes, term, math.nan, math.nan, math.nan, math.nan, math.nan, status.rstrip("."))
    estimate, error, z = (numbers + [math.nan] * 3)[:3]
    half = ndtri(0.975) * error
    with np.errstate(over="ignore", under="ignore"):
        ratio, lower, upper = np.exp([estimate, estimate - half, estimate + half])
    remark = "" if np.isfinite(z) else "no standard error"
    return ReportedEffect(genes, term, frequency, ratio, lower, upper,
                          float(neg_log10_p_of_z(z)) if np.isfinite(z) else math.nan, remark)


def read_report(path):
    """The effects in the order of the report."""
    section = effects_section(path)
    status = section[-1][1].removeprefix("Status: ")
    rows = list(rows_of(path, section))
    frequency, letters = HaplotypeFrequencies(rows), Letters(path)
    effects, label = [], ""
    for part, genes, text, numbers in rows:
        if part == "Frequencies":
            continue
        label = text or label
        name = letters(genes, label)
        effects.append(effect_of(genes or part, name if text else f"{name}, {DEVIATION}",
                                 frequency(genes, label), numbers, status))
    return effects
