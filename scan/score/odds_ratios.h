// Standard errors of the log odds ratios of haplotypes from the information of controls and cases.
#ifndef QUILMAR_SCAN_SCORE_ODDS_RATIOS_H
#define QUILMAR_SCAN_SCORE_ODDS_RATIOS_H

#include "scan/score/group_frequencies.h"

#include <cstddef>
#include <vector>

namespace scan {

// Reused from window to window.
class odds_ratio_errors {
  public:
    // Haplotype h of the list has the effect effects[h] of n_effects, of which effect 0 is the
    // reference and the vanished haplotypes of a group may be any. errors[e] receives the standard
    // error of effect e > 0; not a number where it has none: the effect is infinite, or the genotypes
    // do not determine it.
    void run(phases const& list, std::vector<genotype_count> const& genotypes,
             group_frequencies const& groups, by_group subjects,
             std::vector<std::size_t> const& effects, std::size_t n_effects,
             std::vector<double>& errors);

  private:
    static constexpr std::uint32_t ABSENT = ~std::uint32_t{0};
    struct leaf {
        std::uint32_t place;
        by_group copies;
    };

    std::vector<std::uint32_t> place_;  // of a haplotype in the matrices, or ABSENT
    std::vector<std::uint32_t> leaves_; // haplotypes of the sums, one sum after the other
    std::vector<std::size_t> first_leaf_;
    std::size_t n_ = 0;
    std::vector<by_group> information_; // n x n, lower triangle
    std::vector<leaf> local_;
    std::vector<double> factor_, cases_, by_effect_;
    std::vector<by_group> totals_;               // frequencies, by effect
    std::vector<std::uint32_t> finite_, column_; // places in by_effect_, by effect and haplotype

    void place_haplotypes(phases const& list, group_frequencies const& groups);
    void list_leaves(phases const& list);
    by_group& information(std::uint32_t i, std::uint32_t j);
    void subtract_covariances(phases const& list, std::vector<genotype_count> const& genotypes,
                              group_frequencies const& groups);
    void subtract_side(phases::side s, by_group count, group_frequencies const& groups);
    void subtract_pairs(phases::side_pair const* pairs, std::size_t n_pairs, by_group count,
                        group_frequencies const& groups);
    void add_leaves(phases::side s, by_group copies, group_frequencies const& groups);
    void subtract_local(by_group count);
    void factorise();
    std::size_t find_finite(group_frequencies const& groups,
                            std::vector<std::size_t> const& effects, std::size_t n_effects);
    void collect(std::vector<std::size_t> const& effects, std::size_t m);
};

} // namespace scan

#endif
