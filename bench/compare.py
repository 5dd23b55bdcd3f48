"""Times quilmar, its peers and floors on the cases of bench/cases.cpp and prints Markdown tables.

Seconds are medians over the repetitions, in which all programs of a case take turns, so that what
else the machine does hits all of them. A program that needs long runs only once.
"""
import argparse
import json
import os
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "release")
DATA = os.path.join(ROOT, "build", "bench-data")
LONG = 10  # seconds above which a peer is not repeated

# Every subject and SNP of the case, haplotypes above quilmar's THRESHOLD.
PLINK = ["plink1", "--noweb", "--ped", "../plink.ped", "--map", "../plink.map",
         "--geno", "1", "--mind", "1", "--maf", "0", "--hap-miss", "1", "--mhf", "0.01",
         "--hap", "../plink.hlist", "--out", "plink"]
# One EM over all SNPs of a window to quilmar's FTOLERANCE and FITERATIONS, without pruning.
PLAIN_EM = ["--em-window", "32", "--em-window-tol", "1e-6", "--em-window-iter", "2000",
            "--em-window-prune-phase", "0", "--em-window-prune-haplotype", "0"]
# PLINK's own way: windows of 6 SNPs, joined by a second EM, with pruning.
PRUNED_EM = ["--em-window-tol", "1e-6", "--em-meta-tol", "1e-6"]
COVARIATES = ["--covar", "../plink.covar"]
HAPLO_STATS = ["Rscript", os.path.join(ROOT, "bench", "haplo_stats.R")]

# What runs beside quilmar, by the name in the tables: command, file that it must leave behind.
PEERS = {
    "--hap-freq": (PLINK + ["--hap-freq"] + PLAIN_EM, "plink.frq.hap"),
    "--hap-freq pruned": (PLINK + ["--hap-freq"] + PRUNED_EM, "plink.frq.hap"),
    "--hap-logistic": (PLINK + ["--hap-logistic"] + PLAIN_EM, "plink.assoc.hap.logistic"),
    "--hap-logistic --covar": (PLINK + ["--hap-logistic"] + PLAIN_EM + COVARIATES,
                               "plink.assoc.hap.logistic"),
    "haplo.em": (HAPLO_STATS + ["em", "../data.txt", "0.01"], None),
    "haplo.glm": (HAPLO_STATS + ["glm", "../data.txt", "0.01"], None),
}

# Per case the peers, each with the ratio quilmar / peer that must not be exceeded, or None.
CASES = {
    "windows": {"--hap-logistic": 0.5},
    "1k-4": {"--hap-freq": 1, "haplo.em": None, "haplo.glm": 1 / 20},
    "1k-8": {"--hap-freq": 1, "haplo.em": None, "haplo.glm": 1 / 20},
    "1k-12": {"--hap-freq": 0.5, "haplo.em": None, "haplo.glm": 1 / 20},
    "10k-8": {"--hap-freq": 0.5, "haplo.em": None, "haplo.glm": 1 / 100},
    "100k-8": {"--hap-freq": 0.5, "haplo.glm": 1 / 100},
    "500k-8": {"--hap-freq": 0.5},
    "2k-10-missing20": {"--hap-freq": 0.5},
    "2k-12-missing30": {"--hap-freq": 0.5},
    "2k-16": {"--hap-freq": 0.1, "--hap-freq pruned": 2},
    "2k-20": {"--hap-freq": 0.1, "--hap-freq pruned": 2},
    "2k-20-missing20": {},
    "hwd-100k": {},
    "covariates-50k": {"--hap-logistic --covar": 0.25},
    "covariates-500k": {},
}

# The case whose reading is held against a sweep over the file's bytes.
READING = "500k-8"

# A run that ended with an error, or at the time limit.
FAILED, STOPPED = "failed", "stopped"


def run(command, directory, limit, expected=(0,)):
    """Whole-process seconds, how the run ended (None when well) and its standard output."""
    with open(os.path.join(directory, "stdout"), "w+b") as output:
        start = time.perf_counter()
        process = subprocess.Popen(command, cwd=directory, stdin=subprocess.DEVNULL, stdout=output,
                                   stderr=subprocess.DEVNULL, start_new_session=True)
        stop = threading.Timer(limit, os.killpg, (process.pid, signal.SIGKILL))
        stop.start()
        # Popen.wait with a time limit would poll, which is coarser than the shortest runs.
        _, status, _ = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - start
        stop.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        output.seek(0)
        text = output.read().decode(errors="replace")
    end = STOPPED if seconds >= limit else FAILED if process.returncode not in expected else None
    return seconds, end, text


class Timings:
    """Runs of one program on one case."""

    def __init__(self):
        self.seconds = []
        self.end = None

    def add(self, seconds, end):
        self.seconds.append(seconds)
        self.end = self.end or end

    def done(self):
        return self.end is not None or (self.seconds and max(self.seconds) > LONG)

    def median(self):
        return statistics.median(self.seconds)

    def text(self):
        if self.end == FAILED:
            return FAILED
        return ("> " if self.end == STOPPED else "") + f"{self.median():.4f}"


def empty(directory):
    shutil.rmtree(directory, ignore_errors=True)
    os.makedirs(directory)


def quilmar_command(case, variables):
    data = "data" if os.path.isdir(os.path.join(DATA, case, "data")) else "data.txt"
    return [os.path.join(BUILD, "quilmar"), "../" + data, "../" + variables, "-o", "."]


def run_quilmar(case, variables, directory, limit):
    # Status 1 says that the run went through its files.
    return run(quilmar_command(case, variables), directory, limit, expected=(1,))


def succeeded(directory):
    """Do all reports say that both frequencies and fit have converged?"""
    reports = [name for name in os.listdir(directory) if name.endswith(".out")]
    for name in reports:
        with open(os.path.join(directory, name)) as report:
            if report.read().count("Status: Success.") != 2:
                return False
    return bool(reports)


class Measured:
    """Everything that was measured on one case."""

    def __init__(self, case):
        self.case = case
        self.directory = os.path.join(DATA, case)
        self.scratch = os.path.join(self.directory, "run")
        self.quilmar = Timings()
        self.once = Timings()  # of READING: one iteration of the EM and one of the fit
        self.peers = {}
        self.sweeps = []  # seconds of the byte sweep
        self.megabytes = self.file_megabytes = 0.0

    def prepare(self):
        subprocess.run([os.path.join(BUILD, "bench", "generate_cases"), self.case, self.directory],
                       check=True)
        with open(os.path.join(self.directory, "spec")) as variables:
            text = variables.read()
        with open(os.path.join(self.directory, "spec-once"), "w") as variables:
            variables.write(text + "FITERATIONS=1\nITERATIONS=1\n")
        data = os.path.join(self.directory, "data.txt")
        if os.path.exists(data):
            self.file_megabytes = os.path.getsize(data) / 2**20

    def measure_memory(self, limit):
        # Not from the timed runs: a process starts with the peak of the one that it was forked
        # from, and that of time(1) is smaller than Python's.
        empty(self.scratch)
        command = quilmar_command(self.case, "spec")
        if run(["/usr/bin/time", "-o", "memory", "-f", "%M"] + command, self.scratch,
               limit)[1] == STOPPED:
            return
        with open(os.path.join(self.scratch, "memory")) as memory:
            self.megabytes = int(memory.read().split()[-1]) / 1024

    def time_quilmar(self, limit):
        empty(self.scratch)
        seconds, end, _ = run_quilmar(self.case, "spec", self.scratch, limit)
        if not end and not succeeded(self.scratch):
            end = FAILED
        self.quilmar.add(seconds, end)
        if self.case == READING:
            empty(self.scratch)
            self.once.add(*run_quilmar(self.case, "spec-once", self.scratch, limit)[:2])

    def time_peer(self, peer, limit):
        command, result = PEERS[peer]
        timings = self.peers.setdefault(peer, Timings())
        if timings.done():
            return
        empty(self.scratch)
        seconds, end, text = run(command, self.scratch, limit)
        if result is None and not end:
            # R prints the seconds of the call.
            try:
                seconds = float(text.split()[-1])
            except (IndexError, ValueError):
                end = FAILED
        elif not end and not os.path.exists(os.path.join(self.scratch, result)):
            end = FAILED
        timings.add(seconds, end)

    def time_floors(self, limit):
        data = os.path.join(self.directory, "data.txt")
        if not os.path.exists(data):
            return
        empty(self.scratch)
        _, _, text = run([os.path.join(BUILD, "bench", "floors"), data], self.scratch, limit)
        self.sweeps.append(float(text))

    def sweep(self):
        return statistics.median(self.sweeps)

    def ratio(self, peer):
        """quilmar / peer, None when there is none; an upper bound when the peer was stopped."""
        timings = self.peers.get(peer)
        if timings is None or FAILED in (timings.end, self.quilmar.end):
            return None
        return self.quilmar.median() / timings.median()


def installed_peers():
    """Names of the peers that can run here; says which programs are missing."""
    checks = {"plink1": ["plink1", "--noweb", "--help"],
              "Rscript": ["Rscript", "-e", "library(haplo.stats)"]}
    usable = set()
    for program, check in checks.items():
        with tempfile.TemporaryDirectory() as directory:
            if shutil.which(program) and run(check, directory, 60)[1] is None:
                usable.add(program)
            else:
                print(f"Without {program}: not installed, or not with what it needs.")
    return {peer for peer, (command, _) in PEERS.items() if command[0] in usable}


def measure(case, peers, repetitions, limit):
    measured = Measured(case)
    measured.prepare()
    measured.measure_memory(limit)
    for repetition in range(repetitions):
        print(f"{case}: {repetition + 1} of {repetitions}", file=sys.stderr, flush=True)
        measured.time_quilmar(limit)
        for peer in CASES[case]:
            if peer in peers:
                measured.time_peer(peer, limit)
        measured.time_floors(limit)
    return measured


def print_table(title, header, rows):
    print(f"\n{title}\n")
    print("| " + " | ".join(header) + " |")
    print("|" + "---|" * len(header))
    for row in rows:
        print("| " + " | ".join(row) + " |")


def ratio_text(measured, peer):
    ratio = measured.ratio(peer)
    if ratio is None:
        return FAILED if peer in measured.peers else ""
    return ("< " if measured.peers[peer].end == STOPPED else "") + f"{ratio:.3g}"


def sweep_text(measured):
    # Below a MiB the start of the process is all there is to see.
    if measured.file_megabytes < 1:
        return ""
    return f"{measured.quilmar.median() / measured.sweep():.3g}"


def print_ratios(all_measured):
    peers = [p for p in PEERS if any(p in m.peers for m in all_measured)]
    print_table("Seconds of the whole process, peak memory, and ratios quilmar / other.",
                ["case", "quilmar s", "peak MiB"] + peers + ["byte sweep"],
                [[m.case, m.quilmar.text(), f"{m.megabytes:.1f}"]
                 + [ratio_text(m, p) for p in peers] + [sweep_text(m)] for m in all_measured])


def print_seconds(all_measured):
    peers = [p for p in PEERS if any(p in m.peers for m in all_measured)]
    print_table("Seconds.",
                ["case", "quilmar", "quilmar, one iteration"] + peers + ["byte sweep"],
                [[m.case, m.quilmar.text(), m.once.text() if m.once.seconds else ""]
                 + [m.peers[p].text() if p in m.peers else "" for p in peers]
                 + [f"{m.sweep():.6f}" if m.sweeps else ""] for m in all_measured])


def bars_of(measured):
    """Rows of what, value and bar."""
    for peer, bar in CASES[measured.case].items():
        if bar is not None and measured.ratio(peer) is not None:
            yield f"quilmar / {peer}", measured.ratio(peer), bar
    if measured.case == READING:
        # The run with one iteration of each stands for the process without EM and fit.
        yield ("(quilmar - EM and fit) / byte sweep",
               measured.once.median() / measured.sweep(), 6)
        yield "peak MiB", measured.megabytes, 3 * measured.file_megabytes + 64
    if measured.case == "2k-20-missing20":
        yield "quilmar s", measured.quilmar.median(), 60
        yield "peak MiB", measured.megabytes, 1024


def verdict(measured, what, value, bar):
    if measured.quilmar.end:
        return "MISSED"
    if value <= bar:
        return "holds"
    peer = measured.peers.get(what[len("quilmar / "):])
    return "open: the peer was stopped" if peer and peer.end == STOPPED else "MISSED"


def print_bars(all_measured):
    print_table("Bars: the value must not exceed the bar.", ["case", "what", "value", "bar", ""],
                [[m.case, what, f"{value:.3g}", f"{bar:.4g}", verdict(m, what, value, bar)]
                 for m in all_measured for what, value, bar in bars_of(m)])


def kernel_seconds():
    """Runs the kernels and prints a table; per name seconds, of an item where there are such."""
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "kernels.json")
        subprocess.run([os.path.join(BUILD, "bench", "quilmar_bench"), "--benchmark_out=" + path,
                        "--benchmark_enable_random_interleaving=true",
                        "--benchmark_repetitions=5", "--benchmark_report_aggregates_only=true"],
                       check=True, stdout=sys.stderr)
        with open(path) as output:
            rows = [row for row in json.load(output)["benchmarks"]
                    if row.get("aggregate_name") == "median"]
    units = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3}
    table, seconds = [], {}
    for row in sorted(rows, key=lambda row: row["family_index"]):
        time_of_call = row["cpu_time"] * units[row["time_unit"]]
        items, size = row.get("items_per_second"), row.get("bytes_per_second")
        rate = ""
        if items:
            rate = f"{items:.3g} items/s, {1e9 / items:.3g} ns each"
        elif size:
            rate = f"{size / 2**20:.3g} MiB/s"
        table.append([row["run_name"], f"{1e3 * time_of_call:.4g}", rate])
        seconds[row["run_name"]] = 1 / items if items else time_of_call
    print_table("Kernels, medians of processor time; items are subjects or pair visits.",
                ["kernel", "ms", "rate"], table)
    return seconds


def print_kernels():
    seconds = kernel_seconds()
    iteration = "<case_control_ggi_hwqx>/0/1/500000"
    bars = [(f"E-step / listed pairs, {loci} loci",
             seconds[f"e_step/loci:{loci}/missing:0"] / seconds[f"listed_pairs/loci:{loci}"], 1.5)
            for loci in (8, 12, 16)]
    bars += [(f"EM iterations after {before} / at first",
              seconds[f"em_iterations/before:{before}"] / seconds["em_iterations/before:0"], 1.1)
             for before in (100, 1000, 10000)]
    bars.append(("Newton iteration with covariates / its exponentials",
                 (seconds["evaluation" + iteration] + seconds["matrix" + iteration])
                 / seconds["exponentials"], 3))
    print_table("Bars of the kernels.", ["what", "value", "bar", ""],
                [[what, f"{value:.3g}", f"{bar}", "holds" if value <= bar else "MISSED"]
                 for what, value, bar in bars])


def main():
    parser = argparse.ArgumentParser(prog="bench/run")
    parser.add_argument("-r", "--repetitions", type=int, default=5)
    parser.add_argument("-l", "--limit", type=float, default=300, help="seconds per run")
    parser.add_argument("case", nargs="*", help=f"of {' '.join(CASES)}; all when none is named")
    arguments = parser.parse_args()
    unknown = set(arguments.case) - set(CASES)
    if unknown:
        parser.error("no case " + " ".join(sorted(unknown)))

    peers = installed_peers()
    all_measured = [measure(case, peers, arguments.repetitions, arguments.limit)
                    for case in CASES if not arguments.case or case in arguments.case]
    print_ratios(all_measured)
    print_bars(all_measured)
    print_seconds(all_measured)
    print_kernels()


if __name__ == "__main__":
    main()
