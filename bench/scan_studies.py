"""Draws a study of bench/scan, PLINK files and covariates, from a seed: scan_studies.py FOLDER CASE

3,000 founder chromosomes of 6.5 Mb by scrm (Ne 10,000, mutations 1.25e-8, recombinations 1e-8): SNPs some
5 kb apart with minor alleles of 5 % and more, and 30 % of those of 1 to 5 %. A subject's chromosomes are
mosaics of founders that change every 40 SNPs; 0.5 % of the genotypes are missing. Further chromosomes of a
study are drawn anew from the same founders. Status and covariates depend on nothing.
"""
import os
import subprocess
import sys

import numpy

from scan_sizes import CASES, CHROMOSOME_SNPS, COVARIATES, PART_SNPS

LENGTH, MOSAIC_SNPS, MISSING = 6_500_000, 40, 0.005


def founders(folder):
    """3,000 x CHROMOSOME_SNPS alleles and the SNPs' positions."""
    path = os.path.join(folder, "founders.npz")
    if not os.path.exists(path):
        command = ["scrm", "3000", "1", "-t", str(4e4 * 1.25e-8 * LENGTH),
                   "-r", str(4e4 * 1e-8 * LENGTH), str(LENGTH), "-l", "100000", "-seed", "11"]
        lines = subprocess.run(command, capture_output=True, text=True, check=True).stdout.split("\n")
        at = next(k for k, line in enumerate(lines) if line.startswith("positions"))
        places = numpy.array(lines[at].split()[1:], float) * LENGTH
        alleles = numpy.array([numpy.frombuffer(line.encode(), numpy.uint8) - 48
                               for line in lines[at + 1:] if line and line[0] in "01"])
        random = numpy.random.default_rng(1)
        share = alleles.mean(0)
        share = numpy.minimum(share, 1 - share)
        usable = (share >= 0.05) | ((share >= 0.01) & (random.random(len(share)) < 0.3))
        chosen = []
        for snp in numpy.flatnonzero(usable):
            if not chosen or places[snp] - places[chosen[-1]] >= random.exponential(5000):
                chosen.append(snp)
        chosen = chosen[:CHROMOSOME_SNPS]
        if len(chosen) < CHROMOSOME_SNPS:
            raise SystemExit(f"scrm gave only {len(chosen)} SNPs.")
        numpy.savez(path, alleles=alleles[:, chosen], places=places[chosen].astype(int))
    stored = numpy.load(path)
    return stored["alleles"], stored["places"]


def pack(codes):
    """Rows of a .bed from codes by subject and SNP."""
    padded = numpy.zeros((codes.shape[1], (codes.shape[0] + 3) // 4 * 4), numpy.uint8)
    padded[:, :codes.shape[0]] = codes.T
    quarters = padded.reshape(codes.shape[1], -1, 4)
    return (quarters[:, :, 0] | quarters[:, :, 1] << 2 | quarters[:, :, 2] << 4
            | quarters[:, :, 3] << 6)


def write_bed(path, n_subjects, n_snps, alleles, random):
    code_of_copies = numpy.array([3, 2, 0], numpy.uint8)
    with open(path, "wb") as bed:
        bed.write(b"\x6c\x1b\x01")
        for first in range(0, n_snps, MOSAIC_SNPS):
            start = first % CHROMOSOME_SNPS
            piece = numpy.ascontiguousarray(alleles[:, start:start + MOSAIC_SNPS])
            copies = (piece[random.integers(0, len(piece), n_subjects)]
                      + piece[random.integers(0, len(piece), n_subjects)])
            codes = code_of_copies[copies]
            codes[random.random(codes.shape, numpy.float32) < MISSING] = 1
            bed.write(pack(codes).tobytes())


def draw(folder, case):
    """FOLDER/CASE.* and FOLDER/CASE.part.*, the first PART_SNPS SNPs; CASE.done comes last."""
    n_subjects, n_snps, case_share = CASES[case]
    prefix = os.path.join(folder, case)
    os.makedirs(folder, exist_ok=True)
    alleles, places = founders(folder)
    random = numpy.random.default_rng(n_subjects)
    write_bed(prefix + ".bed", n_subjects, n_snps, alleles, random)
    bim = [f"{k // CHROMOSOME_SNPS + 1}\ts{k}\t0\t{places[k % CHROMOSOME_SNPS]}\tA\tC\n"
           for k in range(n_snps)]
    statuses = 1 + (random.random(n_subjects) < case_share)
    fam = [f"f{i} i{i} 0 0 1 {s}\n" for i, s in enumerate(statuses)]
    with open(prefix + ".bed", "rb") as bed, open(prefix + ".part.bed", "wb") as part:
        part.write(bed.read(3 + PART_SNPS * ((n_subjects + 3) // 4)))
    for start, snps in ((prefix, bim), (prefix + ".part", bim[:PART_SNPS])):
        with open(start + ".bim", "w") as file:
            file.writelines(snps)
        with open(start + ".fam", "w") as file:
            file.writelines(fam)
    with open(prefix + ".covar", "w") as file:
        file.write("#FID\tIID\t" + "\t".join(f"C{k}" for k in range(COVARIATES)) + "\n")
        for i, values in enumerate(random.normal(size=(n_subjects, COVARIATES))):
            file.write(f"f{i}\ti{i}\t" + "\t".join(f"{x:.4f}" for x in values) + "\n")
    open(prefix + ".done", "w").close()


if __name__ == "__main__":
    draw(sys.argv[1], sys.argv[2])
