"""How quilmar's time grows with each size of an analysis: prints a Markdown table.

Every row varies one size of a base case of simulated subjects, all others held, and times the whole
process (processor seconds, median of the repetitions, in which the sizes take turns). The exponent
is the slope of log time over log size between the two largest sizes; loci grow by a factor per locus.
"""
import math
import os
import random
import resource
import statistics
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
QUILMAR = os.path.join(ROOT, "build", "release", "quilmar")
BASE = {"subjects": 20000, "files": 1, "loci": 8, "haplotypes": 12, "covariates": 0, "missing": 0.0}
# The sizes of every row, and what else they need.
ROWS = [
    ("subjects", [100000, 200000, 400000], {}),
    ("files", [100, 200, 400], {"subjects": 500}),
    ("loci", [16, 18, 20], {"subjects": 2000, "haplotypes": 20}),
    ("haplotypes", [256, 512, 1024], {"loci": 10}),
    ("covariates", [2, 4, 8], {"subjects": 50000}),
    ("missing", [0.0, 0.15, 0.3], {"subjects": 4000, "loci": 12}),
]


def write_case(size, directory):
    rng = random.Random(20261121)
    loci = size["loci"]
    codes = rng.sample(range(2 ** loci), size["haplotypes"])
    weights = [1 + rng.random() for _ in codes]
    header = " ".join(["D"] + ["S%d" % l for l in range(loci)] +
                      ["X%d" % c for c in range(size["covariates"])])
    for number in range(size["files"]):
        with open(os.path.join(directory, "%04d" % number), "w") as file:
            file.write(header + "\n")
            for i in range(size["subjects"]):
                first, second = rng.choices(codes, weights, k=2)
                snps = ["9" if rng.random() < size["missing"] else
                        str((first >> l & 1) + (second >> l & 1)) for l in reversed(range(loci))]
                covariates = ["%.2f" % rng.gauss(0, 1) for _ in range(size["covariates"])]
                file.write(" ".join([str(i % 2)] + snps + covariates) + "\n")
    spec = "STATUS=1\nSAMPLE=combined\nTHRESHOLD=0.0005\nGENE=%s\n" % " ".join(
        str(l + 2) for l in range(loci))
    absent = " -1" * size["covariates"]
    spec += "EFFECT=%d%s\n" % (codes[0], absent)
    if size["covariates"]:
        spec += "ENVIRONMENT=%s\n" % " ".join(str(loci + 2 + c) for c in range(size["covariates"]))
        for c in range(size["covariates"]):
            spec += "EFFECT=-1" + " -1" * c + " 1" + " -1" * (size["covariates"] - c - 1) + "\n"
    path = directory + ".spec"
    with open(path, "w") as file:
        file.write(spec)
    return path


def seconds(directory, spec, output):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run([QUILMAR, directory, spec, "-o", output], stderr=subprocess.DEVNULL)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime


def time_row(name, values, others, repetitions, scratch):
    cases = []
    for value in values:
        directory = os.path.join(scratch, "%s-%s" % (name, value))
        os.makedirs(directory)
        cases.append((directory, write_case({**BASE, **others, name: value}, directory)))
    output = os.path.join(scratch, "reports")
    os.makedirs(output, exist_ok=True)
    runs = [[seconds(d, s, output) for d, s in cases] for _ in range(repetitions)]
    return [statistics.median(times) for times in zip(*runs)]


def growth(name, values, times):
    if name == "missing":
        return "%.1f-fold" % (times[-1] / times[0])
    if name == "loci":
        return "x %.2f per locus" % ((times[-1] / times[-2]) ** (1 / (values[-1] - values[-2])))
    return "exponent %.2f" % (math.log(times[-1] / times[-2]) / math.log(values[-1] / values[-2]))


def main():
    repetitions = int(sys.argv[1]) if len(sys.argv) > 1 else 5
    print("| size | values | seconds | growth |\n|---|---|---|---|")
    with tempfile.TemporaryDirectory() as scratch:
        for name, values, others in ROWS:
            times = time_row(name, values, others, repetitions, scratch)
            print("| %s | %s | %s | %s |" % (name, ", ".join(map(str, values)),
                                             ", ".join("%.3f" % t for t in times),
                                             growth(name, values, times)), flush=True)


if __name__ == "__main__":
    main()
