"""Files, messages and command line of quilmar as docs/manual.md describes them, around textbook.py."""
import math
import os
import re
import stat

import textbook
from textbook import LISTED, MODES, part

KEYWORDS = ["STATUS", "GENE", "EFFECT", "ENVIRONMENT", "HW", "MODEL", "HEADER", "SAMPLE", "THRESHOLD",
            "TOLERANCE", "ITERATIONS", "FTOLERANCE", "FITERATIONS"]
SAMPLES = ["controls", "cases", "combined"]
TEXT = {1: "Success.", 5: "Exceeded maximum number of iterations.",
        107: "No haplotype frequency consistent with specified threshold.",
        109: "No case observations are available.", 110: "No control observations are available.",
        113: "Iteration failed to converge.",
        114: "Iteration aborted (invalid floating-point operation).",
        115: "Iteration aborted (floating-point overflow)."}
USAGE = """
Usage: quilmar data spec [-h, --hardy-weinberg=HW] [-i, --iterations=N]
       [-m, --model=M] [-t, --tolerance=TOL] [-o result] 

"""
HINT = "Type 'quilmar --help' for help.\n\n"
HELP = "\nquilmar 2.0 (17 September 2007)\n" + USAGE + """  Mandatory arguments: 
      data                      input file or directory
      spec                      variable specification file

  Options: 
      -h, --hardy-weinberg=HW   Hardy-Weinberg assumption
      -i, --iterations=N        maximum number of iterations
      -m, --model=M             mode of inheritance
      -t, --tolerance=TOL       error tolerance
      -o result                 output file or directory

"""
INTEGER = r"[+-]?\d+"
DECIMAL = r"[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?"


class Stop(Exception):
    """Ends a run with an exit status, or the analysis of a data file."""


messages = []


def wrap(line):
    start = 0
    while len(line) - start > 70:
        rest = line[start:]
        after = rest.find(" ", 71)
        before = rest.rfind(" ", 0, after if after >= 0 else len(rest))
        soft = (after if after >= 0 else len(line)) - before < 71
        cut = start + (before if soft else 70)
        line = line[:cut] + "\n" + " " * 10 + line[cut + soft:]
        start = cut + 11
    return line


def shown(text):
    return re.sub("[\x00-\x1f\x7f]", "?", text)


def say(line):
    messages.append("<quilmar> " + wrap(shown(line)) + "\n")


def warn(name, status):
    say(f"{name}: warning: {TEXT[status][0].lower()}{TEXT[status][1:]}")


def fail(line, status=None):
    say(line)
    raise Stop(status)


# --------------------------------------------------------------------- variable specification file

def integer(text, low, high=2 ** 32 - 1):
    return int(text) if re.fullmatch(INTEGER, text) and low <= int(text) <= high else None


def leading(text, where, pattern, convert):
    """The number that a text begins with, or None; a warning where more follows."""
    found = re.match(pattern, text)
    value = convert(found.group()) if found else None
    if value is not None and found.group() != text.strip():
        say(f"{where}: warning: '{text}' is read as {found.group()}.")
    return value


def leading_integer(text, where):
    return leading(text, where, INTEGER, lambda number: integer(number, 1))


def leading_share(text, where):
    return leading(text, where, DECIMAL, lambda number: float(number) if 0 < float(number) < 1 else None)


def choice(text, names):
    both = names + [name.upper() for name in names]
    return both.index(text) % len(names) if text in both else None


def read_spec(path):
    """The settings and columns of a file; Stop after the messages of all its errors."""
    if not os.path.exists(path):
        fail(f"failed to open specification file '{path}'.", -9999)
    with open(path, encoding="latin-1", newline="") as file:
        lines = file.read().split("\n")
    spec = dict(HW=0, MODEL=0, SAMPLE=0, THRESHOLD=0.001, TOLERANCE=0.0001, ITERATIONS=500,
                FTOLERANCE=1e-6, FITERATIONS=2000, GENE=[], EFFECT=[], ENVIRONMENT=[], result="")
    start, defined = len(messages), []
    for number, line in enumerate(lines, 1):
        name, equals, value = line.partition("=")
        keyword = next((k for k in reversed(KEYWORDS) if k in name), None)
        if keyword == "STATUS" and equals and any(d[1:2] == [keyword] and d[2] for d in defined):
            say(f"{path}:{number}: error: variable STATUS is multiply defined.")
        elif keyword or equals:
            defined.append([f"{path}:{number}", keyword, equals, value.strip(" \r")])
    for keyword in KEYWORDS[:3]:
        if keyword not in [k for _, k, _, _ in defined]:
            say(f"{path}: error: variable {keyword} is not defined.")
    genes = sum(k == "GENE" for _, k, equals, _ in defined if equals)
    covariates = sum(len(v.split()) for _, k, _, v in defined if k == "ENVIRONMENT")
    used = {}  # how often each column is, and which warnings were given
    for location, keyword, equals, value in defined:
        if keyword is None:
            say(f"{location}: warning: no known variable, line ignored.")
        elif not equals:
            say(f"{location}: error: invalid definition for variable {keyword}.")
        elif keyword in ("STATUS", "GENE", "ENVIRONMENT"):
            set_columns(spec, keyword, value, used, location)
        elif keyword == "EFFECT":
            set_effect(spec, value.split(), genes, covariates, location)
        elif keyword != "HEADER":
            set_value(spec, keyword, value, location)
        elif keyword not in used and not (value.isdigit() and int(value) > 0):
            used[keyword] = 1
            say(f"{location}: warning: HEADER has no effect, the first line of a data file holds names.")
    if any(": error: " in message.replace("\n          ", " ") for message in messages[start:]):
        raise Stop(-9999)
    return spec


def set_columns(spec, keyword, value, used, location):
    columns = value.split()
    if keyword == "STATUS":
        column = leading_integer(value, location)
        columns = [value if column is None else str(column)]
    wrong = [entry for entry in columns if integer(entry, 1) is None]
    if wrong:
        return say(f"{location}: error: {wrong[0]} is not a valid column.")
    if not columns:
        return say(f"{location}: error: invalid definition for variable {keyword}.")
    columns = [int(entry) for entry in columns]
    for column in columns:
        used[column] = used.get(column, 0) + 1
        if used[column] == 2:
            say(f"{location}: warning: column {column} is defined more than once.")
    if keyword == "STATUS":
        spec[keyword] = columns[0]
        return None
    before = spec[keyword] if keyword == "ENVIRONMENT" else sum(spec["GENE"], [])
    kind = "loci" if keyword == "GENE" else "covariates"
    if kind not in used and any(a >= b for a, b in zip((before[-1:] or [0]) + columns, columns)):
        used[kind] = 1
        say(f"{location}: warning: columns are not in increasing order, {kind} are taken in column order.")
    spec[keyword] += [columns] if keyword == "GENE" else columns
    if keyword == "GENE" and len(before) <= 32 < len(before) + len(columns):
        say(f"{location}: error: more than 32 loci are defined.")
    return None


def set_effect(spec, entries, genes, covariates, location):
    for index, entry in enumerate(entries):
        if index < genes and integer(entry, -1, 2 ** 31 - 1) is None:
            return say(f"{location}: error: {entry} is not a valid specifier.")
        if genes <= index < genes + covariates and entry not in ("1", "-1"):
            return say(f"{location}: error: {entry} is not a valid covariate specifier.")
    if genes and len(entries) != genes + covariates:
        return say(f"{location}: error: read {len(entries)} values for variable EFFECT, "
                   f"expected {genes + covariates}.")
    row = [int(entry) for entry in entries]
    if row in spec["EFFECT"]:
        say(f"{location}: warning: effect is defined more than once.")
    return spec["EFFECT"].append(row)


def set_value(spec, keyword, value, location):
    names = {"HW": ["hwe", "hwd"], "MODEL": MODES, "SAMPLE": SAMPLES}.get(keyword)
    if names:
        spec[keyword] = choice(value, names)
    elif keyword in ("ITERATIONS", "FITERATIONS"):
        spec[keyword] = leading_integer(value, location)
    else:
        spec[keyword] = leading_share(value, location)
        found = re.match(DECIMAL, value)
        if spec[keyword] is None and found and math.isfinite(float(found.group())):
            say(f"variable {keyword} must be between 0.0 and 1.0.")
    if spec[keyword] is None:
        say(f"{location}: error: invalid definition for variable {keyword}.")


# --------------------------------------------------------------------------------------- data file

def count_columns(line):
    return len(line.split()) + line[-1:].isspace()


def read_data(path, spec):
    """Names of the covariates; per subject genotype (a text, 9 is missing), status and covariates."""
    name = os.path.basename(path)
    with open(path, "rb") as file:
        lines = file.read().split(b"\n")
    loci, covariates = sorted(sum(spec["GENE"], [])), sorted(spec["ENVIRONMENT"])
    width = max([spec["STATUS"]] + loci + covariates)
    if not any(lines):
        fail(f"{name}: error: no data found.")
    if count_columns(lines[0]) < width:
        fail(f"{name}: error: file format does not match defined columns.")
    numbered = [(number, line) for number, line in enumerate(lines[:-1], 1) if number > 1 and line]
    for number, line in numbered:
        if count_columns(line) < width:
            fail(f"{name}:{number}: error: file format does not match defined columns.")
        if count_columns(line) != count_columns(lines[0]):
            fail(f"{name}:{number}: error: invalid file format.")
    if lines[-1].split() and len(lines) > 1:
        say(f"{name}: warning: last line has no newline and is ignored.")
    if not numbered:
        fail(f"{name}: error: no data found.")
    subjects = []
    for number, line in numbered:
        status, genotype, values = 0, "", []
        for column, token in enumerate(line.split()[:width], 1):
            kind = "GENE" if column in loci else "ENVIRONMENT" if column in covariates else \
                "STATUS" if column == spec["STATUS"] else None
            if kind is None:
                continue
            value = float(token) if re.fullmatch(DECIMAL.encode(), token) else math.nan
            if not math.isfinite(value) or kind == "STATUS" and value not in (0, 1):
                fail(f"{name}:{number}: error: invalid data for variable {kind}.")
            if kind == "GENE":
                genotype += str(int(value)) if value in (0, 1, 2) else "9"
            elif kind == "STATUS":
                status = int(value)
            values += [value] * covariates.count(column)
        subjects.append((genotype.ljust(len(loci), "0"), status, tuple(values)))
    header = [shown(text.decode("latin-1")) for text in lines[0].split()]
    return [header[column - 1] for column in covariates], subjects


# ------------------------------------------------------------------------------ one data file

def digits(haplotype, loci):
    return format(haplotype & 2 ** loci - 1, f"0{loci}b")


def refuse(name, status):
    warn(name, status)
    warn(name, status)
    raise Stop


def check_effects(name, spec, sizes, modelled):
    """Says, once per number, which haplotypes the effects may not name; whether there are any."""
    met = set()
    for effect in spec["EFFECT"]:
        for gene, h in enumerate(effect[:len(sizes)]):
            known = h < 2 ** sizes[gene]
            if h < 0 or known and h in [part(m, gene, sizes) for m in modelled]:
                continue
            if h not in met:
                text = digits(h, sizes[gene])
                say(f"{name}: error: frequency of haplotype {text} is not consistent with specified threshold."
                    if known else f"{name}: error: haplotype {text} is not consistent with genotype data.")
            met.add(h)
    return bool(met)


def analyse(path, name, spec):
    """The lines of a report but for its date; Stop without a report."""
    names, subjects = read_data(path, spec)
    sizes = [len(gene) for gene in spec["GENE"]]
    of_sample = textbook.count(g for g, s, _ in subjects if spec["SAMPLE"] in (s, 2))
    weights = [(g, of_sample.get(g, 0)) for g in sorted({g for g, _, _ in subjects})]
    found = textbook.frequencies(spec, weights)
    if found["status"] == 9:
        say(f"{name}: warning: rho estimated at zero --> using HWE.")
        spec["HW"] = 0
        found = textbook.frequencies(spec, weights)
    missing = sum(g.count("9") > LISTED for g, _, _ in subjects)
    if missing and not spec["HW"]:
        say(f"{name}: warning: {missing} subjects have more than {LISTED} missing loci.")
    if found["status"] == 5:
        say(f"{name}: warning: exceeded maximum iterations in frequency computation.")
    if any(of_sample[g] for g in of_sample if g.count("9") > LISTED) and not spec["HW"]:
        say(f"{name}: warning: haplotype frequencies sum to {found['p'].sum():g}.")
    modelled = textbook.select(spec, found["p"])
    if not modelled:
        refuse(name, 107)
    informative = textbook.Model(spec, subjects, modelled, [], [], []).informative
    if 0 in informative:
        refuse(name, 109 if informative[1] == 0 else 110)
    kinds = {kind: [e for e in spec["EFFECT"] if (max(e[:len(sizes)]) >= 0, 1 in e[len(sizes):]) == kind]
             for kind in ((True, False), (False, True), (True, True))}
    wrong = check_effects(name, spec, sizes, modelled)
    if wrong or not any(kinds.values()):
        return frequency_section(spec, path, subjects, found, 0)
    model, result, rows = textbook.fit(spec, subjects, modelled, found, *kinds.values())
    if result["status"] == 5:
        say(f"{name}: warning: exceeded maximum iterations.")
    elif result["status"] != 1:
        warn(name, result["status"])
    if len(rows[0]) == 1:
        say(f"{name}: warning: statistics computation failed.")
    table = effects_table(spec, names, modelled, rows, *kinds.values())
    label = max([14] + [len(text or "") + 2 for _, text, _ in table])
    return frequency_section(spec, path, subjects, found, label) + \
        effects_section(spec, subjects, model, result, table, label)


# ----------------------------------------------------------------------------------------- report

def effects_table(spec, names, modelled, rows, effects, environment, interactions):
    """(title, label, values) of each row in the order of the report; a label None is a title alone."""
    sizes = [len(gene) for gene in spec["GENE"]]
    rest = iter(rows)
    population = [("Frequencies", "  " + digits(h, sum(sizes)), next(rest)) for h in modelled]
    population.sort()
    if spec["HW"]:
        population.append(("Frequencies", "  Rho", next(rest)))

    def titled(effect):
        genes = [g for g in range(len(sizes)) if effect[g] >= 0]
        title = ("Gene " if len(genes) == 1 else "Genes ") + "*".join(str(g + 1) for g in genes)
        texts = [digits(effect[g], sizes[g]) for g in genes]
        texts += [name for name, entry in zip(names, effect[len(sizes):]) if entry == 1]
        lines = [(title if genes else "Environment", "  " + "*".join(texts), next(rest))]
        if genes and MODES[spec["MODEL"]] == "codominant":
            lines.append((title, "", next(rest)))
        return lines

    if environment or interactions:
        next(rest)  # kappa
    covariates = sum(map(titled, environment), []) or ([("Environment", None, ())] if interactions else [])
    return sum(map(titled, effects), []) + covariates + sum(map(titled, interactions), []) + population


def number(value, tolerance, least=0):
    """Width and decimals follow the tolerance."""
    places = max(least, math.floor(abs(math.log10(tolerance))))
    return f"{value:{places + 2}.{places}f}"


def frequency_section(spec, path, subjects, found, label):
    label, tolerance = max(20, label), spec["FTOLERANCE"]
    likelihood = number(found["llh"], tolerance)
    width = max(len(likelihood), 14)
    cases = sum(status for _, status, _ in subjects)
    rule, dash = "=" * 80, "-" * (label + width)
    loci = len(subjects[0][0])
    rows = [("Haplotype", SAMPLES[spec["SAMPLE"]].capitalize()), None]
    rows += [(digits(h, loci), number(p, tolerance)) for h, p in enumerate(found["p"]) if not tolerance >= p]
    rows += [None, ("Iterations", found["iterations"]), ("Log-Likelihood", likelihood)]
    return [rule, f"=== QUILMAR Analysis {shown(os.path.basename(path))} ===", rule, "", rule,
            "Haplotype frequencies under Hardy-Weinberg " + ("disequilibrium" if spec["HW"] else "equilibrium"),
            rule, f"Tolerance: {tolerance:g}", f"Maximum iterations: {spec['FITERATIONS']}",
            f"Subjects: {len(subjects)}", f"Cases: {cases}", f"Controls: {len(subjects) - cases}", ""] + \
        [f"{row[0]:<{label}}{row[1]:>{width}}" if row else dash for row in rows] + \
        ["Status: " + TEXT[found["status"]], ""]


def effects_section(spec, subjects, model, result, table, label):
    tolerance = spec["TOLERANCE"]
    likelihood = number(result["llh"], tolerance, 4)
    width = max((78 - label) // 4, len(likelihood))
    cases = sum(status for _, status, _ in subjects)
    controls_in, cases_in = model.informative
    rule, dash = "=" * 80, "-" * (label + 4 * width)
    lines = [rule, f"{MODES[spec['MODEL']].capitalize()} haplotype effects under Hardy-Weinberg " +
             ("disequilibrium" if spec["HW"] else "equilibrium"), rule,
             f"Tolerance: {tolerance:g}", f"Maximum iterations: {spec['ITERATIONS']}",
             f"Subjects: {controls_in + cases_in}/{len(subjects)}", f"Cases: {cases_in}/{cases}",
             f"Controls: {controls_in}/{len(subjects) - cases}", "",
             " " * label + "".join(f"{t:>{width}}" for t in ("Estimate", "StdError", "Z-Stat", "P-Value")),
             dash, "Effects", dash]
    last = None
    for title, text, values in table:
        lines += [title] if title != last else []
        last = title
        if text is not None:
            cells = [f"{number(value, tolerance, 4):>{width}}" for value in values]
            lines.append(f"{text:<{label}}" + "".join(cells) + " " * width * (4 - len(cells)))
    wide = len(likelihood) + 2
    return lines + [dash, f"{'Iterations':<{label}}{result['iterations']:>{wide}}",
                    f"{'Log-Likelihood':<{label}}{likelihood:>{wide}}", "Status: " + TEXT[result["status"]], ""]


# ------------------------------------------------------------------------------------ command line

def is_directory(path, wanted="any"):
    """Whether a path is one; Stop with a message when it is not there, not readable or not wanted."""
    if not os.path.exists(path):
        fail(f"file or directory '{path}' not found.", -9998)
    mode = os.stat(path).st_mode
    if stat.S_ISDIR(mode) and not mode & 0o400:
        fail(f"no read permission for directory '{path}'.", -9997)
    if not stat.S_ISDIR(mode) and (wanted == "directory" or not stat.S_ISREG(mode) or not mode & 0o400):
        fail(f"no read permission for file '{path}'.", -9996)
    return stat.S_ISDIR(mode)


def data_files(path):
    """Prefix and names of the data files."""
    if not is_directory(path):
        return "", [path]
    prefix = path if path.endswith("/") else path + "/"
    names = sorted(n for n in os.listdir(prefix) if os.path.isfile(prefix + n))
    if not names:
        fail(f"no files found in directory '{prefix}'.", 0)
    failed = 0
    for name in reversed(names):
        try:
            is_directory(prefix + name)
        except Stop:
            failed += 1
    if failed == len(names):
        raise Stop(0)
    return prefix, names


def set_options(spec, arguments):
    rest = list(arguments)
    while rest:
        option, equals, value = rest.pop(0).partition("=")
        if not equals and rest:
            value = rest.pop(0)
        if option in ("-h", "--hardy-weinberg"):
            key, setting = "HW", choice(value, ["hwe", "hwd"])
        elif option in ("-i", "--iterations"):
            key, setting = "ITERATIONS", leading_integer(value, f"option {option}")
        elif option in ("-t", "--tolerance"):
            key, setting = "TOLERANCE", leading_share(value, f"option {option}")
        elif option in ("-m", "--model"):
            letter = choice(value, [mode[0] for mode in MODES])
            key, setting = "MODEL", choice(value, MODES) if letter is None else letter
        else:
            key, setting = "result", value if option == "-o" and value else None
        spec[key] = spec[key] if setting is None else setting
        if setting is None:
            say(f"invalid value '{value}' for option '{option}'." if value and key != "result"
                else f"invalid option '{option}'.")
            fail(f"invalid option '{spec['result']}'.", -9983)


def run(arguments):
    """(exit status, standard output, messages, {path: report without its date line}) of a run."""
    messages.clear()
    reports = {}
    if len(arguments) < 2:
        return 0, HELP if arguments == ["--help"] else USAGE + HINT, "", reports
    try:
        prefix, names = data_files(arguments[0])
        spec = read_spec(arguments[1])
        set_options(spec, arguments[2:])
        if spec["result"]:
            spec["result"] = spec["result"].rstrip("/") + "/"
            is_directory(spec["result"], "directory")
        for name in names:
            output = spec["result"] + os.path.basename(name) + ".out"
            try:
                reports[output] = "\n".join(analyse(prefix + name, name, spec)) + "\n"
                say(f"{name}: result saved to '{output}'.")
            except Stop:
                pass
        status = 1
    except Stop as stop:
        status = stop.args[0] & 255
    return status, "", "".join(messages), reports
