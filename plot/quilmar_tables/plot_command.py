"""quilmar-plot: the command line and what it says."""
import argparse
import os
import re
import sys

import numpy as np

from .choice import add_choice, choose
from .columns import DataError
from .picture import FORMATS, save
from .windows import bonferroni, counted, read_windows


def picture_name(text):
    """The name of a file in a format that can be drawn."""
    if os.path.splitext(text)[1].lower() not in FORMATS:
        raise argparse.ArgumentTypeError(f"'{text}' does not end in {', '.join(FORMATS[:-1])} or {FORMATS[-1]}")
    return text


def probability(text):
    """A number above 0 and below 1."""
    try:
        value = float(text)
    except ValueError:
        value = 0.0
    if not 0 < value < 1:
        raise argparse.ArgumentTypeError(f"'{text}' is no number between 0 and 1")
    return value


def place(text):
    """CHR:FROM-TO as (chromosome, from, to)."""
    found = re.fullmatch(r"(?:chr)?(\w+):([\d,]+)-([\d,]+)", text)
    if not found:
        raise argparse.ArgumentTypeError(f"'{text}' is not CHR:FROM-TO")
    first, last = (int(found[k].replace(",", "") or 0) for k in (2, 3))
    if first > last:
        raise argparse.ArgumentTypeError(f"'{text}' ends before it begins")
    return found[1], first, last


def parse(arguments):
    """The options, or exit status 2."""
    parser = argparse.ArgumentParser(prog="quilmar-plot", allow_abbrev=False,
                                     description="Pictures of the tables of quilmar-scan.")
    commands = parser.add_subparsers(dest="command", required=True, metavar="PICTURE")
    window_tables = {
        "manhattan": "-log10 P of every window along the genome",
        "qq": "observed p-values against uniform ones",
        "region": "the windows of a region and their haplotypes",
    }
    for command, what in window_tables.items():
        sub = commands.add_parser(command, help=what, description=what, allow_abbrev=False)
        sub.add_argument("table", metavar="TABLE", help="window tests: PREFIX.win.tsv, plain or gzip")
        sub.add_argument("--level", metavar="P", type=probability,
                         help="p-value of the line [0.05 by the number of windows that have one]")
        if command == "region":
            sub.add_argument("--range", metavar="CHR:FROM-TO", type=place,
                             help="windows that lie in it or reach into it are drawn [those of --window, else the "
                                  "best locus of PREFIX.lead.tsv, with as much again on both sides]")
            sub.add_argument("--hap", metavar="TABLE", help="their haplotypes: PREFIX.hap.tsv")
            add_choice(sub, "a column of haplotypes for the window of this name", "at most N columns")
    what = "odds ratios of haplotypes with their intervals"
    sub = commands.add_parser("forest", help=what, description=what, allow_abbrev=False)
    sub.add_argument("table", metavar="TABLE", help="effects: PREFIX.effects.tsv, plain or gzip")
    sub.add_argument("--hap", metavar="TABLE", help="frequencies in cases and controls: PREFIX.hap.tsv")
    add_choice(sub, "draw the window of this name", "draw the N leads with the smallest P")
    sub.add_argument("--all", action="store_true", help="draw all windows of the table [leads]")
    for sub in commands.choices.values():
        sub.add_argument("-o", "--out", metavar="FILE", type=picture_name, required=True,
                         help="the picture: .png, .svg or .pdf")
    return parser.parse_args(arguments)


def draw_windows(options):
    """The picture of window tests, and what is said about it."""
    from . import manhattan, qq, region
    tests = read_windows(options.table)
    n_tests = len(tests.neg_log10_p)
    level = options.level or bonferroni(tests)
    shown_tests = None if options.level else n_tests
    if options.command == "region":
        figure = region.draw(tests, level, shown_tests, region.view_of(tests, options), options.hap)
    else:
        figure = {"manhattan": manhattan, "qq": qq}[options.command].draw(tests, level, shown_tests)
    n_beyond = int((tests.neg_log10_p >= -np.log10(level)).sum())
    lambda_text = f" Lambda {tests.inflation}." if tests.inflation else ""
    return figure, (f"{counted(n_tests)}, {tests.n_without} without a p-value left out.{lambda_text} "
                    f"{n_beyond} at or below P {level:.6g}.")


def draw_effects(options):
    """The forest, and what is said about it."""
    from . import forest
    from .effects import read_effects
    drawn = choose(read_effects(options.table, options.hap), options.window, options.top, options.all)
    return forest.draw(drawn), drawn.summary()


def main():
    """Exit status 0: drawn; 1: something is wrong with a file; 2: with the command line."""
    options = parse(sys.argv[1:])
    try:
        figure, message = (draw_effects if options.command == "forest" else draw_windows)(options)
        save(figure, options.out, [options.table, getattr(options, "hap", None) or ""])
    except DataError as error:
        print(f"quilmar-plot: {error}", file=sys.stderr)
        return 1
    print(f"{options.out}: {message}", file=sys.stderr)
    return 0
