"""Columns of a table: plain or gzip (bgzip) text, separated by tabs, one header line, NA for missing."""
import functools
import gzip
import re
import zlib

import numpy as np

# Control characters, line separators and marks that change the direction of the text.
UNPRINTABLE = re.compile("[\x00-\x08\x0b-\x1f\x7f-\x9f\u2028-\u202e\u2066-\u2069]")

LONGEST_LINE = 1 << 24  # bytes, as quilmar-scan takes them


class DataError(Exception):
    """What is wrong with a file, as it is told to the user."""


def lines(path):
    """Lines without their ends, decompressed; what cannot be printed reads as "?"."""
    try:
        with open(path, "rb") as file:
            is_gzip = file.read(2) == b"\x1f\x8b"
            file.seek(0)
            stream = gzip.open(file) if is_gzip else file
            for line in iter(functools.partial(stream.readline, LONGEST_LINE), b""):
                if len(line) == LONGEST_LINE:
                    raise DataError(f"{path}: a line has more than 16 MiB; is it the right file?")
                text = line.rstrip(b"\r\n").decode("utf-8", "replace")
                yield UNPRINTABLE.sub("?", text) if UNPRINTABLE.search(text) else text
    except (EOFError, zlib.error, gzip.BadGzipFile) as error:
        raise DataError(f"{path}: the compressed data are damaged or cut short.") from error
    except OSError as error:
        raise DataError(f"{path}: {error.strerror or error}.") from error


def places(path, header, names):
    """Where the named columns stand."""
    missing = [name for name in names if name not in header]
    if missing:
        raise DataError(f"{path}: no column {', '.join(missing)} in the header line; is it the right table?")
    return [header.index(name) for name in names]


def read_columns(path, names, keys=None):
    """The named columns as lists of texts, and the line number of each row: {name: [...]}, [...].

    names is a list, or a function that makes it of the header's names. With keys, a set of tuples, only
    the rows whose first columns are one of them.
    """
    rows = lines(path)
    header = next(rows, "").split("\t")
    if callable(names):
        names = names(header)
    where = places(path, header, names)
    n_key = len(next(iter(keys))) if keys else 0
    columns = [[] for _ in names]
    appenders = [(column.append, place) for column, place in zip(columns, where)]
    numbers = []
    number = 1
    for number, row in enumerate(rows, 2):
        cells = row.split("\t")
        if len(cells) != len(header):
            raise DataError(f"{path}:{number}: {len(cells)} columns, but the header has {len(header)}.")
        if keys is None or tuple(cells[:n_key]) in keys:
            numbers.append(number)
            for append, place in appenders:
                append(cells[place])
    if number == 1:
        raise DataError(f"{path}: the table has no rows.")
    return dict(zip(names, columns)), numbers


def numbers_of(path, name, texts, line_numbers):
    """The column as floating-point numbers, NA as nan."""
    try:
        return np.array([text if text != "NA" else "nan" for text in texts], dtype=float)
    except ValueError:
        for text, number in zip(texts, line_numbers):
            try:
                float(text if text != "NA" else "nan")
            except ValueError:
                raise DataError(f"{path}:{number}: {name} is '{text}', which is no number.") from None
        raise


def read_numbers(path, columns, line_numbers, ranges):
    """The columns as numbers: {name: array}; what is not NA must be from least to most of its range.

    ranges is {name: (least, most)}.
    """
    numbers = {name: numbers_of(path, name, columns[name], line_numbers) for name in ranges}
    for name, (least, most) in ranges.items():
        wrong = (numbers[name] < least) | (numbers[name] > most)
        if wrong.any():
            row = int(np.argmax(wrong))
            raise DataError(f"{path}:{line_numbers[row]}: {name} is {columns[name][row]}.")
    return numbers
