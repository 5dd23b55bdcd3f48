// What is reported of a term of a fit, that is of a sum of its parameters: the estimate or what there
// is in place of one, the standard error, the likelihood-ratio test and the intervals.
//
//   term       b = a'x,  such as an effect at covariate 0 in a fit to centred covariates
//   own fit    with y_k = x_k + sum over l of (a_l / a_k) x_l in place of x_k, for the k with the largest
//              a_k, the term is a_k y_k, and a parameter like any other
//
// Where all parameters of the sum are finite, so is the term. If not, it is fitted as a parameter: a
// sum of two that run to infinity can be finite, as the effect at covariate 0 beside an infinite
// interaction. A term that runs although the log-likelihood is as high with b = 0 is not identifiable:
// it is the difference of two that run, and any value of it does.
#ifndef QUILMAR_GGI_ENGINE_TERM_ESTIMATES_H
#define QUILMAR_GGI_ENGINE_TERM_ESTIMATES_H

#include "ggi/engine/profile.h"

#include <vector>

// What is computed of a term beside estimate and standard error; may be added up.
enum term_request : unsigned {
    RATIO = 1,          // likelihood-ratio test that it is 0
    INTERVAL = 2,       // profile interval
    PENALISED = 4,      // all of it with the log-F(1,1) penalty
    INFINITE_BOUND = 8, // profile interval if the term is infinite
};

struct requested_term {
    std::vector<double> a; // by parameter
    unsigned parameter;    // that the penalty is on
    unsigned requests;
};

enum class term_end { finite, minus_infinity, plus_infinity, not_identifiable, undecided };

// undecided: its own fit has failed. What has not been asked for, cannot be had or has failed is not a number.
struct fitted_term {
    term_end end;
    double estimate; // infinite where the maximum is
    double standard_error;
    double ratio;        // chi-square with one degree of freedom
    double lower, upper; // of the profile interval; where the term is infinite, one of them is
    // With the penalty: estimate, standard error from the penalised information, twice the penalised
    // log-likelihood above the one with the term 0, where the penalty stays on the others (chi-square
    // with one degree of freedom), and profile interval.
    double penalised, penalised_error, penalised_ratio, penalised_lower, penalised_upper;
};

// The maximum of a model and what is reported of it.
struct term_estimates {
    bool has_succeeded; // else there is nothing else but the outcome
    safeguarded_outcome outcome;
    std::vector<double> x, V; // estimates and their covariance, p x p
    std::vector<fitted_term> terms;
};

// Estimates the terms, in their order, of a fit whose covariance is V; quantile: of the normal
// distribution, for the intervals. The penalty is on the parameters of all terms that ask for it. A
// profile that comes to a higher log-likelihood is where the model is fitted anew: x, outcome and V are
// those of the last fit.
term_estimates estimate_terms(profiled_fit const& fit, std::vector<double> const& V,
                              std::vector<requested_term> const& terms, double quantile);

#endif
