"""Times quilmar-scan beside its peers on the studies of bench/scan_studies.py, for bench/scan.

Seconds are processor time, user and system, of whole processes of one thread: medians over the
repetitions, in which all programs of a study take turns. A program that needs long runs only once. Slow
programs get the study's first 500 SNPs; what is compared is then the time per window or SNP.
"""
import argparse
import collections
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

from scan_sizes import CASES, CHROMOSOME_SNPS, COVARIATES, PART_SNPS

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "release")
SCAN = os.path.join(BUILD, "quilmar-scan")
LONG = 20  # seconds above which a program is not repeated
WINDOW = 5

LRT, SCORE, ADJUSTED = "lrt", "score", "score, 10 covariates"
OURS = {
    LRT: ["--allow-no-covars", "--test", "lrt"],
    LRT + ", no haplotype rows": ["--allow-no-covars", "--test", "lrt", "--pfilter", "0"],
    LRT + ", 2 threads": ["--allow-no-covars", "--test", "lrt", "--threads", "2"],
    SCORE: ["--allow-no-covars"],
    ADJUSTED: ["--covar", "{study}.covar"],
}
PLINK2 = ["plink2", "--threads", "1", "--bfile", "{study}", "--out", "peer"]
PLINK1 = ["plink1", "--noweb", "--geno", "1", "--mind", "1", "--maf", "0", "--hap-miss", "1", "--mhf",
          "0.01", "--bfile", "{study}", "--hap-window", str(WINDOW), "--out", "peer"]
GENO_COUNTS, GLM, ADJUSTED_GLM = "plink2 --geno-counts", "plink2 --glm", "plink2 --glm, 10 covariates"
HAP_ASSOC, HAP_LOGISTIC, SLIDE = "PLINK 1.07 --hap-assoc", "PLINK 1.07 --hap-logistic", "haplo.score.slide"

# Command, the most subjects with which it is run, and the most with which it gets all SNPs.
PEERS = {
    GENO_COUNTS: (PLINK2 + ["--geno-counts"], 10**9, 10**9),
    GLM: (PLINK2 + ["--glm", "allow-no-covars"], 10**9, 100000),
    ADJUSTED_GLM: (PLINK2 + ["--glm", "hide-covar", "--covar", "{covar}"], 10**9, 10000),
    HAP_ASSOC: (PLINK1 + ["--hap-assoc"], 3000, 0),
    HAP_LOGISTIC: (PLINK1 + ["--hap-logistic"], 3000, 0),
    SLIDE: (["Rscript", os.path.join(ROOT, "bench", "haplo_slide.R"), "{study}.slide.raw"], 3000, 0),
}
SLIDE_WINDOWS = 20

# Case, what is measured, against what, and the most that their times per window may be.
BARS = [
    ("3k", LRT, GLM, 0.6), ("3k", SCORE, GLM, 0.6), ("3k", LRT, HAP_ASSOC, 0.01),
    ("10k", LRT, GLM, 0.3), ("10k", ADJUSTED, ADJUSTED_GLM, 0.06),
    ("100k", LRT, GLM, 0.06), ("500k", LRT, GENO_COUNTS, 2),
] + [(case, LRT, LRT + ", no haplotype rows", 4 / 3) for case in CASES] + [
    (case, LRT + ", 2 threads", LRT, 1.1) for case in CASES]
ADJUSTED_BAR = ("500k", 1.1e-3)  # seconds per window

Run = collections.namedtuple("Run", "cpu wall peak")


def run(command, folder):
    """Processor and wall seconds and peak bytes of a process, or None if it failed."""
    start = time.perf_counter()
    process = subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.perf_counter() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        return None
    return Run(usage.ru_utime + usage.ru_stime, wall, 1024 * usage.ru_maxrss)


class Program:
    """A command on a study, and its runs."""

    def __init__(self, name, command, n_windows):
        self.name, self.command, self.n_windows = name, command, n_windows
        self.runs, self.end = [], None
        if shutil.which(command[0]) is None:
            self.end = "not installed"

    def turn(self, folder):
        if self.end is not None or (self.runs and max(r.cpu for r in self.runs) > LONG):
            return
        done = run(self.command, folder)
        if done is None:
            self.end = "failed"
        else:
            self.runs.append(done)

    def median(self, what):
        return statistics.median(getattr(r, what) for r in self.runs)

    def each(self):
        """Processor seconds per window or SNP; None without a run."""
        return self.median("cpu") / self.n_windows if self.runs and self.end is None else None

    def row(self):
        if self.each() is None:
            return f"| {self.name} | {self.end} | | | | |"
        return (f"| {self.name} | {self.n_windows} | {self.median('cpu'):.2f} | "
                f"{1e6 * self.each():.1f} | {self.median('wall'):.2f} | "
                f"{self.median('peak') / 2**20:.0f} |")


def n_windows(n_snps):
    whole, rest = divmod(n_snps, CHROMOSOME_SNPS)
    return whole * (CHROMOSOME_SNPS - WINDOW + 1) + max(0, rest - WINDOW + 1)


def programs_of(prefix, n_subjects, n_snps):
    programs = []
    for name, options in OURS.items():
        command = [SCAN, "--bfile", prefix, "--quiet", "--out", "ours", "--threads", "1"]
        if "--threads" in options:
            command = command[:-2]
        command += [o.format(study=prefix) for o in options]
        programs.append(Program(name, command, n_windows(n_snps)))
    # What does not grow with the SNPs is known from fewer of them.
    for name, options in ((LRT, OURS[LRT]), (ADJUSTED, OURS[ADJUSTED])):
        command = [SCAN, "--bfile", prefix + ".part", "--quiet", "--out", "ours", "--threads", "1"]
        programs.append(Program(name + ", 500 SNPs", command + [o.format(study=prefix) for o in options],
                                n_windows(PART_SNPS)))
    for name, (command, most_subjects, most_whole) in PEERS.items():
        if n_subjects > most_subjects:
            continue
        is_whole = n_subjects <= most_whole
        study = prefix if is_whole else prefix + ".part"
        n = n_snps if is_whole else PART_SNPS
        if command[0] == "plink1":
            n = n_windows(n)
        if name == SLIDE:
            study, n = prefix, SLIDE_WINDOWS
        programs.append(Program(name, [c.format(study=study, covar=prefix + ".covar") for c in command],
                                n))
    return programs


def write_slide(prefix):
    """The text file that haplo.stats reads."""
    if shutil.which("plink2") is None or os.path.exists(prefix + ".slide.raw"):
        return
    last = SLIDE_WINDOWS + WINDOW - 2
    subprocess.run(["plink2", "--bfile", prefix, "--from", "s0", "--to", f"s{last}", "--export", "A",
                    "--out", prefix + ".slide"], stdout=subprocess.DEVNULL, check=True)


def measure(case, folder, repetitions):
    n_subjects, n_snps, _ = CASES[case]
    prefix = os.path.join(folder, case)
    if not os.path.exists(prefix + ".done"):
        # By a process of its own: the peak of a process counts what its parent had at the start.
        draw = os.path.join(ROOT, "bench", "scan_studies.py")
        subprocess.run([sys.executable, draw, folder, case], check=True)
    if n_subjects <= PEERS[SLIDE][1]:
        write_slide(prefix)
    programs = programs_of(prefix, n_subjects, n_snps)
    with tempfile.TemporaryDirectory() as scratch:
        for _ in range(repetitions):
            for program in programs:
                program.turn(scratch)
    print(f"\n### {n_subjects:,} subjects, {n_snps:,} SNPs\n\n"
          "| program | windows or SNPs | CPU s | us each | wall s | peak MiB |\n|---|---|---|---|---|---|")
    for program in programs:
        print(program.row())
    by_name = {p.name: p for p in programs}
    print_stages(prefix, n_subjects, n_snps, by_name)
    sys.stdout.flush()
    return by_name


def slope(by_name, name):
    """Seconds per further window, and seconds without any."""
    whole, part = by_name[name], by_name[name + ", 500 SNPs"]
    if whole.each() is None or part.each() is None:
        return None
    each = ((whole.median("cpu") - part.median("cpu")) / (whole.n_windows - part.n_windows))
    return each, max(0.0, whole.median("cpu") - each * whole.n_windows)


def print_stages(prefix, n_subjects, n_snps, by_name):
    print("\n| stage | us per window | ns per subject and window |\n|---|---|---|")
    for covariates, name in ((0, LRT), (COVARIATES, ADJUSTED)):
        output = subprocess.run([os.path.join(BUILD, "bench", "scan_stages"), prefix + ".bed",
                                 str(n_subjects), str(n_snps), str(covariates)],
                                capture_output=True, text=True, check=True).stdout
        rows = [line.split("\t") for line in output.splitlines()]
        stages = [(row[0], float(row[1])) for row in rows if len(row) == 3]
        if slope(by_name, name) is not None:
            rest = 1e6 * slope(by_name, name)[0] - sum(each for _, each in stages)
            stages.append(("estimates, tests and rows (the difference)", rest))
        for stage, each in stages:
            print(f"| {name}: {stage} | {each:.1f} | {1e3 * each / n_subjects:.2f} |")


def print_bars(measured):
    print("\n### Bars\n\n| subjects | ratio of CPU time | bar | measured | |\n|---|---|---|---|---|")
    for case, name, other, bar in BARS:
        if case not in measured:
            continue
        ours, theirs = measured[case][name].each(), measured[case][other].each()
        label = f"| {CASES[case][0]:,} | {name} / {other} | {bar:.3g} |"
        if ours is None or theirs is None:
            print(label, "| not measured |")
        else:
            print(label, f"{ours / theirs:.3g} | {'met' if ours / theirs <= bar else 'missed'} |")
    case, bar = ADJUSTED_BAR
    each = slope(measured[case], ADJUSTED) if case in measured else None
    if each is not None:
        print(f"| {CASES[case][0]:,} | {ADJUSTED}, ms per window | {1e3 * bar:.3g} | "
              f"{1e3 * each[0]:.3g} | {'met' if each[0] <= bar else 'missed'} |")


def print_prediction(measured):
    if "500k" not in measured:
        return
    print("\n### 500,000 subjects, 700,000 SNPs, predicted\n\n"
          "The time per window of 4,000 SNPs less that of 500, times 700,000, and what is left of it.\n\n"
          "| test | CPU minutes |\n|---|---|")
    for name in (LRT, ADJUSTED):
        line = slope(measured["500k"], name)
        if line is not None:
            print(f"| {name} | {(line[0] * 700000 + line[1]) / 60:.1f} |")


def main():
    parser = argparse.ArgumentParser(prog="bench/scan", description=__doc__)
    parser.add_argument("-r", "--repetitions", type=int, default=5)
    parser.add_argument("-d", "--folder", default=os.path.join(ROOT, "build", "scan-data"))
    parser.add_argument("cases", nargs="*", default=list(CASES), metavar="case",
                        help=", ".join(CASES))
    arguments = parser.parse_args()
    for case in arguments.cases:
        if case not in CASES:
            parser.error(f"there is no case {case}")
    print(f"Medians of {arguments.repetitions}; load average {os.getloadavg()[0]:.1f} at the start.")
    folder = os.path.abspath(arguments.folder)
    measured = {case: measure(case, folder, arguments.repetitions) for case in arguments.cases}
    print_bars(measured)
    print_prediction(measured)


if __name__ == "__main__":
    main()
