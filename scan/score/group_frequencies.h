// Maximum-likelihood haplotype frequencies of controls and cases under Hardy-Weinberg equilibrium in
// each group, where the haplotypes of one class have the same shares of the class in both.
#ifndef QUILMAR_SCAN_SCORE_GROUP_FREQUENCIES_H
#define QUILMAR_SCAN_SCORE_GROUP_FREQUENCIES_H

#include "scan/score/expectation.h"
#include "scan/score/haplotypes.h"
#include "scan/score/quasi_newton.h"

#include <cstddef>
#include <vector>

namespace scan {

// Reused from window to window.
class group_frequencies {
  public:
    explicit group_frequencies(phases const& list) : expected_(list) {}

    // From the estimate in all subjects, of the phases given to the constructor, up to the maximum.
    // in_class: by haplotype of the list; the class is not empty. False if the iteration did not
    // converge.
    bool run(frequency_estimate const& pooled, std::vector<bool> const& in_class,
             by_group subjects);

    // The maximum. Frequencies of haplotypes that vanish there are 0.
    expectation<by_group> const& at_maximum() const { return expected_; }
    by_group frequency(std::size_t h) const {
        return expected_.value(static_cast<phases::side>(h));
    }
    // Expected copies of a haplotype in the groups.
    by_group copies(std::size_t h) const { return frequency(h) * expected_.derivatives()[h]; }

  private:
    expectation<by_group> expected_;
    quasi_newton ascent_;
    std::vector<std::size_t> own_, class_; // haplotypes outside and in the class
    // Square roots of N_d / N times the own frequencies of group d, controls first, of the class's
    // frequencies in controls, and at last beta, scaled.
    std::vector<double> x_;
    by_group chromosomes_, share_; // 2 N_d, and N_d / N
    double beta_scale_ = 1;

    void start(frequency_estimate const& pooled, std::vector<bool> const& in_class);
    void set_frequencies(double const* x);
    void gradient(double const* x, double* g);
    by_group excess(std::size_t h) const;
    double class_excess(std::size_t h, double odds) const;
    bool raise_any();
    void finish();
};

} // namespace scan

#endif
