// What is estimated in the windows that the scan finds.
#ifndef QUILMAR_SCAN_EFFECTS_SETTINGS_H
#define QUILMAR_SCAN_EFFECTS_SETTINGS_H

#include "ggi/settings.h"

#include <optional>
#include <string>

namespace scan {

enum class effect_model { prospective, retrospective };

struct effect_settings {
    std::optional<double> most_p = 1e-4; // windows with at most this P get rows; none for no window
    effect_model model = effect_model::prospective;
    inheritance mode = ADDITIVE;
    hardy_weinberg hw = EQUILIBRIUM; // of the retrospective model
    std::string interaction;         // covariate, empty for none
    bool is_independent = false;     // haplotypes and that covariate, in the population
    bool is_vs_rest = false;         // one haplotype at a time against all others
    bool shows_covariates = false;
    double level = 0.95; // of the intervals
};

} // namespace scan

#endif
