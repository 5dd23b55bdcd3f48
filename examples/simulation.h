// Seeded simulation of case-control data under the retrospective haplotype model, for the examples,
// the tests and the benchmarks. The same seed gives the same data on every platform.
#ifndef QUILMAR_EXAMPLES_SIMULATION_H
#define QUILMAR_EXAMPLES_SIMULATION_H

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

// A haplotype effect: beta times the number of copies, with several genes the product of the
// copies.
struct simulated_effect {
    std::vector<int> subhaplotypes; // one per gene, -1 where the gene takes no part
    double beta;
};

struct simulation {
    std::vector<unsigned> gene_loci;
    std::vector<simulated_haplotype> haplotypes;
    std::vector<simulated_effect> effects;
    unsigned controls;
    unsigned cases;
    double missing; // probability of a genotype being unknown
    double rho;     // probability that a subject's two haplotypes are copies of one

    unsigned n_loci() const;
};

// Lines of a data file: "ID STATUS SNP1 SNP2 ...", then the subjects, controls first. A subject's
// pair of haplotypes is drawn from its distribution given the status: for controls (1 - rho) f_i
// f_j, and rho f_i in addition when i = j; for cases the same weighted by exp(sum of beta z).
std::string simulate(simulation const& design, std::uint64_t seed);

// The examples: two genes of 3 and 4 SNPs in equilibrium, and one gene of 4 SNPs with rho = 0.1.
simulation two_genes();
simulation inbred();

#endif
