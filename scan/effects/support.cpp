#include "scan/effects/support.h"

#include <algorithm>

namespace scan {

double rarer_share(inheritance mode, unsigned which, double p) {
    double const q = 1 - p;
    switch (mode) {
    case RECESSIVE: return std::min(p * p, 1 - p * p);
    case DOMINANT: return std::min(1 - q * q, q * q);
    case CODOMINANT: return which == 0 ? std::min(2 * p * q, q * q) : std::min(p * p, q * q);
    default: return 2 * std::min(p, q);
    }
}

term_support support_of(double expected, window_sample const& sample) {
    return {expected < LEAST_FOR_ESTIMATE,
            expected < LEAST_FOR_WALD || support_of_covariate(sample).is_tested_by_ratio};
}

term_support support_of_covariate(window_sample const& sample) {
    return {false, sample.n_smaller() < LEAST_SHARE * sample.n_subjects};
}

} // namespace scan
