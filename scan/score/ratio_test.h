// The retrospective likelihood-ratio test of chosen haplotypes of a window, and their log odds ratios.
#ifndef QUILMAR_SCAN_SCORE_RATIO_TEST_H
#define QUILMAR_SCAN_SCORE_RATIO_TEST_H

#include "scan/score/group_frequencies.h"
#include "scan/score/haplotypes.h"
#include "scan/score/odds_ratios.h"

#include <cstddef>
#include <vector>

namespace scan {

struct window_row;

// Reused from window to window; refers to the estimate.
class ratio_test {
  public:
    explicit ratio_test(frequency_estimate const& pooled)
        : pooled_(pooled), groups_(pooled.list()), without_(pooled.list()) {}

    // tested: indices in the pooled estimate's list, the most frequent first, which is the reference.
    // The other haplotypes have one effect together if rare_has_effect, else the reference's. Fills
    // the row's haplotypes and its omnibus test. False if the iteration did not converge.
    bool run(std::vector<genotype_count> const& genotypes, by_group subjects,
             std::vector<std::size_t> const& tested, bool rare_has_effect, window_row& row);

  private:
    frequency_estimate const& pooled_;
    group_frequencies groups_, without_; // without a haplotype's effect
    odds_ratio_errors errors_;
    std::vector<std::size_t> effects_; // by haplotype of the list
    std::vector<by_group> start_;
    double log_likelihood_ = 0;           // with all effects
    std::vector<double> standard_errors_; // by effect

    void set_effects(std::vector<std::size_t> const& tested, bool rare_has_effect);
    void set_haplotypes(std::vector<std::size_t> const& tested, window_row& row) const;
    bool test_few(std::vector<std::size_t> const& tested, std::size_t n_effects, by_group subjects,
                  window_row& row);
};

} // namespace scan

#endif
