"""Rows of texts as Markdown, CSV or LaTeX."""
import csv
import io
import re


def without_empty(heads, rows):
    """The table without the columns in which nothing stands."""
    kept = [k for k in range(len(heads)) if any(row[k] for row in rows)]
    return [heads[k] for k in kept], [[row[k] for k in kept] for row in rows]


def markdown(heads, rows):
    """A table with a line of heads."""
    def line(cells):
        return "| " + " | ".join(re.sub(r"([|*_`\\<])", r"\\\1", cell) for cell in cells) + " |\n"
    return line(heads) + "|" + "---|" * len(heads) + "\n" + "".join(map(line, rows))


def comma_separated(heads, rows):
    """A line of heads and the rows, quoted where a comma needs it."""
    text = io.StringIO()
    csv.writer(text, lineterminator="\n").writerows([heads, *rows])
    return text.getvalue()


LATEX = {"\\": r"\textbackslash{}", "^": r"\textasciicircum{}", "~": r"\textasciitilde{}", "<": r"\textless{}",
         ">": r"\textgreater{}", "|": r"\textbar{}", **{c: "\\" + c for c in "&%$#_{}"}}


def latex_cell(text):
    """The text for LaTeX: special characters, ranges, powers of ten, infinity."""
    text = re.sub(r"[\\^~<>|&%$#_{}]", lambda found: LATEX[found[0]], text)
    text = re.sub(r"^(\d\.\d)e-(\d+)$", r"$\1 \\times 10^{-\2}$", text)
    interval = re.fullmatch(r"(\S+) \((\S+)-(\S+)\)", text)
    if interval and all(re.fullmatch(r"[\d.?]+(e[+-]\d+)?|inf", part) for part in interval.groups()):
        text = f"{interval[1]} ({interval[2]}--{interval[3]})"
        text = re.sub(r"\binf\b", r"$\\infty$", text)
    return text


def latex(heads, rows):
    """Rows of a tabular environment, which is the paper's own."""
    return "".join(" & ".join(map(latex_cell, cells)) + r" \\" + "\n" + rule
                   for cells, rule in ((heads, "\\hline\n"), *((row, "") for row in rows)))


FORMATS = {"markdown": markdown, "csv": comma_separated, "latex": latex}
