#!/usr/bin/python3
"""The whole analysis of quilmar from its definitions, slow and plain, to compare the program with.

Every ordered pair (a, b) of haplotypes that a genotype g allows is listed. With w the weights of pairs,

    P(g) = sum of p_a p_b                        frequencies by EM; rho adds (1 - rho) and rho p_a, a = b
    l(x) = sum over terms of n ln(b / a)         a fit: b and a are sums of exp(x'd) over pairs, so that
    u    = sum of n (E_b d - E_a d)              score and information are the means and covariances of
    H    = sum of n (Cov_a d - Cov_b d)          the design vectors d under the weights exp(x'd)

The four likelihoods (equilibrium or not, covariates or not) differ in the rows d alone. Formulas and file
formats are those of docs/methods.md and docs/manual.md.
"""
import math
import os
import re
import stat
import sys

import numpy as np

np.seterr(all="ignore")

EPS = 2.0 ** -52
LISTED = 10  # a genotype with more missing loci is no single genotype in the equilibrium EM
KEYWORDS = ["STATUS", "GENE", "EFFECT", "ENVIRONMENT", "HW", "MODEL", "HEADER", "SAMPLE", "THRESHOLD",
            "TOLERANCE", "ITERATIONS", "FTOLERANCE", "FITERATIONS"]
MODES = ["additive", "recessive", "dominant", "codominant"]
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


class Stop(Exception):
    """Ends a run with an exit status, or a data file."""


messages = []
disturb = lambda values: values  # compare.py replaces it to see what rounding decides


# ---------------------------------------------------------------------------------------- console

def wrap(line):
    start = 0
    while len(line) - start > 70:
        rest = line[start:]
        after = rest.find(" ", 71)
        before = rest.rfind(" ", 0, after if after >= 0 else len(rest))
        if (after if after >= 0 else len(line)) - before < 71:
            cut = start + before
            line = line[:cut] + "\n" + " " * 10 + line[cut + 1:]
        else:
            cut = start + 70
            line = line[:cut] + "\n" + " " * 10 + line[cut:]
        start = cut + 11
    return line


def shown(text):
    return re.sub("[\x00-\x1f\x7f]", "?", text)


def say(line):
    messages.append("<quilmar> " + wrap(shown(line)) + "\n")


def warn(name, status):
    text = TEXT[status]
    say(f"{name}: warning: {text[0].lower() + text[1:]}")


# --------------------------------------------------------------------- variable specification file

def integer(text, low, high=2 ** 32 - 1):
    return int(text) if re.fullmatch(r"[+-]?\d+", text) and low <= int(text) <= high else None


def leading_integer(text):
    found = re.match(r"[+-]?\d+", text)
    return found and integer(found.group(), 1)


def leading_real(text):
    found = re.match(r"[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?", text)
    return float(found.group()) if found and math.isfinite(float(found.group())) else None


def choice(text, names):
    both = names + [name.upper() for name in names]
    return both.index(text) % len(names) if text in both else None


def read_spec(path):
    """The settings and columns of a file; Stop after the messages of all its errors."""
    if not os.path.exists(path):
        say(f"failed to open specification file '{path}'.")
        raise Stop(-9999)
    with open(path, encoding="latin-1", newline="") as file:
        lines = file.read().split("\n")
    spec = dict(HW=0, MODEL=0, SAMPLE=0, THRESHOLD=0.001, TOLERANCE=0.0001, ITERATIONS=500,
                FTOLERANCE=1e-6, FITERATIONS=2000, GENE=[], EFFECT=[], ENVIRONMENT=[])
    defined = []  # (location, keyword, value or None)
    failed = False
    for number, line in enumerate(lines, 1):
        name, equals, value = line.partition("=")
        keyword = next((k for k in reversed(KEYWORDS) if k in name), None)
        location = f"{path}:{number}"
        if keyword == "STATUS" and equals and any(k == keyword for _, k, v in defined if v is not None):
            say(f"{location}: error: variable STATUS is multiply defined.")
            failed = True
        elif keyword or equals:
            defined.append((location, keyword, value.strip(" \r") if equals else None))
    for keyword in KEYWORDS[:3]:
        if not any(k == keyword and v is not None for _, k, v in defined):
            say(f"{path}: error: variable {keyword} is not defined.")
            failed = True
    genes = sum(k == "GENE" and v is not None for _, k, v in defined)
    covariates = sum(len(v.split()) for _, k, v in defined if k == "ENVIRONMENT" and v is not None)
    used = set()
    for location, keyword, value in defined:
        if keyword is None:
            say(f"{location}: warning: no known variable, line ignored.")
            continue
        problem = f"invalid definition for variable {keyword}." if value is None else \
            set_variable(spec, keyword, value, genes, covariates, used, location)
        if problem:
            say(f"{location}: error: {problem}")
            failed = True
    if failed:
        raise Stop(-9999)
    return spec


def set_variable(spec, keyword, value, genes, covariates, used, location):
    """Stores one value; returns what is wrong with it, or None."""
    invalid = f"invalid definition for variable {keyword}."
    entries = value.split()
    if keyword == "STATUS":
        entries = entries[:1] or [""]
    if keyword in ("STATUS", "GENE", "ENVIRONMENT"):
        columns = []
        for entry in entries:
            if integer(entry, 1) is None:
                return f"{entry} is not a valid column."
            columns.append(int(entry))
        if not columns:
            return invalid
        for column in columns:
            if column in used:
                say(f"{location}: warning: column {column} is defined more than once.")
            used.add(column)
        if keyword == "STATUS":
            spec[keyword] = columns[0]
            return None
        before = spec[keyword] if keyword == "ENVIRONMENT" else sum(spec["GENE"], [])
        if any(a >= b for a, b in zip(before[-1:] + columns, columns if before else columns[1:])):
            kind = "loci" if keyword == "GENE" else "covariates"
            say(f"{location}: warning: columns are not in increasing order, {kind} are taken in "
                "column order.")
        spec[keyword] += [columns] if keyword == "GENE" else columns
        if keyword == "GENE" and len(before) <= 32 < len(before) + len(columns):
            return "more than 32 loci are defined."
    elif keyword == "EFFECT":
        for index, entry in enumerate(entries):
            if index < genes and integer(entry, -1, 2 ** 31 - 1) is None:
                return f"{entry} is not a valid specifier."
            if genes <= index < genes + covariates and entry not in ("1", "-1"):
                return f"{entry} is not a valid covariate specifier."
        if len(entries) != genes + covariates:
            return f"read {len(entries)} values for variable EFFECT, expected {genes + covariates}."
        if [int(entry) for entry in entries] in spec["EFFECT"]:
            say(f"{location}: warning: effect is defined more than once.")
        spec["EFFECT"].append([int(entry) for entry in entries])
    elif keyword in ("THRESHOLD", "TOLERANCE", "FTOLERANCE"):
        number = leading_real(value)
        if number is not None and not 0 < number < 1:
            say(f"variable {keyword} must be between 0.0 and 1.0.")
            number = None
        spec[keyword] = number
        return invalid if number is None else None
    elif keyword != "HEADER":
        names = {"HW": ["hwe", "hwd"], "MODEL": MODES, "SAMPLE": SAMPLES}.get(keyword)
        spec[keyword] = choice(value, names) if names else leading_integer(value)
        return invalid if spec[keyword] is None else None
    return None


# --------------------------------------------------------------------------------------- data file

def count_columns(line):
    return len(line.split()) + (line[-1:].isspace())


def read_data(path, spec):
    """Names of the covariates, and per subject a genotype text (9 is missing), status and covariates."""
    name = os.path.basename(path)
    with open(path, "rb") as file:
        lines = file.read().split(b"\n")
    loci = sorted(sum(spec["GENE"], []))
    covariates = sorted(spec["ENVIRONMENT"])
    width = max([spec["STATUS"]] + loci + covariates)
    if not any(lines):
        say(f"{name}: error: no data found.")
        raise Stop
    if count_columns(lines[0]) < width:
        say(f"{name}: error: file format does not match defined columns.")
        raise Stop
    numbered = [(number, line) for number, line in enumerate(lines[:-1], 1) if number > 1 and line]
    for number, line in numbered:
        if count_columns(line) < width:
            say(f"{name}:{number}: error: file format does not match defined columns.")
            raise Stop
        if count_columns(line) != count_columns(lines[0]):
            say(f"{name}:{number}: error: invalid file format.")
            raise Stop
    if lines[-1]:
        say(f"{name}: warning: last line has no newline and is ignored.")
    if not numbered:
        say(f"{name}: error: no data found.")
        raise Stop
    subjects = []
    for number, line in numbered:
        status, genotype, values = 0, "", []
        for column, token in enumerate(line.split()[:width], 1):
            if column not in [spec["STATUS"]] + loci + covariates:
                continue
            kind = "GENE" if column in loci else "ENVIRONMENT" if column in covariates else "STATUS"
            decimal = re.fullmatch(rb"[+-]?(\d+\.?\d*|\.\d+)([eE][+-]?\d+)?", token)
            value = float(token) if decimal else math.nan
            if not math.isfinite(value) or kind == "STATUS" and value not in (0, 1):
                say(f"{name}:{number}: error: invalid data for variable {kind}.")
                raise Stop
            if kind == "GENE":
                genotype += str(int(value)) if value in (0, 1, 2) else "9"
            elif kind == "ENVIRONMENT":
                values.append(value)
            else:
                status = int(value)
        subjects.append((genotype, status, values))
    header = [shown(text.decode("latin-1")) for text in lines[0].split()]
    return [header[column - 1] for column in covariates], subjects


# ----------------------------------------------------------------------- haplotypes and frequencies

def ordered_pairs(genotype):
    """Arrays a, b of all ordered pairs of haplotypes of a genotype."""
    a = b = np.zeros(1, dtype=np.int64)
    digits = {"0": [(0, 0)], "1": [(0, 1), (1, 0)], "2": [(1, 1)], "9": [(0, 0), (0, 1), (1, 0), (1, 1)]}
    for locus in genotype:
        a, b = (np.concatenate([2 * h + pair[side] for pair in digits[locus]])
                for side, h in enumerate((a, b)))
    return a, b


def max_err(new, old):
    change = np.abs(np.where(np.abs(old) >= 0.01, (new - old) * (1 / old), new - old))
    return np.max(change, initial=-sys.float_info.max, where=~np.isnan(change))


def frequencies(spec, weights):
    """EM: weights holds (genotype, number of subjects); status, iterations, log L, rho, frequencies."""
    limit, tolerance, hwd = spec["FITERATIONS"], spec["FTOLERANCE"], spec["HW"]
    a, b, group, n, listed, groups = [], [], [], [], [], 0
    for genotype, count in weights:
        if count == 0:
            continue
        first, second = ordered_pairs(genotype)
        keys = np.zeros(len(first), dtype=np.int64)
        whole = genotype.count("9") <= LISTED or hwd
        if not whole:  # each completion, named by the sum and the product of both haplotypes, on its own
            keys = np.unique((first ^ second) << 32 | (first & second), return_inverse=True)[1]
        size = keys.max() + 1
        a, b, group = a + [first], b + [second], group + [keys + groups]
        n, listed, groups = n + [count] * size, listed + [whole] * size, groups + size
    total = sum(count for _, count in weights)
    loci = len(weights[0][0])
    a, b, group = (np.concatenate(v) if v else np.zeros(0, dtype=np.int64) for v in (a, b, group))
    n, listed = np.array(n, dtype=float), np.array(listed, dtype=bool)
    same = a == b
    p = np.full(2 ** loci, 1 / 2 ** loci)
    rho, error, iterations = 0.01 if hwd else 0.0, math.inf, 0

    def sums():
        both = p[a] * p[b]
        s = np.bincount(group, both, groups)
        h = np.bincount(group[same], p[a[same]], groups)
        return both, s, h, (1 - rho) * s + rho * h

    while iterations < limit and error > tolerance:
        iterations += 1
        both, _, h, probability = sums()
        w = n / probability
        new = np.bincount(a, both * w[group], len(p))
        if hwd:
            new = 2 * (1 - rho) * new
            new += np.bincount(a[same], rho * p[a[same]] * w[group[same]], len(p))
            new = new / new.sum()
            new_rho = np.sum(rho * h * w) / np.float64(total)
            change = (new_rho - rho) / (rho if rho >= 0.01 else 1)
            error = max(max_err(new, p), abs(change))
            rho = new_rho
        else:
            new = new * (1 / np.float64(total))
            error = max_err(new, p)
        p = disturb(np.where(new < 2.0 ** -511, 0.0, new))
    probability = sums()[3]
    likelihood = np.sum(n[listed] * np.log(probability[listed]))
    status = 1 if error <= tolerance or iterations < limit else 5
    if hwd and error <= tolerance and rho < 5 * tolerance:
        status = 9
    return dict(status=status, iterations=iterations, llh=likelihood, rho=rho, p=p)


def part(haplotype, gene, sizes):
    return haplotype >> sum(sizes[gene + 1:]) & 2 ** sizes[gene] - 1


def digits(haplotype, loci):
    return format(haplotype & 2 ** loci - 1, f"0{loci}b")


# ---------------------------------------------------------------------------------- the likelihoods

def codes(spec, effect, pair, sizes):
    """The code of an effect's gene entries for a pair of haplotypes: one number, or two if codominant."""
    copies = [sum(part(h, gene, sizes) == required for h in pair)
              for gene, required in enumerate(effect[:len(sizes)]) if required >= 0]
    two = float(min(copies) == 2)
    mode = MODES[spec["MODEL"]]
    if mode == "recessive":
        return [two]
    if mode == "dominant":
        return [float(min(copies) >= 1)]
    return [float(math.prod(copies))] + ([two] if mode == "codominant" else [])


class Model:
    """The terms (n, rows of b, rows of a) of a log-likelihood, and where its parameters start."""

    def __init__(self, spec, subjects, modelled, plain, environment, interactions):
        self.hwd = spec["HW"] != 0
        sizes = [len(gene) for gene in spec["GENE"]]
        order = list(modelled)
        self.k = k = len(order)
        free = k if self.hwd else k - 1
        rows, index = [], {}
        pairs = [(i, j, False) for i in range(k) for j in range(k)]
        pairs += [(i, i, True) for i in range(k)] if self.hwd else []  # copies of one draw
        for number, (i, j, single) in enumerate(pairs):
            index.setdefault((order[i], order[j]), []).append(number)
            copies = np.zeros(k)
            copies[i] += 1
            copies[j] += not single
            pair = (order[i], order[j])
            rows.append((copies[:free], [codes(spec, e, pair, sizes) for e in plain],
                         [codes(spec, e, pair, sizes) for e in interactions]))
        copies = np.array([row[0] for row in rows])
        z, y = (np.array([sum(row[column], []) for row in rows]).reshape(len(rows), -1)
                for column in (1, 2))
        covariates = bool(environment or interactions)
        self.kappa, self.first = free, free + (1 + len(environment) if covariates else 0)
        self.p = self.first + z.shape[1] + y.shape[1]
        population = np.hstack([copies, np.zeros((len(rows), self.p - free))])

        def product(effect, values):
            return math.prod(v for v, taken in zip(values, effect[len(sizes):]) if taken == 1)

        def case_rows(values):
            if not covariates:
                return np.hstack([copies, z])
            x = [1.0] + [product(effect, values) for effect in environment]
            each = y.shape[1] // max(1, len(interactions))
            factors = [product(effect, values) for effect in interactions for _ in range(each)]
            return np.hstack([copies, np.tile(x, (len(rows), 1)), z, y * factors])

        cases, both = {}, {}  # rows by covariates, so that equal ones are summed once
        counts = {}
        self.informative = [0, 0]
        for genotype, status, values in subjects:
            key = (genotype, status, tuple(values) if covariates else ())
            counts[key] = counts.get(key, 0) + 1
        self.terms = []
        for (genotype, status, values), n in counts.items():
            if genotype.count("9") > LISTED:
                continue
            listed = sum((index.get(pair, []) for pair in zip(*map(np.ndarray.tolist, ordered_pairs(genotype)))), [])
            if not listed:
                continue
            self.informative[status] += n
            if values not in cases:
                cases[values] = case_rows(values)
                both[values] = np.vstack([population, cases[values]])
            own = cases[values] if status else population
            self.terms.append((n, own[listed], both[values] if covariates else own))

    def evaluate(self, x):
        """Status of the disequilibrium model, l(x), its gradient and minus its second derivatives."""
        status, llh, score, information, known = 1, 0.0, np.zeros(self.p), np.zeros((self.p, self.p)), {}

        def moments(rows):
            weights = np.exp(rows @ x)
            total = weights.sum()
            share = weights / total
            mean = share @ rows
            return total, mean, (rows.T * share) @ rows - np.outer(mean, mean)

        for n, own, everyone in self.terms:
            if id(everyone) not in known:
                known[id(everyone)] = moments(everyone)
            a, mean_a, cov_a = known[id(everyone)]
            b, mean_b, cov_b = moments(own)
            if self.hwd and status == 1 and not np.isfinite(a):
                status = 114 if np.isnan(a) else 115
            llh += n * np.log(b / a)
            score += n * (mean_b - mean_a)
            information += n * (cov_a - cov_b)
        return status, llh, disturb(score), disturb(information)

    def reported(self, x):
        """Frequencies, (rho,) and the other parameters, with their derivatives."""
        e = np.exp(np.append(x[:self.kappa], [] if self.hwd else [0.0]))
        f = e / e.sum()
        rho = 1 / (1 + e.sum())
        head = np.append(f, [rho] if self.hwd else [])
        values = np.append(head, x[self.kappa:])
        jacobian = np.zeros((len(values), self.p))
        jacobian[:self.k, :self.kappa] = (np.diag(f) - np.outer(f, f))[:, :self.kappa]
        if self.hwd:
            jacobian[self.k, :self.k] = -rho * (1 - rho) * f
        jacobian[len(head):, self.kappa:] = np.eye(self.p - self.kappa)
        return values, jacobian


# ------------------------------------------------------------------------ Newton-Raphson iteration

def lu(matrix):
    """Crout's factors in one array and the interchanges; None when a row is zero."""
    m, n, swaps = matrix.copy(), len(matrix), []
    if np.any(np.max(np.abs(m), axis=1) < EPS):
        return None
    scale = 1 / np.max(np.abs(m), axis=1)
    for j in range(n):
        for i in range(j):
            m[i, j] -= m[i, :i] @ m[:i, j]
        m[j:, j] -= m[j:, :j] @ m[:j, j]
        pivot = j + int(np.argmax(scale[j:] * np.abs(m[j:, j])))
        m[[j, pivot]] = m[[pivot, j]]
        scale[pivot] = scale[j]
        swaps.append(pivot)
        if abs(m[j, j]) < EPS:
            m[j, j] = EPS
        m[j + 1:, j] *= 1 / m[j, j]
    return m, swaps


def lu_solve(factors, right):
    m, swaps = factors
    x = right.copy()
    for i, pivot in enumerate(swaps):
        x[i], x[pivot] = x[pivot], x[i]
        x[i] -= m[i, :i] @ x[:i]
    for i in reversed(range(len(x))):
        x[i] = (x[i] - m[i, i + 1:] @ x[i + 1:]) / m[i, i]
    return x


def inverse(matrix, cholesky):
    """By Cholesky factorisation and, where that fails or is not wanted, by LU; None when both fail."""
    if cholesky and np.all(np.diag(matrix) >= EPS):
        try:
            half = np.linalg.inv(np.linalg.cholesky(matrix))
            return half.T @ half
        except np.linalg.LinAlgError:
            pass
    factors = lu(matrix)
    return factors and np.column_stack([lu_solve(factors, unit) for unit in np.eye(len(matrix))])


def newton(model, spec, x):
    """Status, iterations, log-likelihood and estimates of a fit that starts at x."""
    limit, tolerance = spec["ITERATIONS"], spec["TOLERANCE"]
    status, llh, score, information = model.evaluate(x)
    norm = np.sqrt(score @ score)
    if status != 1:
        return dict(status=status, iterations=0, llh=llh, x=x)
    step, change, iterations = (math.inf, abs(llh), 0) if model.hwd else (1.0, 1.0, 0)
    converged = lambda: step <= tolerance and change <= tolerance and norm <= tolerance
    while not converged() and iterations < limit:
        iterations += 1
        factors = lu(information)
        if factors is None:
            status = 115
            break
        previous, x = x, disturb(x + lu_solve(factors, score))
        step = max_err(x, previous)
        before = llh
        status, llh, score, information = model.evaluate(x)
        change, norm = abs(llh - before), np.sqrt(score @ score)
        if status != 1:
            llh = math.nan
        elif np.isnan(norm) or np.isnan(llh):
            status = 114
        elif np.isinf(norm) or np.isinf(llh):
            status = 115
        elif norm < tolerance and np.sum(np.abs(x - previous)) + EPS >= 1:
            status = 113
        if status != 1:
            break
    if not converged() and iterations >= limit:
        status = 5
    return dict(status=status, iterations=iterations, llh=llh, x=x)


def statistics(model, x, cholesky):
    """Rows (estimate, standard error, z, p) of everything reported; the last three absent on failure."""
    values, jacobian = model.reported(x)
    covariance = inverse(model.evaluate(x)[3], cholesky)
    errors = np.zeros(1) if covariance is None else np.sqrt(np.diag(jacobian @ covariance @ jacobian.T))
    z = values / errors
    if np.any(errors == 0) or np.any(np.isnan(errors)) or np.any(np.isnan(z)):
        return False, [(value,) for value in values]
    return True, [(v, s, t, math.erfc(abs(t) / math.sqrt(2))) for v, s, t in zip(values, errors, z)]


# ----------------------------------------------------------------------------------------- report

def frequency_section(spec, name, subjects, fit):
    loci = len(subjects[0][0])
    hw = "disequilibrium" if spec["HW"] else "equilibrium"
    places = math.floor(abs(math.log10(spec["FTOLERANCE"])))
    likelihood = f"{fit['llh']:{places + 2}.{places}f}"
    width = max(len(likelihood), 14)
    label = max(20, spec["label"])
    cases = sum(status for _, status, _ in subjects)
    line = lambda text, value: f"{text:<{label}}{value:>{width}}"
    rule, dash = "=" * 80, "-" * (label + width)
    return [rule, f"=== QUILMAR Analysis {shown(name)} ===", rule, "",
            rule, f"Haplotype frequencies under Hardy-Weinberg {hw}", rule,
            f"Tolerance: {spec['FTOLERANCE']:g}", f"Maximum iterations: {spec['FITERATIONS']}",
            f"Subjects: {len(subjects)}", f"Cases: {cases}", f"Controls: {len(subjects) - cases}", "",
            line("Haplotype", SAMPLES[spec["SAMPLE"]].capitalize()), dash] + \
        [line(digits(h, loci), f"{p:{places + 2}.{places}f}") for h, p in enumerate(fit["p"])
         if not spec["FTOLERANCE"] >= p] + \
        [dash, line("Iterations", fit["iterations"]), line("Log-Likelihood", likelihood),
         "Status: " + TEXT[fit["status"]], ""]


def effect_titles(spec, effects, names):
    """Title and label of each effect."""
    sizes = [len(gene) for gene in spec["GENE"]]
    titled = []
    for effect in effects:
        genes = [g for g in range(len(sizes)) if effect[g] >= 0]
        title = "Gene" + "s" * (len(genes) > 1) + " " + "*".join(str(g + 1) for g in genes)
        texts = [digits(effect[g], sizes[g]) for g in genes]
        texts += [name for name, taken in zip(names, effect[len(sizes):]) if taken == 1]
        titled.append((title if genes else "Environment", "  " + "*".join(texts)))
    return titled


def effects_section(spec, subjects, model, fit, rows, titled, frequency_labels):
    """rows and titled in the order of the report; titled holds (title, label) of every row."""
    hw = "disequilibrium" if spec["HW"] else "equilibrium"
    places = max(4, math.floor(abs(math.log10(spec["TOLERANCE"]))))
    likelihood = f"{fit['llh']:{places + 2}.{places}f}"
    label = spec["label"]
    width = max((78 - label) // 4, len(likelihood))
    cases = sum(status for _, status, _ in subjects)
    rule, dash = "=" * 80, "-" * (label + 4 * width)
    controls_in, cases_in = model.informative
    lines = [rule, f"{MODES[spec['MODEL']].capitalize()} haplotype effects under Hardy-Weinberg {hw}", rule,
             f"Tolerance: {spec['TOLERANCE']:g}", f"Maximum iterations: {spec['ITERATIONS']}",
             f"Subjects: {controls_in + cases_in}/{len(subjects)}", f"Cases: {cases_in}/{cases}",
             f"Controls: {controls_in}/{len(subjects) - cases}", "",
             " " * label + "".join(f"{t:>{width}}" for t in ("Estimate", "StdError", "Z-Stat", "P-Value")),
             dash, "Effects", dash]
    last = None
    for (title, text), row in zip(titled + frequency_labels, rows):
        if title != last:
            lines.append(title)
        last = title
        lines.append(f"{text:<{label}}" + "".join(f"{v:{width}.{places}f}" for v in row) +
                     " " * width * (4 - len(row)))
    short = max(label, 14)
    lines += [dash, f"{'Iterations':<{short}}{fit['iterations']:>{len(likelihood) + 2}}",
              f"{'Log-Likelihood':<{short}}{likelihood:>{len(likelihood) + 2}}",
              "Status: " + TEXT[fit["status"]], ""]
    return lines


# ------------------------------------------------------------------------------------- one data file

def analyse(path, name, spec):
    """The lines of a report but for its date; Stop without a report."""
    names, subjects = read_data(path, spec)
    sizes = [len(gene) for gene in spec["GENE"]]
    missing = sum(genotype.count("9") > LISTED for genotype, _, _ in subjects)
    if missing:
        say(f"{name}: warning: {missing} subjects have more than {LISTED} missing loci.")
    counts = {}
    for genotype, status, _ in subjects:
        counts.setdefault(genotype, [0, 0])[status] += 1
    weights = [(g, sum(n) if spec["SAMPLE"] == 2 else n[spec["SAMPLE"]]) for g, n in sorted(counts.items())]
    found = frequencies(spec, weights)
    if found["status"] == 9:
        say(f"{name}: warning: rho estimated at zero --> using HWE.")
        spec["HW"] = 0
        found = frequencies(spec, weights)
    if found["status"] == 5:
        say(f"{name}: warning: exceeded maximum iterations in frequency computation.")
    p = found["p"]
    modelled = [h for h in range(len(p)) if not spec["THRESHOLD"] >= p[h]]
    if not modelled:
        return refuse(name, 107)
    if not spec["HW"]:  # the most frequent one last, as reference
        reference = max(modelled, key=lambda h: (p[h], -h))
        modelled = [h for h in modelled if h != reference] + [reference]
    plain, environment, interactions = [], [], []
    for effect in spec["EFFECT"]:
        gene, other = any(h >= 0 for h in effect[:len(sizes)]), 1 in effect[len(sizes):]
        if gene or other:
            (interactions if gene and other else plain if gene else environment).append(effect)
    spec["label"] = 0
    wrong = check_effects(name, spec, sizes, modelled)
    effects = [] if wrong else plain + environment + interactions
    model = Model(spec, subjects, modelled, *([], [], []) if wrong else (plain, environment, interactions))
    for status, count in ((109, model.informative[1]), (110, model.informative[0])):
        if count == 0:
            return refuse(name, status)
    if not effects:
        return frequency_section(spec, os.path.basename(path), subjects, found)

    x = np.zeros(model.p)
    reference = math.log(found["rho"] / (1 - found["rho"])) if spec["HW"] else math.log(p[modelled[-1]])
    x[:model.kappa] = np.log(p[modelled[:model.kappa]]) - reference
    fit = newton(model, spec, x)
    if fit["status"] == 5:
        say(f"{name}: warning: exceeded maximum iterations.")
    elif fit["status"] != 1:
        warn(name, fit["status"])
    complete, values = statistics(model, fit["x"], spec["HW"] or not (environment or interactions))
    if not complete:
        say(f"{name}: warning: statistics computation failed.")

    titled = effect_titles(spec, effects, names)
    if MODES[spec["MODEL"]] == "codominant":
        titled = sum(([row] if row[0] == "Environment" else [row, (row[0], "")] for row in titled), [])
    loci = sum(sizes)
    frequency_labels = [("Frequencies", "  " + digits(h, loci)) for h in sorted(modelled)]
    frequency_labels += [("Frequencies", "  Rho")] if spec["HW"] else []
    head = model.k + (1 if spec["HW"] else 0)
    first = head + model.first - model.kappa
    of_environment = values[head + 1:first]
    count = sum(title != "Environment" for title, _ in titled)
    of_plain = len(plain) * (2 if MODES[spec["MODEL"]] == "codominant" else 1)
    ordered = values[first:first + of_plain] + of_environment + values[first + of_plain:first + count]
    ordered += [values[i] for i in sorted(range(model.k), key=lambda i: modelled[i])] + values[model.k:head]
    spec["label"] = max([14] + [len(text) for _, text in titled + frequency_labels])
    return frequency_section(spec, os.path.basename(path), subjects, found) + \
        effects_section(spec, subjects, model, fit, ordered, titled, frequency_labels)


def refuse(name, status):
    warn(name, status)
    warn(name, status)
    raise Stop


def check_effects(name, spec, sizes, modelled):
    """Says, once per number, which haplotypes the effects may not name."""
    met = set()
    for effect in spec["EFFECT"]:
        for gene, h in enumerate(effect[:len(sizes)]):
            text = digits(h, sizes[gene])
            if h < 0 or h < 2 ** sizes[gene] and h in [part(m, gene, sizes) for m in modelled]:
                continue
            if h not in met and h >= 2 ** sizes[gene]:
                say(f"{name}: error: haplotype {text} is not consistent with genotype data.")
            elif h not in met:
                say(f"{name}: error: frequency of haplotype {text} is not consistent with specified "
                    "threshold.")
            met.add(h)
    return bool(met)


# ------------------------------------------------------------------------------------- command line

def readable(path, kind):
    """Stop with the message of a path that is not there, or not a readable file or directory."""
    if not os.path.exists(path):
        say(f"file or directory '{path}' not found.")
        raise Stop(-9998)
    mode = os.stat(path).st_mode
    if stat.S_ISDIR(mode) and not mode & 0o400:
        say(f"no read permission for directory '{path}'.")
        raise Stop(-9997)
    if kind == "directory" and not stat.S_ISDIR(mode) or \
            not stat.S_ISDIR(mode) and not (stat.S_ISREG(mode) and mode & 0o400):
        say(f"no read permission for file '{path}'.")
        raise Stop(-9996)
    return stat.S_ISDIR(mode)


def data_files(path):
    """Prefix and names of the data files."""
    if not readable(path, "any"):
        return "", [path]
    prefix = path if path.endswith("/") else path + "/"
    names = sorted(n for n in os.listdir(prefix) if os.path.isfile(prefix + n))
    if not names:
        say(f"no files found in directory '{prefix}'.")
        raise Stop(0)
    failed = 0
    for name in reversed(names):
        try:
            readable(prefix + name, "file")
        except Stop:
            failed += 1
    if failed == len(names):
        raise Stop(0)
    return prefix, names


def set_option(spec, option, value):
    """Applies one option; returns whether it is valid."""
    if option == "-o" and value:
        spec["result"] = value
    elif option in ("-h", "--hardy-weinberg") and value:
        spec["HW"] = choice(value, ["hwe", "hwd"])
    elif option in ("-i", "--iterations") and value:
        spec["ITERATIONS"] = leading_integer(value)
    elif option in ("-t", "--tolerance") and value:
        number = leading_real(value)
        spec["TOLERANCE"] = number if number is not None and 0 < number < 1 else None
    elif option in ("-m", "--model") and value:
        letter = choice(value, [mode[0] for mode in MODES])
        spec["MODEL"] = choice(value, MODES) if letter is None else letter
    else:
        say(f"invalid option '{option}'.")
        return False
    if None in (spec["HW"], spec["ITERATIONS"], spec["TOLERANCE"], spec["MODEL"]):
        say(f"invalid value '{value}' for option '{option}'.")
        return False
    return True


def set_options(spec, arguments):
    rest = list(arguments)
    while rest:
        option, equals, value = rest.pop(0).partition("=")
        if not equals and rest:
            value = rest.pop(0)
        if not set_option(spec, option, value):
            say(f"invalid option '{spec['result']}'.")
            raise Stop(-9983)


def run(arguments):
    """(exit status, standard output, messages, {path: report without its date line}) of a run."""
    messages.clear()
    reports = {}
    if len(arguments) < 2:
        return 0, HELP if arguments == ["--help"] else USAGE + HINT, "", reports
    try:
        prefix, names = data_files(arguments[0])
        spec = read_spec(arguments[1])
        spec["result"] = ""
        set_options(spec, arguments[2:])
        if spec["result"]:
            spec["result"] = spec["result"].rstrip("/") + "/"
            readable(spec["result"], "directory")
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


if __name__ == "__main__":
    status, output, lines, files = run(sys.argv[1:])
    sys.stdout.write(output + "".join(files.values()))
    sys.stderr.write(lines)
    sys.exit(status)
