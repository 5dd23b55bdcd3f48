"""The options that choose windows, and the effects of the windows that they choose."""
import argparse
import re

from .columns import DataError
from .leads import read_leads


def whole_number(text):
    """A number from 1 on."""
    if not re.fullmatch("0*[1-9][0-9]{0,8}", text):
        raise argparse.ArgumentTypeError(f"'{text}' is no whole number from 1 on")
    return int(text)


def add_choice(parser, window, top):
    """The options that choose windows, with their help; by default they are those of PREFIX.lead.tsv."""
    parser.add_argument("--window", metavar="NAME", action="append", help=window + "; may be repeated [leads]")
    parser.add_argument("--top", metavar="N", type=whole_number, help=top)

def choose(effects, names, top, takes_all):
    """The effects of the windows of these names, of the best leads or of all leads; all where no lead has any."""
    if names:
        return effects.of_names(names)
    windows = {row.window for row in effects.rows}
    leads = [lead.window for lead in read_leads(effects.path) if lead.window in windows]
    if top and not leads:
        raise DataError(f"{effects.path}: --top needs the scan's table .lead.tsv beside it, with a window of it.")
    return effects if takes_all or not leads else effects.of_windows(set(leads[:top]))
