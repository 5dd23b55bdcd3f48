#!/usr/bin/python3
"""Compares the program with the textbook: compare.py PROGRAM [SEEDS [FIRST]].

SEEDS seeds (150) from FIRST (1) on make small random inputs, a table adds inputs for single rules; exit
status, standard output, messages and reports have to be the textbook's byte for byte, the date aside.
Two things are left open:
- The signs of a printed zero and of a printed nan; which of nan and infinity a log-likelihood is.
- A soft difference: the effects section of a report (or another document) may differ where the textbook's
  own one changes when its frequencies and pair probabilities are disturbed by one part in 10^13. At most 4%
  of the runs may hold one.
"""
import difflib
import itertools
import math
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile

import numpy as np

import files as textbook_files
import textbook
from files import SAMPLES

SOFT_SHARE = 0.04


# ---------------------------------------------------------------------------------------- inputs

def simulate(rng, sizes, subjects, covariates=0, rho=0.0, missing=0.03, haplotypes=4, effect=0.4):
    """Lines of a data file: ID, status, SNPs, covariates, a text."""
    loci = sum(sizes)
    pool = rng.sample(range(2 ** loci), min(haplotypes, 2 ** loci))
    shares = [rng.uniform(0.3, 1.0) for _ in pool]
    origin, scale = rng.choice([(0, 1), (0, 1), (0, 1), (20000, 20)])
    names = [rng.choice(["E1", "AGE", "YEARS_OF_EXPOSURE_TO_SMOKE", "a*b", "\x01"]) for _ in range(covariates)]
    lines = [" ".join(["ID", "STATUS"] + [f"S{i}" for i in range(loci)] + names + ["NOTE"])]
    for number in range(subjects):
        status = number % 2
        while True:
            first, second = rng.choices(pool, shares, k=2)
            if rng.random() < rho:
                second = first
            if rng.random() < math.exp(effect * status * ((first == pool[0]) + (second == pool[0]) - 2)):
                break
        snps = [(first >> bit & 1) + (second >> bit & 1) for bit in reversed(range(loci))]
        texts = [rng.choice(["9", "-9", "3", "0.5"]) if rng.random() < missing else str(s) for s in snps]
        values = [f"{origin + scale * rng.gauss(0.5 * status, 1):.3f}" if i
                  else str(int(rng.random() < 0.4 + 0.2 * status)) for i in range(covariates)]
        lines.append(" ".join([f"P{number}", str(status)] + texts + values + ["-"]))
    return lines, pool


def columns_of(sizes, covariates):
    first = 3
    genes = []
    for size in sizes:
        genes.append(list(range(first, first + size)))
        first += size
    return genes, list(range(first, first + covariates))


def told_apart(rows, sizes, pool):
    """Whether all effects can be estimated, in any mode, where the pairs of the pool are seen."""
    if len(set(map(tuple, rows))) < len(rows):
        return False
    for pattern in {tuple(row[len(sizes):]) for row in rows}:
        genetic = [row for row in rows if tuple(row[len(sizes):]) == pattern and max(row[:len(sizes)]) >= 0]
        for mode in range(4):
            z = [[1.0] + sum((textbook.codes(dict(MODEL=mode), row, pair, sizes) for row in genetic), [])
                 for pair in itertools.product(pool, repeat=2)]
            if np.linalg.matrix_rank(np.array(z)) < len(z[0]):
                return False
    return True


def random_effects(rng, sizes, pool, covariates):
    """Rows of entries, now and then redundant or with any number."""
    for _ in range(200):
        rows = []
        for _ in range(rng.choice([1, 1, 2, 2, 3])):
            h = rng.choice(pool)
            rows.append([textbook.part(h, g, sizes) if rng.random() < 0.7 else -1 for g in range(len(sizes))] +
                        [1 if rng.random() < 0.4 else -1 for _ in range(covariates)])
        if told_apart(rows, sizes, pool) or rng.random() < 0.01:
            break
    if rng.random() < 0.06:
        rows[-1][rng.randrange(len(sizes))] = rng.randrange(2 ** max(sizes) + 2)
    return rows


def spec_lines(genes, covariates, effects, **settings):
    """Lines of a variable specification file."""
    lines = ["a comment", "STATUS=2"] + ["GENE=" + " ".join(map(str, gene)) for gene in genes]
    if covariates:
        lines.append("ENVIRONMENT=" + " ".join(map(str, covariates)))
    lines += ["EFFECT=" + " ".join(map(str, row)) for row in effects]
    return lines + [f"{key}={value}" for key, value in settings.items()]


def random_settings(rng):
    settings = {}
    for key, share, draw in (
            ("HW", 0.5, lambda: rng.choice(["HWE", "hwe", "HWD", "hwd", "HWD"])),
            ("MODEL", 0.8, lambda: rng.choice(textbook.MODES + [m.upper() for m in textbook.MODES])),
            ("SAMPLE", 0.6, lambda: rng.choice(SAMPLES + [s.upper() for s in SAMPLES])),
            ("THRESHOLD", 0.8, lambda: rng.choice(["0.01", "0.02", "0.05", "0.1", "1e-3", ".3"])),
            ("TOLERANCE", 0.3, lambda: rng.choice(["0.01", "1e-6", "0.00001", "1e-7", "0.3"])),
            ("ITERATIONS", 0.2, lambda: rng.choice(["1", "2", "3", "5", "100", "1000"])),
            ("FTOLERANCE", 0.3, lambda: rng.choice(["0.01", "1e-4", "1e-8", "0.00001", "0.05"])),
            ("FITERATIONS", 0.2, lambda: rng.choice(["1", "2", "5", "20", "5000"]))):
        if rng.random() < share:
            settings[key] = draw()
    return settings


def random_options(rng):
    options = []
    for names, share, draw in (
            (("-h", "--hardy-weinberg"), 0.2, lambda: rng.choice(["HWE", "hwe", "HWD", "hwd"])),
            (("-i", "--iterations"), 0.1, lambda: rng.choice(["1", "2", "4", "50", "300", "+7"])),
            (("-m", "--model"), 0.2, lambda: rng.choice(
                textbook.MODES + [m.upper() for m in textbook.MODES] + list("aArRdDcC"))),
            (("-t", "--tolerance"), 0.1, lambda: rng.choice(["0.01", "1e-5", ".5"])),
            (("-o",), 0.1, lambda: rng.choice(["res", "res/", "res//", "."]))):
        if rng.random() < share:
            name, value = rng.choice(names), draw()
            options += [f"{name}={value}"] if rng.random() < 0.5 else [name, value]
    return options


def plain_input(rng):
    sizes = [rng.choice([1, 2, 2, 3, 4]) for _ in range(rng.choice([1, 1, 2, 2, 3]))]
    while sum(sizes) > 7:
        sizes.pop()
    covariates = rng.choice([0, 0, 0, 1, 2, 2])
    subjects = rng.choice([40, 80, 120, 300]) if covariates else rng.choice([60, 120, 250, 400])
    lines, pool = simulate(rng, sizes, subjects, covariates, rng.choice([0, 0.05, 0.2, 0.4]),
                           rng.choice([0, 0.03, 0.1]), rng.choice([2, 3, 4, 5]), rng.choice([0, 0.4, 1.0]))
    genes, environment = columns_of(sizes, covariates)
    if rng.random() < 0.05:  # a warning comes, and columns count in their order
        environment.reverse()
    spec = spec_lines(genes, environment, random_effects(rng, sizes, pool, covariates),
                      **random_settings(rng))
    return lines, spec


def plain_case(rng):
    lines, spec = plain_input(rng)
    data = "\n".join(lines) + "\n"
    if rng.random() < 0.1:
        data = data.replace(" ", "\t").replace("\n", "\r\n")
    text = (rng.choice(["\n", "\r\n"])).join(spec) + rng.choice(["", "\n"])
    name = rng.choice(["d.txt", "./d.txt", "a name with blanks", "sub/d", "x" * 75])
    return {name: data, "s.spec": text}, [name, "s.spec"] + random_options(rng)


def directory_case(rng):
    """Several files of one layout; under disequilibrium one may carry its fallback over to the next."""
    sizes = [rng.choice([1, 2, 3])]
    files, pool = {}, None
    for name in rng.sample(["b", "a.txt", ".hidden", "Z", "c.out", "10", "9"], rng.choice([2, 3, 4])):
        excess = rng.random() < 0.3
        lines, pool = simulate(rng, sizes, 80, rho=0.3, missing=0.02)
        if excess:
            lines = [lines[0]] + [re.sub(r"^(\S+ \S+) (.*) -$", lambda m: m[1] + " 1" * sizes[0] + " -", line)
                                  for line in lines[1:]]
        files["dir/" + name] = "\n".join(lines) + "\n"
    files["dir/sub/x"] = "no data file\n"
    genes, _ = columns_of(sizes, 0)
    settings = random_settings(rng)
    if rng.random() < 0.7:
        settings["HW"] = "HWD"
    files["s.spec"] = "\n".join(spec_lines(genes, [], random_effects(rng, sizes, pool, 0), **settings))
    return files, [rng.choice(["dir", "dir/"]), "s.spec"] + random_options(rng)


def missing_case(rng):
    """Subjects with 10, 11 and 12 missing loci."""
    sizes = rng.choice([[12], [5, 7], [11], [4, 4, 4], [10]])
    loci = sum(sizes)
    lines, pool = simulate(rng, sizes, 400, missing=0.0, haplotypes=3)
    settings = random_settings(rng)
    sample = SAMPLES.index(settings.get("SAMPLE", "controls").lower())
    settings["FITERATIONS"] = str(rng.choice([1, 2, 4]))
    settings["THRESHOLD"] = rng.choice(["0.6", "0.7", "0.8"])  # 0.43 is the share of all after one with 11
    eleven = False
    for lost in rng.sample([10, 10, 11, 12], rng.choice([1, 2, 3])):
        row = rng.randrange(1, len(lines))
        tokens = lines[row].split()
        if lost == 12 and sample in (int(tokens[1]), 2):
            lost = 11  # 4^12 pairs in each iteration are too many for here
        if lost == 11 and sample in (int(tokens[1]), 2):
            lost, eleven = 10 if eleven else 11, True
        for locus in rng.sample(range(loci), min(lost, loci)):
            tokens[2 + locus] = "9"
        lines[row] = " ".join(tokens)
    if not eleven:
        settings["THRESHOLD"] = rng.choice(["0.02", "0.1", "0.3"])
    genes, _ = columns_of(sizes, 0)
    spec = spec_lines(genes, [], random_effects(rng, sizes, pool, 0), **settings)
    return {"d.txt": "\n".join(lines) + "\n", "s.spec": "\n".join(spec)}, ["d.txt", "s.spec"]


def wrong_data_case(rng):
    lines, spec = plain_input(rng)
    for _ in range(rng.choice([1, 1, 2])):
        row = rng.randrange(len(lines))
        tokens = lines[row].split() or ["x"]
        column = rng.randrange(len(tokens))
        kind = rng.randrange(10)
        if kind < 4:
            tokens[column] = rng.choice(["NA", "?", "0x1", "nan", "inf", "1e999", "0/1", "1.", "1e0", "+1",
                                         "2.0", "-1", "1,5", "00", "0.0", "1e", "."])
        elif kind == 4:
            del tokens[column]
        elif kind == 5:
            tokens.append("extra")
        elif kind == 6:
            tokens = rng.choice([[], ["", ""], ["\t"]])
        elif kind == 7:
            tokens.append("")
        elif kind == 8:
            tokens = tokens[:2]
        lines[row] = " ".join(tokens)
    text = "\n".join(lines) + rng.choice(["\n", "\n", "\n\n", "", "\n\n\n", "\n "])
    text = rng.choice([text] * 8 + ["", "\n", lines[0], lines[0] + "\n"])
    return {"d.txt": text, "s.spec": "\n".join(spec)}, ["d.txt", "s.spec"]


def wrong_spec_case(rng):
    lines, spec = plain_input(rng)
    for _ in range(rng.choice([1, 1, 2, 3])):
        row = rng.randrange(len(spec))
        kind = rng.randrange(4)
        if kind == 0:
            spec.insert(row, rng.choice([line for line in spec if "STATUS" not in line] or ["x"]))
        elif kind == 1:
            del spec[row]
            spec = spec or ["x"]
        elif kind == 2:
            spec[row] = spec[row].split("=")[0] + rng.choice(["", "=", "= ", " =5", "=0", "=-2"])
        else:
            spec.insert(row, rng.choice([
                "", "foo=1", "STATUS = 1", "MAXFITERATIONS=7", "GENE=x", "GENE=2 3", "GENE=-1", "ENVIRONMENT=3",
                "ENVIRONMENT=0", "ENVIRONMENT=5 4", "EFFECT=-2", "EFFECT=1 1 1 1 1 1 1 1", "EFFECT=a",
                "EFFECT=1.5", "HW=HwE", "hw=x", "HW=", "MODEL=a", "MODEL=Additive", "SAMPLE=case", "SAMPLE=cases ",
                "THRESHOLD=1", "THRESHOLD=0", "THRESHOLD=x", "TOLERANCE=1.5", "TOLERANCE=-0.1", "FTOLERANCE=0.0",
                "FTOLERANCE=nan", "ITERATIONS=0", "ITERATIONS=-3", "ITERATIONS=4294967296", "FITERATIONS=x",
                "FITERATIONS=0", "THRESHOLD", "a SAMPLE of subjects", "FTOLERANCE=1", "ITERATIONS=", "HEADER", "HEADER=0", "HEADER=1",
                "HEADER=x", "ITERATIONS=20 times", "THRESHOLD=0.02%", "TOLERANCE=2%", "FITERATIONS=1e3"]))
    return {"d.txt": "\n".join(lines) + "\n", "s.spec": "\n".join(spec)}, ["d.txt", "s.spec"]


def option_case(rng):
    lines, spec = plain_input(rng)
    options = random_options(rng)
    for _ in range(rng.choice([1, 2])):
        options.insert(rng.randrange(len(options) + 1), rng.choice([
            "-x", "--help", "-o", "-o=", "-h", "-h=", "-h=x", "-h=3", "-i=0", "-i=x", "-i=-1", "-i=4294967296", "-t=0",
            "-t=1", "-t=x", "-t=-1", "-m=x", "-m=1", "-m", "-mc", "--model", "--iterations=", "--tolerance=2", "-o=nix",
            "-o=s.spec", "-H=HWD", "-i=10x", "-t=.01 ", "-t=5%", "stray", "", "=", "--hardy-weinberg=HWD=1"]))
    return {"d.txt": "\n".join(lines) + "\n", "s.spec": "\n".join(spec)}, ["d.txt", "s.spec"] + options


def table(rows):
    """A data file of rows (number of subjects, status, SNPs)."""
    lines = ["ID STATUS " + " ".join(f"S{i}" for i in range(len(rows[0][2])))]
    return "\n".join(lines + [" ".join(["P", str(status)] + list(snps))
                              for n, status, snps in rows for _ in range(n)]) + "\n"


def single_cases():
    """Inputs for single rules, where nothing is left open: (name, files, arguments).

    A file is its text or (text, permissions); a name that ends in "/" is a directory.
    """
    quarters = table([(4, 0, "00"), (2, 0, "02"), (1, 0, "20"), (1, 0, "22"),
                      (3, 1, "00"), (3, 1, "02"), (1, 1, "01"), (1, 1, "20")])
    runaway = table([(1, 0, "1"), (1, 1, "2")])
    no_excess = table([(20, 0, "11"), (20, 1, "11"), (1, 0, "00"), (1, 1, "02")])
    inbred = table([(10, 0, "00"), (9, 0, "22"), (7, 0, "11"), (8, 1, "00"), (12, 1, "22"), (9, 1, "11")])
    complete = [(40, 0, "00000000000"), (30, 0, "11111111111"), (10, 0, "22222222222"),
                (20, 1, "00000000000"), (30, 1, "11111111111"), (30, 1, "22222222222")]
    ten, eleven = "9999999999", "99999999999"

    def one(data, genes, effects, *options, name="d.txt", **settings):
        return {name: data, "s.spec": "\n".join(spec_lines(genes, [], effects, **settings))}, \
            [name, "s.spec", *options]

    two, long = [[3, 4]], [list(range(3, 14))]
    both = {"dir/1": no_excess, "dir/2": inbred, "s.spec": one("", two, [[3]], HW="HWD")[0]["s.spec"]}
    rows = [("no argument", {}, []), ("help", {}, ["--help"]), ("no help", {}, ["-help"]),
            ("no such data", {}, ["nix", "s.spec"]), ("a device", {}, ["/dev/null", "s.spec"]),
            ("no specification", {"d": quarters}, ["d", "nix.spec"]),
            ("unreadable file", {"d": (quarters, 0)}, ["d", "s.spec"]),
            ("unreadable directory", {"d/": ("", 0o300)}, ["d", "s.spec"]),
            ("empty directory", {"d/": "", "d/e/": ""}, ["d", "s.spec"]),
            ("every entry unreadable", {"d/a": (quarters, 0), "d/b": (quarters, 0)}, ["d", "s.spec"]),
            ("fallback carries over", both, ["dir", "s.spec"]),
            ("no fallback", both, ["dir/2", "s.spec"])]
    for threshold in ("0.125", "0.124", "0.25", "0.5"):
        rows.append((f"THRESHOLD={threshold}",) + one(quarters, two, [[1]], THRESHOLD=threshold))
    for tolerance in ("0.125", "0.12", "0.25", "0.5", "1e-12"):
        rows.append((f"FTOLERANCE={tolerance}",) + one(quarters, two, [[1]], FTOLERANCE=tolerance))
    for sample in SAMPLES:
        rows.append((f"SAMPLE={sample}",) + one(quarters, two, [[1]], SAMPLE=sample))
    for effect in (0, 3, 4):
        rows.append((f"EFFECT={effect}",) + one(table([(5, 0, "11"), (5, 0, "20"), (5, 1, "11"), (5, 1, "02")]),
                                                two, [[effect]]))
    for limit in (9, 10, 11):
        rows.append((f"run-away, ITERATIONS={limit}",) + one(runaway, [[3]], [[1]], ITERATIONS=limit))
    for lost, sample in ((ten + "0", "cases"), (ten + "0", "controls"), (eleven, "controls")):
        rows.append((f"{lost} {sample}",) + one(table(complete + [(1, 1, lost)]), long, [[2047]], SAMPLE=sample,
                                                THRESHOLD=0.05, MODEL="codominant"))
    rows.append(("two subjects of a genotype",) + one(table(complete + [(2, 1, eleven), (1, 1, "0" + ten)]), long,
                                                      [[2047]], THRESHOLD=0.05))
    rows.append(("11 missing loci in the sample",) + one(
        table([(5 * n, s, g) for n, s, g in complete] + [(1, 0, eleven)]), long, [[2047]], THRESHOLD=0.5,
        FITERATIONS=3))
    for hw, mode in itertools.product(("HWE", "HWD"), textbook.MODES):
        rows.append((f"two effects, {hw} {mode}",) + one(table(
            [(30, s, g) for s, g in enumerate(("00", "00"))] + [(12 + 3 * i + 5 * s, s, g) for i, g in enumerate(
                ("01", "02", "10", "11", "20", "12", "21", "22")) for s in (0, 1)]), two, [[1], [3]], "-h", hw,
            MODEL=mode, SAMPLE="combined"))
    wrong = ["STATUS=0", "GENE=3", "GENE=4 0", "ENVIRONMENT=5", "ENVIRONMENT=0", "EFFECT=-2 1", "EFFECT=1 1 0 1",
             "EFFECT=1 1 2 1", "EFFECT=1 1", "HW=HW", "MODEL=a", "SAMPLE=case", "ITERATIONS=0", "FITERATIONS=-1",
             "THRESHOLD=1", "TOLERANCE=1.0", "FTOLERANCE=0", "TOLERANCE=x", "MODEL"]
    rows.append(("every value wrong", {"d": quarters, "s": "\n".join(wrong)}, ["d", "s"]))
    for loci in (32, 33):
        rows.append((f"{loci} loci", {"d": quarters, "s": "STATUS=2\nEFFECT=1\nGENE=" + " ".join(
            map(str, range(3, 3 + loci)))}, ["d", "s"]))
    rows.append(("text behind a number", {"d": quarters, "s": "STATUS=2 3\nGENE=3 4\nEFFECT=1\n"}, ["d", "s"]))
    rows.append(("no homozygote in one iteration",) + one(table([(4, 0, "11"), (4, 1, "11")]), two, [[1]], HW="HWD",
                                                          FITERATIONS=1))
    for sample, status in itertools.product(SAMPLES, "01"):
        rows.append((f"only status {status}, {sample}",) + one(
            re.sub(r"P [01]", "P " + status, quarters), two, [[1]], SAMPLE=sample))
    half = table([(25, 0, "0"), (50, 0, "1"), (25, 0, "2"), (18, 1, "0"), (48, 1, "1"), (34, 1, "2")])
    rows.append(("the likelihood still changes",) + one(half, [[3]], [[1]], TOLERANCE=0.3))
    for limit in (1, 2, 3, 4, 5):
        rows.append((f"both limits {limit}",) + one(half if limit > 2 else quarters, [[3]], [[1]],
                                                    ITERATIONS=limit, FITERATIONS=limit))
    carriers = [(1, status, snps) for status in (0, 1) for snps in ("01", "10")]
    rows.append(("no subject left",) + one(table(carriers), two, [[0]], THRESHOLD=0.4))
    for length in (20, 30, 40, 41, 42, 43, 44, 60, 70, 80, 140):
        name = ("name " * 40)[:length].rstrip() + "/" + "file" * (length % 7) + ".txt"
        rows.append((f"wrapped at {length}",) + one(quarters, two, [[1], [1], [4]], "-o", "res/", name=name))
    return rows + [(name,) + one(data if isinstance(data, str) else table(data), [list(range(3, 3 + loci))], effects,
                                 *options, **settings)
                   for name, data, loci, effects, options, settings in stress(half)]


def stress(half):
    """Data from which little can be learnt, and numbers at the edges of what the parsers take."""
    apart = [(9, 0, "0"), (9, 1, "2")]
    homozygotes = [(4 if status and h == 7 else 2, status, f"{h:08b}".replace("1", "2"))
                   for h in range(200) for status in (0, 1)]
    rows = [("nothing varies", [(2, 0, "0"), (1, 1, "0")], 1, [[1]], [], {}),
            ("all missing", [(2, 0, "9"), (1, 1, "9")], 1, [[1]], [], {}),
            ("cases alone, of the controls", [(1, 1, "1")], 1, [[1]], [], {}),
            ("controls alone, with rho", [(2, 0, "0"), (1, 0, "2")], 1, [[1]], [], dict(HW="HWD")),
            ("one copy each", [(1, 0, "1"), (1, 1, "1")], 1, [[1]], [], {}),
            ("no phase favoured", [(4, 0, "11"), (1, 1, "11")], 2, [[-1]], [], {}),
            ("no haplotype of the controls", apart, 1, [[1]], [], {}),
            ("separated", apart, 1, [[1]], [], dict(SAMPLE="combined")),
            ("one modelled haplotype", half, 1, [[0]], [], dict(THRESHOLD=0.5)),
            ("no modelled haplotype", half, 1, [[1]], [], dict(THRESHOLD=0.9)),
            ("200 haplotypes", homozygotes, 8, [[7]], [], {}),
            ("not listed", [(1, 0, "1"), (1, 0, "2"), (2, 1, "2")], 1, [[0]], [],
             dict(FTOLERANCE=0.25, THRESHOLD=0.3)),
            ("wide tolerances", half, 1, [[1]], [], dict(TOLERANCE=0.999, FTOLERANCE=0.999)),
            ("haplotypes beyond the gene", half, 1, [[2 ** 31 - 1]] * 2, [], {})]
    for value in ("4294967296", "99999999999999999999", "-1", "0", "-0", "0x10", "nan", "inf", "x", "0,5",
                  "0.99999999999999999", "+1", "1.", "00001", "1e308", "1e309", "1e-400", "1,5", "10 20",
                  "4294967295", "4294967295x", ".5", "+.5x", "000.9999999999999999"):
        limits = {key: value for key in ("ITERATIONS", "FITERATIONS", "THRESHOLD", "TOLERANCE", "FTOLERANCE")}
        rows += [(f"every setting {value}", half, 1, [[1]], [], limits)]
        rows += [(f"{option} {value}", half, 1, [[1]], [option, value], {}) for option in ("-i", "-t")]
    numbers = ["0", "-0", "00000", "1e-400", ".0e308", "+1", "1.", "1e0", "1.0000000000000000001", "0.2E1", "200e-2",
               ".5", "5e-1", "1e308", "4294967296", "-1", "-1.e0"] * 4
    return rows + [("ways to write a number", "ID STATUS A\n" + "".join(
        f"P {i % 3 % 2} {number}\n" for i, number in enumerate(numbers)), 1, [[1]], [], {})]


def random_case(seed):
    rng = random.Random(seed)
    kind = rng.choices([plain_case, directory_case, missing_case, wrong_data_case, wrong_spec_case, option_case],
                       [60, 8, 4, 10, 10, 8])[0]
    return (f"{kind.__name__} {seed}",) + kind(rng)


# ------------------------------------------------------------------------------------- comparison

def normal(text):
    text = re.sub(r"(?m)^(Log-Likelihood.*)[- ]inf$", r"\1 nan", text)
    return re.sub(r"-(?=0\.0+(?![0-9])|nan)", " ", text)


def read_text(path):
    with open(path, encoding="latin-1", newline="") as file:
        return file.read()


def report_files():
    return {os.path.relpath(os.path.join(folder, name)) for folder, _, names in os.walk(".")
            for name in names if name.endswith(".out")}


def date_line(line):
    """Whether it is the last line of a report, centred in 78 columns."""
    text = line.strip(" \n")
    return bool(re.fullmatch(r"Report generated on \d\d [A-Z][a-z]+ \d{4} \d\d:\d\d:\d\d", text)) and \
        line == " " * ((78 - len(text) + 1) // 2) + text + "\n"


def documents(result):
    """{name: text}; the effects section of a report is a document of its own."""
    status, output, lines, reports = result
    texts = {"status": str(status), "output": output, "messages": normal(lines)}
    for path, text in reports.items():
        head, title, effects = re.split(r"(\n={80}\n.* haplotype effects .*\n|$)", normal(text), 1)
        texts[os.path.relpath(path)] = head
        texts[os.path.relpath(path) + " (effects)"] = title + effects
    return texts


def run_program(program, arguments, before):
    done = subprocess.run([program] + arguments, capture_output=True, env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"},
                          timeout=120, check=False)
    reports, wrong = {}, []
    for path in sorted(report_files() - before):
        text = read_text(path)
        body, last = text[:text.rstrip("\n").rfind("\n") + 1], text[text.rstrip("\n").rfind("\n") + 1:]
        reports[path] = body
        if not date_line(last):
            wrong.append(f"{path}: last line {last!r}")
    return (done.returncode, done.stdout.decode("latin-1"), done.stderr.decode("latin-1"), reports), wrong


def differences(expected, found):
    return {name for name in set(expected) | set(found) if expected.get(name) != found.get(name)}


def open_documents(arguments, expected):
    """The documents that the textbook itself words differently when rounding is coarser."""
    names = set()
    for seed in range(4):
        noise = np.random.default_rng(seed)
        textbook.disturb = lambda v, noise=noise: v * (1 + 1e-13 * noise.uniform(-1, 1, np.shape(v)))
        names |= differences(expected, documents(textbook_files.run(arguments)))
    textbook.disturb = lambda values: values
    return names | ({"messages"} if any(name.endswith("(effects)") for name in names) else set())


def compare(program, files, arguments, exact=False):
    """Writes the files, runs both; returns (hard differences, soft differences)."""
    for path, content in files.items():
        text, mode = content if isinstance(content, tuple) else (content, None)
        os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
        if not path.endswith("/"):
            with open(path, "w", encoding="latin-1", newline="") as file:
                file.write(text)
        if mode is not None:
            os.chmod(path, mode)
    os.makedirs("res", exist_ok=True)
    before = report_files()
    expected = documents(textbook_files.run(arguments))
    result, hard = run_program(program, arguments, before)
    found = documents(result)
    rows = differences(expected, found)
    soft = rows & open_documents(arguments, expected) if rows and not exact else set()
    for row in sorted(rows - soft):
        hard += [f"{row}:"] + list(difflib.unified_diff(
            (expected.get(row) or "").splitlines(), (found.get(row) or "").splitlines(),
            "textbook", "program", n=0, lineterm=""))
    return hard, soft


def main():
    program = os.path.abspath(sys.argv[1])
    seeds, first = ([int(a) for a in sys.argv[2:4]] + [150, 1][len(sys.argv) - 2:])[:2]
    cases = [case + (True,) for case in single_cases()]
    cases += [random_case(seed) for seed in range(first, first + seeds)]
    home, hard_runs, soft_runs = os.getcwd(), 0, 0
    for name, *case in cases:
        folder = tempfile.mkdtemp(prefix="textbook-")
        os.chdir(folder)
        try:
            hard, soft = compare(program, *case)
        finally:
            os.chdir(home)
        hard_runs, soft_runs = hard_runs + bool(hard), soft_runs + bool(soft)
        if hard:
            print(f"DIFFERENT {name}: {' '.join(case[1])} (in {folder})")
            print("    " + "\n    ".join(hard[:20]))
        else:
            for path in (path for path, content in case[0].items() if isinstance(content, tuple)):
                os.chmod(os.path.join(folder, path), 0o700)
            shutil.rmtree(folder)
            if soft:
                print(f"soft {name}")
    print(f"{len(cases)} runs, {hard_runs} different, {soft_runs} with soft differences")
    sys.exit(hard_runs > 0 or soft_runs > SOFT_SHARE * len(cases))


if __name__ == "__main__":
    main()
