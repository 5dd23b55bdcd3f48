"""Sizes of the studies of bench/scan."""
CHROMOSOME_SNPS = 1000
PART_SNPS = 500  # of the smaller files that slow programs get
COVARIATES = 10
# Subjects, SNPs, share of cases.
CASES = {
    "1k": (1000, 4000, 0.5),
    "3k": (3000, 20000, 0.5),
    "10k": (10000, 4000, 0.5),
    "100k": (100000, 4000, 0.3),
    "500k": (500000, 4000, 0.1),
}
