// Maximum-likelihood haplotype frequencies of a window under Hardy-Weinberg equilibrium, in all of
// its subjects.
#ifndef QUILMAR_SCAN_SCORE_HAPLOTYPES_H
#define QUILMAR_SCAN_SCORE_HAPLOTYPES_H

#include "scan/score/expectation.h"
#include "scan/score/phases.h"
#include "scan/score/quasi_newton.h"

#include "ggi/engine/em.h"

#include <cstdint>
#include <vector>

namespace scan {

// The maximum that EM leads to from equal frequencies. Reused from window to window, so that it does
// not allocate.
class frequency_estimate {
  public:
    // False if the iteration did not converge, or the list of phases is too long. The genotypes
    // have subjects, and are not referred to afterwards.
    bool run(std::vector<genotype_count> const& genotypes, unsigned n_snps);

    // Pairs of the genotypes and what belongs to them at the maximum. Haplotypes that are not listed
    // have the frequency 0.
    phases const& list() const { return list_; }
    expectation<double> const& at_maximum() const { return expected_; }
    double frequency(std::size_t h) const { return expected_.value(static_cast<phases::side>(h)); }

  private:
    phases list_;
    expectation<double> expected_{list_};
    quasi_newton ascent_;
    std::vector<double> roots_; // square roots of the frequencies, by haplotype
    double chromosomes_ = 0;
    unsigned n_snps_ = 0;
    // Of all haplotypes of a long window, by bits.
    std::vector<double> all_, ratios_;
    std::vector<std::uint32_t> kept_;
    genotype_sides sides_;

    bool is_long() const;
    void start(std::vector<genotype_count> const& genotypes);
    void start_long(std::vector<genotype_count> const& genotypes);
    bool climb();
    bool raise_any(std::vector<genotype_count> const& genotypes);
    bool raise_unlisted(std::vector<genotype_count> const& genotypes);
    void expect_all(std::vector<genotype_count> const& genotypes);
    void finish();
};

// The same by the haplotype's bits: `frequencies` receives 2^n_snps values.
bool estimate_frequencies(std::vector<genotype_count> const& genotypes, unsigned n_snps,
                          std::vector<double>& frequencies);

} // namespace scan

#endif
