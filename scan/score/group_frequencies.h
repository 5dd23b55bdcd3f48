// Maximum-likelihood haplotype frequencies of controls and cases under Hardy-Weinberg equilibrium in
// each group, where haplotypes with one effect have the same shares of it in both.
#ifndef QUILMAR_SCAN_SCORE_GROUP_FREQUENCIES_H
#define QUILMAR_SCAN_SCORE_GROUP_FREQUENCIES_H

#include "scan/score/expectation.h"
#include "scan/score/quasi_newton.h"

#include <cstddef>
#include <vector>

namespace scan {

// Reused from window to window.
class group_frequencies {
  public:
    explicit group_frequencies(phases const& list) : expected_(list) {}

    // From the frequencies `start` up to the maximum, of which the log-likelihood is predicted to be
    // within `gain`. effects: by haplotype of the list, below n_effects; an effect may have no
    // haplotypes. False if the iteration did not converge.
    bool run(std::vector<by_group> const& start, std::vector<std::size_t> const& effects,
             std::size_t n_effects, by_group subjects, double gain);

    // The maximum. Frequencies of haplotypes that vanish there are 0.
    expectation<by_group> const& at_maximum() const { return expected_; }
    by_group frequency(std::size_t h) const {
        return expected_.value(static_cast<phases::side>(h));
    }
    // Expected copies of a haplotype in the groups.
    by_group copies(std::size_t h) const { return frequency(h) * expected_.derivatives()[h]; }
    double log_likelihood() const {
        by_group const l = expected_.log_likelihood();
        return l[0] + l[1];
    }

  private:
    expectation<by_group> expected_;
    quasi_newton ascent_;
    // Haplotypes by effect, those of effect e from first_[e] to first_[e + 1].
    std::vector<std::size_t> members_, first_;
    std::vector<double> x_; // v of controls, v of cases, then u of effects with several haplotypes
    std::vector<double> excess_;   // by coordinate: df/dx = x excess / 2
    by_group chromosomes_, share_; // 2 N_d, and N_d / N

    std::size_t n_effects() const { return first_.size() - 1; }
    void list_members(std::vector<std::size_t> const& effects, std::size_t n_effects);
    void place(std::vector<by_group> const& start);
    void set_frequencies(double const* x);
    void find_excess(double const* x);
    void finish();
    bool leave_bounds();
};

} // namespace scan

#endif
