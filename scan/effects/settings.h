// What is estimated in the windows that the scan finds.
#ifndef QUILMAR_SCAN_EFFECTS_SETTINGS_H
#define QUILMAR_SCAN_EFFECTS_SETTINGS_H

#include "ggi/settings.h"

#include <string>

namespace scan {

enum class effect_windows {
    none,
    leads, // the best window of each locus
    most_p // those with at most a P
};

enum class effect_model { prospective, retrospective };

struct effect_settings {
    effect_windows windows = effect_windows::leads; // get rows
    double most_p = 1;                              // of most_p
    double kb = 500; // most distance of a window from the lead that stands for it
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
