// The data sets that bench/compare.py times.
#ifndef QUILMAR_BENCH_CASES_H
#define QUILMAR_BENCH_CASES_H

#include "examples/simulation.h"

#include <string>
#include <vector>

struct bench_case {
    char const* name;
    unsigned subjects; // half of them controls, the controls first
    unsigned snps;
    double missing;          // share of genotypes
    double rho = 0;          // positive: the analysis is under disequilibrium
    bool covariates = false; // a binary and a normal one, the second in an interaction
    unsigned windows = 1;    // genes of the same subjects, analysed as a directory of files
};

// All cases, in the order of the table.
std::vector<bench_case> const& bench_cases();

// Design of a window: random founder haplotypes, an effect of the second most frequent one.
simulation design_of(bench_case const& c, unsigned window);

// Text of the quilmar data file of a window.
std::string data_of(bench_case const& c, unsigned window);

// Text of the variable specification file: the haplotype, covariates and interaction of the
// simulation, as far as the case has them.
std::string variables_of(bench_case const& c);

#endif
