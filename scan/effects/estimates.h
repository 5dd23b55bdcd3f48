// From a fitted log-likelihood to the numbers of a table's rows.
#ifndef QUILMAR_SCAN_EFFECTS_ESTIMATES_H
#define QUILMAR_SCAN_EFFECTS_ESTIMATES_H

#include "scan/effects/support.h"
#include "scan/score/p_type.h"

#include "ggi/engine/safeguarded_fit.h"

#include <limits>
#include <string>
#include <vector>

namespace scan {

enum class effect_code {
    none,
    infinite,           // the likelihood rises to the end of the scale
    infinite_penalised, // so does it, and finite bound and ratio are those of the penalised one
    penalised,          // too few copies: all numbers are those of the penalised likelihood
    not_identifiable,   // cannot be told apart from other parameters
    no_convergence,     // the fit failed
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
    double log_ratio_p = NONE; // ln p of the likelihood ratio
    double log_p = NONE;       // ln p of z or of the likelihood ratio:
    p_type type = p_type::none;
    effect_code code = effect_code::none;
};

// The code, and no number.
effect_estimate failed_estimate(effect_code code);

// Takes P from the likelihood ratio, or from z if there is one and the support suffices for it.
void choose_p(term_support support, effect_estimate& e);

// A parameter that has a row.
struct reported_parameter {
    unsigned index;
    double unit; // beta is the parameter divided by it
    term_support support;
};

// Fits the model from x and estimates the given parameters; level: that of the intervals. x receives
// the estimates, infinite ones cut.
std::vector<effect_estimate> estimate_effects(safeguarded_model const& model,
                                              std::vector<reported_parameter> const& reported,
                                              double level, double* x);

} // namespace scan

#endif
