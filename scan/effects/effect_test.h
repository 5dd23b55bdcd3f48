// Estimates the effects of a window's haplotypes.
#ifndef QUILMAR_SCAN_EFFECTS_EFFECT_TEST_H
#define QUILMAR_SCAN_EFFECTS_EFFECT_TEST_H

#include "scan/effects/input.h"
#include "scan/effects/terms.h"
#include "scan/score/null_model.h"

#include <cstdint>
#include <vector>

namespace scan {

struct effect_result {
    unsigned obs = 0, cases = 0; // subjects
    std::vector<effect_row> rows;
};

// Refers to input and model; may be used by one thread at a time.
class effect_test {
  public:
    effect_test(effect_input const& input, null_model const& model)
        : input_(input), model_(model) {}

    // Does a window with this result of the score test get rows?
    bool wants(window_row const& tested) const;

    // rows as for window_test, whose result is `tested`.
    void run(std::vector<std::uint8_t const*> const& rows, window_row const& tested,
             effect_result& result);

    // Bytes that it takes for so many subjects and columns of the design.
    static double bytes(double n_subjects, double n_columns) {
        // A subject has its key, weight, sign, linear predictor and covariates.
        return n_subjects * (56 + 8 * n_columns);
    }

  private:
    effect_input const& input_;
    null_model const& model_;
    std::vector<double> frequencies_; // by bits

    void estimate(window_sample const& sample, supported_haplotypes const& haplotypes,
                  haplotype_terms const& terms, std::vector<effect_row>& rows) const;
};

} // namespace scan

#endif
