// From a fitted log-likelihood to the numbers of a table's rows.
#ifndef QUILMAR_SCAN_EFFECTS_ESTIMATES_H
#define QUILMAR_SCAN_EFFECTS_ESTIMATES_H

#include "ggi/engine/safeguarded_fit.h"

#include <limits>
#include <string>
#include <vector>

namespace scan {

enum class effect_code {
    none,
    infinite,           // the likelihood rises to the end of the scale
    infinite_penalised, // so does it, and the finite bound is that of the penalised profile
    penalised,        // too few copies: the interval is the profile one of the penalised likelihood
    not_identifiable, // cannot be told apart from other parameters
    no_convergence,   // the fit failed
    too_many_haplotypes // there was none
};

// "." for none, else INFINITE and so on.
std::string text(effect_code code);

// Numbers that are not computed are nan.
struct effect_estimate {
    static constexpr double NONE = std::numeric_limits<double>::quiet_NaN();
    double beta = NONE, standard_error = NONE;
    double lower = NONE, upper = NONE; // bounds of the interval for beta
    double z = NONE;
    double log_p = NONE;       // of z; of the likelihood ratio where there is no z
    double log_ratio_p = NONE; // of the likelihood ratio
    effect_code code = effect_code::none;
};

// The code, and no number.
effect_estimate failed_estimate(effect_code code);

// A parameter that has a row.
struct reported_parameter {
    unsigned index;
    double unit;    // beta is the parameter divided by it
    bool is_sparse; // too few copies for an interval without a penalty
};

// Expected copies in the smaller group below which a term is sparse.
constexpr double LEAST_COPIES = 10;

// Fits the model from x and estimates the given parameters; level: that of the intervals. x receives
// the estimates, infinite ones cut.
std::vector<effect_estimate> estimate_effects(safeguarded_model const& model,
                                              std::vector<reported_parameter> const& reported,
                                              double level, double* x);

} // namespace scan

#endif
