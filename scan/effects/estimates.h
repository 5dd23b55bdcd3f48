// From a fitted term to the numbers of a table's row.
#ifndef QUILMAR_SCAN_EFFECTS_ESTIMATES_H
#define QUILMAR_SCAN_EFFECTS_ESTIMATES_H

#include "scan/effects/support.h"
#include "scan/score/p_type.h"

#include "ggi/engine/term_estimates.h"

#include <limits>
#include <string>

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

// What is asked of the fit for a term with this support, as in term_request.
unsigned requests_of(term_support support);

// Of a fitted term; quantile: of the normal distribution, for the interval. With the penalty where it
// is sparse, but for an infinite estimate.
effect_estimate estimate_of(fitted_term const& term, term_support support, double quantile);

} // namespace scan

#endif
