"""quilmar-table: the command line and what it says."""
import argparse
import os
import sys

from .choice import add_choice, choose
from .columns import DataError, lines
from .effects import read_effects
from .leads import lead_table
from .output import write_whole
from .paper import effect_rows, report_rows
from .report import read_report
from .rows import FORMATS, without_empty

SUFFIXES = {".md": "markdown", ".csv": "csv", ".tex": "latex"}


def parse(arguments):
    """The options, or exit status 2."""
    parser = argparse.ArgumentParser(
        prog="quilmar-table", allow_abbrev=False,
        description="Odds ratios with intervals and p-values as a table for a paper.")
    parser.add_argument("files", metavar="FILE", nargs="+",
                        help="one PREFIX.effects.tsv or PREFIX.win.tsv of quilmar-scan, or reports of quilmar")
    parser.add_argument("--hap", metavar="TABLE", help="frequencies in cases and controls: PREFIX.hap.tsv")
    add_choice(parser, "effects of the window of this name", "effects of the N leads with the smallest P")
    parser.add_argument("--all", action="store_true", help="effects of all windows of the table [leads]")
    parser.add_argument("--kb", type=float, default=500, metavar="KB",
                        help="a lead window stands for others with at most so many kb between [500]")
    parser.add_argument("--format", choices=FORMATS,
                        help="[by the name of --out: .md, .csv, .tex; else markdown]")
    parser.add_argument("-o", "--out", metavar="FILE", help="the table [standard output]")
    return parser.parse_args(arguments)


def is_report(path):
    """The file begins as a report does, or at least not with a header line of columns."""
    return "\t" not in next(lines(path), "")


def is_window_table(path):
    """The header line is that of window tests."""
    return "N_SNP" in next(lines(path), "").split("\t")


def table_of(options):
    """Heads, rows and what is said about them."""
    reports = [path for path in options.files if is_report(path)]
    if not reports and len(options.files) == 1:
        effects = read_effects(options.files[0], options.hap)
        if not effects.rows:
            raise DataError(f"{effects.path}: no odds ratio.")
        effects = choose(effects, options.window, options.top, options.all)
        return *effect_rows(effects), effects.summary()
    if len(reports) < len(options.files):
        raise DataError("give one table of effects, or reports alone.")
    if options.hap:
        raise DataError(f"{options.hap}: is of no use to reports of quilmar.")
    rows, n_failed = [], 0
    for path in reports:
        effects = read_report(path)
        n_failed += all(effect.remark and effect.odds_ratio != effect.odds_ratio for effect in effects)
        name = os.path.basename(path).removesuffix(".out") if len(reports) > 1 else ""
        heads, more = report_rows(name, effects)
        rows += more
    return heads, rows, f"{len(rows)} effects; reports that failed: {n_failed} of {len(reports)}."


def print_bytes(text):
    """Writes to the standard output at once, so that its errors are told here and not at exit."""
    try:
        with open(1, "wb", closefd=False) as file:
            file.write(text)
    except OSError as error:
        raise DataError(f"standard output: cannot be written: {error.strerror}.") from error


def text_of(options):
    """The output, and what is said about it."""
    if len(options.files) == 1 and is_window_table(options.files[0]):
        text = lead_table(options.files[0], options.kb)
        return text, f"{text.count(chr(10)) - 1} lead windows."
    heads, rows, message = table_of(options)
    suffix = os.path.splitext(options.out or "")[1].lower()
    return FORMATS[options.format or SUFFIXES.get(suffix, "markdown")](*without_empty(heads, rows)), message


def main():
    """Exit status 0: printed; 1: something is wrong with a file; 2: with the command line."""
    options = parse(sys.argv[1:])
    try:
        text, message = text_of(options)
        if options.out:
            write_whole(options.out, text.encode(), [*options.files, options.hap or ""])
        else:
            print_bytes(text.encode())
    except DataError as error:
        print(f"quilmar-table: {error}", file=sys.stderr)
        return 1
    print(message, file=sys.stderr)
    return 0
