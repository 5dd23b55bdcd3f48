#include "scan/effects/support.h"

#include "scan/score/copies.h"

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
    return {!is_enough(expected, LEAST_FOR_ESTIMATE),
            takes_ratio(expected, sample.n_smaller(), sample.n_subjects)};
}

term_support support_of_covariate(window_sample const& sample) {
    return {false, is_small_group(sample.n_smaller(), sample.n_subjects)};
}

} // namespace scan
