"""The model of quilmar from its definitions, slow and plain; docs/methods.md has the formulas.

Every ordered pair (a, b) of haplotypes that a genotype g allows is listed, and

    P(g) = sum of p_a p_b over its pairs              the frequencies p are estimated by EM
    l(x) = sum over terms of n ln(b / a)              a fit; b and a are sums of exp(x'd) over pairs, so
    u    = sum of n (E_b d - E_a d)                   score and information are the means and the
    H    = sum of n (Cov_a d - Cov_b d)               covariances of d under the weights exp(x'd)

The four likelihoods (equilibrium or not, covariates or not) differ in their design rows d alone.
"""
import math
import sys

import numpy as np

np.seterr(all="ignore")

EPS = 2.0 ** -52
LISTED = 10  # under equilibrium, EM counts each completion of a genotype with more missing loci
MODES = ["additive", "recessive", "dominant", "codominant"]

disturb = lambda values: values  # compare.py replaces it, to see what rounding decides


def ordered_pairs(genotype):
    """Arrays a, b of all ordered pairs of haplotypes whose digits add up to a text of 0, 1, 2, 9."""
    a = b = np.zeros(1, dtype=np.int64)
    alleles = {"0": [(0, 0)], "1": [(0, 1), (1, 0)], "2": [(1, 1)],
               "9": [(0, 0), (0, 1), (1, 0), (1, 1)]}
    for locus in genotype:
        a, b = (np.concatenate([2 * h + pair[side] for pair in alleles[locus]])
                for side, h in enumerate((a, b)))
    return a, b


def max_err(new, old):
    """Largest change: relative from 0.01 on, absolute below, numbers only."""
    change = np.abs(np.where(np.abs(old) >= 0.01, (new - old) * (1 / old), new - old))
    return np.max(change, initial=-sys.float_info.max, where=~np.isnan(change))


def frequencies(spec, weights):
    """EM for a list of (genotype, number of subjects): status, iterations, llh, rho, p."""
    tolerance, hwd = spec["FTOLERANCE"], spec["HW"]
    a, b, group, n, listed = [], [], [], [], []  # a group is a genotype, or a completion
    for genotype, count in weights:
        if count == 0:
            continue
        first, second = ordered_pairs(genotype)
        keys = np.zeros(len(first), dtype=np.int64)
        whole = hwd or genotype.count("9") <= LISTED
        if not whole:
            keys = np.unique((first ^ second) << 32 | (first & second), return_inverse=True)[1]
        a, b, group = a + [first], b + [second], group + [keys + len(n)]
        size = int(keys.max()) + 1
        n, listed = n + [count] * size, listed + [whole] * size
    a, b, group = (np.concatenate(v + [np.zeros(0, dtype=np.int64)]).astype(int) for v in (a, b, group))
    total = np.float64(sum(count for _, count in weights))
    n, listed, same = np.array(n, dtype=float), np.array(listed, dtype=bool), a == b
    haplotypes = 2 ** len(weights[0][0])
    p, rho = np.full(haplotypes, 1 / haplotypes), 0.01 if hwd else 0.0
    error, iterations = math.inf, 0

    def sums():
        once = np.bincount(group[same], p[a[same]], len(n))  # both are copies of one draw
        return once, (1 - rho) * np.bincount(group, p[a] * p[b], len(n)) + rho * once

    while iterations < spec["FITERATIONS"] and error > tolerance:
        iterations += 1
        once, probability = sums()
        w = n / probability
        new = np.bincount(a, p[a] * p[b] * w[group], haplotypes)
        if hwd:
            new = 2 * (1 - rho) * new + np.bincount(a[same], rho * p[a[same]] * w[group[same]], haplotypes)
            new, new_rho = new / new.sum(), np.sum(rho * once * w) / total
            error = max(max_err(new, p), abs(new_rho - rho) / (rho if rho >= 0.01 else 1))
            rho = new_rho
        else:
            new = new * (1 / total)
            error = max_err(new, p)
        p = disturb(np.where(new < 2.0 ** -511, 0.0, new))
    status = 1 if error <= tolerance or iterations < spec["FITERATIONS"] else 5
    if hwd and error <= tolerance and rho < 5 * tolerance:
        status = 9
    llh = np.sum(n[listed] * np.log(sums()[1][listed]))
    return dict(status=status, iterations=iterations, llh=llh, rho=rho, p=p)


def select(spec, p):
    """The modelled haplotypes; under equilibrium the most frequent one last, as reference."""
    modelled = [h for h in range(len(p)) if not spec["THRESHOLD"] >= p[h]]
    if modelled and not spec["HW"]:
        reference = max(modelled, key=lambda h: (p[h], -h))
        modelled = [h for h in modelled if h != reference] + [reference]
    return modelled


def part(haplotype, gene, sizes):
    """A haplotype's part at a gene."""
    return haplotype >> sum(sizes[gene + 1:]) & 2 ** sizes[gene] - 1


def codes(spec, effect, pair, sizes):
    """The code of an effect's genes for a pair of haplotypes: one number, or two if codominant."""
    copies = [sum(part(h, gene, sizes) == required for h in pair)
              for gene, required in enumerate(effect[:len(sizes)]) if required >= 0]
    homozygous, carried = float(min(copies) == 2), float(min(copies) >= 1)
    return {"additive": [float(math.prod(copies))], "recessive": [homozygous], "dominant": [carried],
            "codominant": [float(math.prod(copies)), homozygous]}[MODES[spec["MODEL"]]]


class Model:
    """The terms (n, rows of b, rows of a) of a log-likelihood.

    A vector x holds the haplotypes (all, or but for the reference), and with covariates kappa and one
    parameter per environment effect, then those of the effects and of the interactions.
    """

    def __init__(self, spec, subjects, modelled, effects, environment, interactions):
        sizes = [len(gene) for gene in spec["GENE"]]
        self.hwd, self.k, self.environment = spec["HW"] != 0, len(modelled), environment
        self.covariates = bool(environment or interactions)
        self.haplotypes = self.k if self.hwd else self.k - 1
        assert self.k <= 256, "too many haplotypes to list their pairs"
        index, copies, z, y = {}, [], [], []
        draws = [(i, j, 1) for i in range(self.k) for j in range(self.k)]
        draws += [(i, i, 0) for i in range(self.k)] if self.hwd else []  # both are copies of one draw
        for number, (i, j, independent) in enumerate(draws):
            pair = modelled[i], modelled[j]
            index.setdefault(pair, []).append(number)
            copies.append([(h == i) + independent * (h == j) for h in range(self.haplotypes)])
            z.append(sum((codes(spec, effect, pair, sizes) for effect in effects), []))
            y.append(sum((codes(spec, effect, pair, sizes) for effect in interactions), []))
        copies, z, y = (np.array(v, dtype=float).reshape(len(draws), -1) for v in (copies, z, y))
        each = y.shape[1] // max(1, len(interactions))

        def case_rows(values):
            if not self.covariates:
                return np.hstack([copies, z])
            factor = lambda effect: math.prod(
                v for v, entry in zip(values, effect[len(sizes):]) if entry == 1)
            x = np.tile([1.0] + [factor(effect) for effect in environment], (len(draws), 1))
            return np.hstack([copies, x, z, y * np.repeat([factor(e) for e in interactions], each)])

        case = {values: case_rows(values) for values in {values for _, _, values in subjects}}
        self.p = len(next(iter(case.values()))[0])
        control = np.hstack([copies, np.zeros((len(draws), self.p - self.haplotypes))])
        everyone = {values: np.vstack([control, rows]) for values, rows in case.items()}
        self.terms, self.informative = [], [0, 0]
        for (genotype, status, values), n in count(
                (g, s, v if self.covariates else subjects[0][2]) for g, s, v in subjects).items():
            a, b = ordered_pairs(genotype if genotype.count("9") <= LISTED else "")
            kept = np.isin(a, modelled) & np.isin(b, modelled) & (genotype.count("9") <= LISTED)
            listed = sum((index[pair] for pair in zip(a[kept], b[kept])), [])
            if listed:
                rows = case[values] if status else control
                self.informative[status] += n
                self.terms.append((n, rows[listed], everyone[values] if self.covariates else rows))

    def evaluate(self, x):
        """Status, l(x), its gradient and minus its second derivatives."""
        status, llh, score, information = 1, 0.0, np.zeros(self.p), np.zeros((self.p, self.p))
        known = {}

        def moments(rows):
            weights = np.exp(rows @ x)
            share = disturb(weights / weights.sum())
            mean = share @ rows
            return weights.sum(), mean, (rows.T * share) @ rows - np.outer(mean, mean)

        for n, own, everyone in self.terms:
            if id(everyone) not in known:
                known[id(everyone)] = moments(everyone)
            a, mean_a, covariance_a = known[id(everyone)]
            b, mean_b, covariance_b = moments(own)
            for value in np.append(np.exp(x[:self.k]), a) if self.hwd and status == 1 else []:
                if status == 1 and not np.isfinite(value):
                    status = 114 if np.isnan(value) else 115
            llh += n * np.log(b / a)
            score += n * (mean_b - mean_a)
            information += n * (covariance_a - covariance_b)
        return status, llh, disturb(score), disturb(information)

    def reported(self, x):
        """The frequencies, rho and the other parameters; their derivatives with respect to x."""
        e = np.exp(np.append(x[:self.haplotypes], [] if self.hwd else [0.0]))
        f, rho = e / e.sum(), 1 / (1 + e.sum())
        population = np.append(f, [rho] if self.hwd else [])
        jacobian = np.zeros((len(population) + self.p - self.haplotypes, self.p))
        jacobian[:self.k, :self.haplotypes] = (np.diag(f) - np.outer(f, f))[:, :self.haplotypes]
        if self.hwd:
            jacobian[self.k, :self.k] = -rho * (1 - rho) * f
        jacobian[len(population):, self.haplotypes:] = np.eye(self.p - self.haplotypes)
        return np.append(population, x[self.haplotypes:]), jacobian


def count(values):
    counts = {}
    for value in values:
        counts[value] = counts.get(value, 0) + 1
    return counts


def solve(matrix, right):
    """Crout's factorisation, small pivots replaced by EPS; None when a row is zero."""
    m, x = matrix.copy(), right.copy()
    if np.any(np.max(np.abs(m), axis=1) < EPS):
        return None
    scale = 1 / np.max(np.abs(m), axis=1)
    for j in range(len(m)):
        for i in range(j):
            m[i, j] -= m[i, :i] @ m[:i, j]
        m[j:, j] -= m[j:, :j] @ m[:j, j]
        pivot = j + int(np.argmax(scale[j:] * np.abs(m[j:, j])))
        m[[j, pivot]], x[[j, pivot]], scale[pivot] = m[[pivot, j]], x[[pivot, j]], scale[j]
        if abs(m[j, j]) < EPS:
            m[j, j] = EPS
        m[j + 1:, j] *= 1 / m[j, j]
        x[j] -= m[j, :j] @ x[:j]
    for i in reversed(range(len(m))):
        x[i] = (x[i] - m[i, i + 1:] @ x[i + 1:]) / m[i, i]
    return x


def newton(model, spec, x):
    """Full steps from x: status, iterations, llh and x."""
    tolerance = spec["TOLERANCE"]
    status, llh, score, information = model.evaluate(x)
    norm = np.sqrt(score @ score)
    if status != 1:
        return dict(status=status, iterations=0, llh=llh, x=x)
    step, change, iterations = (math.inf, abs(llh), 0) if model.hwd else (1.0, 1.0, 0)
    converged = lambda: step <= tolerance and change <= tolerance and norm <= tolerance
    while status == 1 and not converged() and iterations < spec["ITERATIONS"]:
        iterations += 1
        d = solve(information, score)
        if d is None:
            status = 115
            break
        previous, x, before = x, x + d, llh
        step = max_err(x, previous)
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
    if not converged() and iterations >= spec["ITERATIONS"]:
        status = 5
    return dict(status=status, iterations=iterations, llh=llh, x=x)


def statistics(model, x):
    """Rows (estimate, standard error, z, p) of all that is reported, or (estimate,) on failure."""
    values, jacobian = model.reported(x)
    inverse = solve(model.evaluate(x)[3], np.eye(model.p))
    errors = np.zeros(1) if inverse is None else np.sqrt(np.diag(jacobian @ inverse @ jacobian.T))
    z = values / errors
    if np.any(errors == 0) or np.any(np.isnan(errors)) or np.any(np.isnan(z)):
        return [(value,) for value in values]
    return [(v, s, t, math.erfc(abs(t) / math.sqrt(2))) for v, s, t in zip(values, errors, z)]


def fit(spec, subjects, modelled, found, effects, environment, interactions):
    """(model, fit, statistics) from the EM estimates."""
    model = Model(spec, subjects, modelled, effects, environment, interactions)
    x, p = np.zeros(model.p), found["p"]
    origin = np.log(found["rho"]) - np.log1p(-found["rho"]) if spec["HW"] else np.log(p[modelled[-1]])
    x[:model.haplotypes] = np.log(p[modelled[:model.haplotypes]]) - origin
    result = newton(model, spec, x)
    return model, result, statistics(model, result["x"])
