// Seeded simulation of case-control data under the retrospective haplotype model, for the examples,
// the tests and the benchmarks. The same seed gives the same data on every platform.
#ifndef QUILMAR_EXAMPLES_SIMULATION_H
#define QUILMAR_EXAMPLES_SIMULATION_H

#include "ggi/settings.h"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

// Uniform numbers; the distributions of the standard library differ between implementations.
struct uniform {
    std::mt19937_64 engine;

    explicit uniform(std::uint64_t seed) : engine(seed) {}
    // In [0, 1), with 53 random bits.
    double operator()() { return static_cast<double>(engine() >> 11) * 0x1p-53; }
};

struct simulated_haplotype {
    unsigned code; // over all loci, the first one in the most significant bit
    double frequency;
};

// A term of the log odds: beta times the coding of the pair at the genes, under the codominant mode
// plus homozygous times 1 when the pair is homozygous at all of them. An interaction multiplies the
// coding by a covariate.
struct simulated_term {
    std::vector<int> subhaplotypes; // one per gene, -1 where the gene takes no part
    double beta;
    double homozygous = 0;
    unsigned covariate = 0; // of an interaction
};

struct simulated_covariate {
    double prevalence; // of the value 1 among controls; 0 for a standard normal covariate
    double main_effect;
};

struct simulation {
    std::vector<unsigned> gene_loci;
    std::vector<simulated_haplotype> haplotypes;
    std::vector<simulated_term> effects;
    unsigned controls;
    unsigned cases;
    double missing; // probability of a genotype being unknown
    double rho;     // probability that a subject's two haplotypes are copies of one
    inheritance mode = ADDITIVE;
    std::vector<simulated_covariate> covariates = {};
    std::vector<simulated_term> interactions = {};
    std::vector<simulated_term> associations = {}; // shifts of a covariate in the population: of
                                                   // its log odds, or of its mean when it is normal

    unsigned n_loci() const;
};

// Lines of a data file: "ID STATUS SNP1 SNP2 ... ENV1 ...", then the subjects, controls first.
//
// A control has the pair (i, j) with probability (1 - rho) f_i f_j, and rho f_i in addition when
// i = j, and covariates independent of each other and, without associations, of the pair. Cases
// have the same joint distribution weighted by the odds exp(effects + main effects + interactions).
std::string simulate(simulation const& design, std::uint64_t seed);

// The examples: two genes of 3 and 4 SNPs in equilibrium, one gene of 4 SNPs with rho = 0.1, and
// one gene of 3 SNPs with a binary and a normal covariate and an interaction.
simulation two_genes();
simulation inbred();
simulation exposed();

#endif
