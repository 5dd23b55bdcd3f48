#!/usr/bin/env python3
"""Simulates the example study of quilmar-scan into the current directory (standard library, seed 7).

800 subjects of two populations, 300 SNPs on chromosome 21 and 300 on chromosome 22 in blocks of 6 SNPs.
In a block a population has 6 haplotypes with frequencies of its own; from one block to the next a
chromosome keeps its founder with probability 0.6. Each copy of the second haplotype of the 26th block of
chromosome 22 (22:30450000 to 22:30465000) multiplies the odds of disease by exp(0.7); the second
population has more disease for other reasons (exp(0.8)), and so have the old (exp(0.04) a year). No single
SNP tells that haplotype from all others. 1.5% of the genotypes, some phenotypes and some ages are missing.
"""
import math
import random

RANDOM = random.Random(7)
SUBJECTS, BLOCKS, BLOCK_SNPS, FOUNDERS = 800, 50, 6, 6
CAUSAL_CHROMOSOME, CAUSAL_BLOCK, CAUSAL_FOUNDER = 22, 25, 1


def founders():
    """Different haplotypes of a block, as lists of 0 and 1."""
    while True:
        found = [[int(RANDOM.random() < 0.4) for _ in range(BLOCK_SNPS)] for _ in range(FOUNDERS)]
        distinct = len({tuple(h) for h in found}) == FOUNDERS
        if distinct and all(0 < sum(h[l] for h in found) < FOUNDERS for l in range(BLOCK_SNPS)):
            return found


def frequencies(around, spread):
    """Frequencies that vary around given ones."""
    draws = [RANDOM.gammavariate(spread * f, 1) + 1e-3 for f in around]
    return [d / sum(draws) for d in draws]


def draw_chromosome(blocks, population):
    """Founder of each block."""
    line, current = [], None
    for block in blocks:
        if current is None or RANDOM.random() > 0.6:
            current = RANDOM.choices(range(FOUNDERS), block["frequencies"][population])[0]
        line.append(current)
    return line


def draw_subject(genome):
    population = int(RANDOM.random() < 0.4)
    pairs = {c: (draw_chromosome(b, population), draw_chromosome(b, population))
             for c, b in genome.items()}
    age = RANDOM.randint(35, 75)
    copies = sum(line[CAUSAL_BLOCK] == CAUSAL_FOUNDER for line in pairs[CAUSAL_CHROMOSOME])
    log_odds = -1.6 + 0.7 * copies + 0.8 * population + 0.04 * (age - 55)
    return {"population": population, "pairs": pairs, "age": age, "sex": RANDOM.randint(1, 2),
            "is_case": RANDOM.random() < 1 / (1 + math.exp(-log_odds))}


def draw_study(genome):
    """Equally many cases and controls in random order."""
    groups = {True: [], False: []}
    while min(map(len, groups.values())) < SUBJECTS // 2:
        subject = draw_subject(genome)
        if len(groups[subject["is_case"]]) < SUBJECTS // 2:
            groups[subject["is_case"]].append(subject)
    study = groups[True] + groups[False]
    RANDOM.shuffle(study)
    return study


def write_genotypes(genome, study):
    """.bed: two bits a subject, 00 two copies of the first allele, 10 one, 11 none, 01 missing."""
    with open("study.bed", "wb") as bed, open("study.bim", "w") as bim:
        bed.write(bytes([0x6C, 0x1B, 0x01]))
        for chromosome, blocks in genome.items():
            for l in range(BLOCKS * BLOCK_SNPS):
                block, snp = divmod(l, BLOCK_SNPS)
                first, second = RANDOM.sample("ACGT", 2)
                bim.write(f"{chromosome}\tsnp{chromosome}_{l + 1}\t0\t{30000000 + 3000 * l}\t{first}\t{second}\n")
                row = bytearray((SUBJECTS + 3) // 4)
                for s, subject in enumerate(study):
                    copies = sum(blocks[block]["founders"][line[block]][snp]
                                 for line in subject["pairs"][chromosome])
                    code = 1 if RANDOM.random() < 0.015 else (3, 2, 0)[copies]
                    row[s // 4] |= code << 2 * (s % 4)
                bed.write(row)


def write_subjects(study):
    with open("study.fam", "w") as fam, open("pheno.txt", "w") as pheno, open("covar.txt", "w") as covar:
        pheno.write("#FID\tIID\tT2D\n")
        covar.write("FID\tIID\tage\tsex\tPC1\tPC2\tPC3\tPC4\tcentre\n")
        for s, subject in enumerate(study):
            name = f"F{s + 1}\tP{s + 1}"
            fam.write(f"{name}\t0\t0\t{subject['sex']}\t-9\n")
            status = "NA" if RANDOM.random() < 0.01 else 1 + subject["is_case"]
            pheno.write(f"{name}\t{status}\n")
            components = [RANDOM.gauss(1.5 * subject["population"], 0.3)]
            components += [RANDOM.gauss(0, 1) for _ in range(3)]
            age = "NA" if RANDOM.random() < 0.01 else subject["age"]
            centre = RANDOM.choice(["north", "south", "west"])
            covar.write(f"{name}\t{age}\t{subject['sex']}\t" +
                        "\t".join(f"{c:.4f}" for c in components) + f"\t{centre}\n")


def main():
    genome = {}
    for chromosome in (21, 22):
        genome[chromosome] = []
        for _ in range(BLOCKS):
            base = frequencies([1 / FOUNDERS] * FOUNDERS, 12)
            genome[chromosome].append({"founders": founders(),
                                       "frequencies": [frequencies(base, 40) for _ in range(2)]})
    study = draw_study(genome)
    write_genotypes(genome, study)
    write_subjects(study)


main()
