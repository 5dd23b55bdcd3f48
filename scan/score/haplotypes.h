// Haplotype frequencies of a window and the copies that its genotypes are expected to carry; the one
// place that calls the library.
#ifndef QUILMAR_SCAN_SCORE_HAPLOTYPES_H
#define QUILMAR_SCAN_SCORE_HAPLOTYPES_H

#include "scan/score/genotype_table.h"

#include "ggi/engine/em.h"

#include <cstdint>
#include <vector>

namespace scan {

// Maximum-likelihood frequencies under Hardy-Weinberg equilibrium, by EM, in all subjects of the
// genotypes: `frequencies` receives 2^n_snps values by the haplotype's bits. False if the iteration
// did not converge.
bool estimate_frequencies(std::vector<genotype_count> const& genotypes, unsigned n_snps,
                          std::vector<double>& frequencies);

// Expected copies of chosen haplotypes given a genotype; reused, so that it does not allocate.
class expected_copies {
  public:
    // copies[t] = E(copies of haplotype bits[t] | g) under the frequencies.
    void compute(genotype_count const& g, std::vector<double> const& frequencies,
                 std::vector<std::uint32_t> const& bits, double* copies);

  private:
    genotype_sides sides_;
    std::vector<double> ratios_; // by bits; 0 between the calls
};

} // namespace scan

#endif
