// What is read off the log-likelihood itself, and holds where standard errors do not: the
// likelihood-ratio test of one parameter and the bounds of its profile interval, and a penalty that
// keeps effects finite.
//
//   profile   l_p(b) = max of l(x) with x_k = b,        q(b) = sign sqrt(2 (l_max - l_p(b)))
//   bound     the b on one side of the maximum with |q(b)| = quantile
//   test      2 (l_max - l_p(0)), chi-square with one degree of freedom
//   log-F(1,1) penalty (S. Greenland, M. A. Mansournia, Statistics in Medicine 34 (2015) 3133-3143):
//             l(x) + sum over penalised effects of  x_e / 2 - ln(1 + exp x_e)
//
// The slope of l_p at b is the score of x_k there, so that of q is -g_k / q: bounds are found by
// Newton's method within a bracket.
#ifndef QUILMAR_GGI_ENGINE_PROFILE_H
#define QUILMAR_GGI_ENGINE_PROFILE_H

#include "ggi/engine/safeguarded_fit.h"

#include <vector>

// A parameter in which the log-likelihood can have several maxima: a fit is then done twice, the second
// time from the best of these values of it.
struct restart {
    unsigned parameter;
    std::vector<double> values;
};

// A fit to profile: the model, the p parameters at its maximum and its outcome. Nothing is owned.
// higher: null, or what takes parameters with a log-likelihood above that of the fit if a profile comes
// across them, in which case it fails.
struct profiled_fit {
    safeguarded_model const& model;
    safeguarded_outcome const& outcome;
    double const* x;
    restart const* other = nullptr;
    std::vector<double>* higher = nullptr;
};

// The value that a parameter without an estimate starts with where it may have one.
double start_for_infinite(double estimate);

// Puts the best of the values into x; is there one at which the log-likelihood is finite?
bool go_to_best(restart const& other, safeguarded_model const& model, double* x);

// safeguarded_fit from x and, if there is another start, from there; x and outcome of the higher one.
safeguarded_outcome best_fit(safeguarded_model const& model, restart const* other,
                             std::vector<char> const* is_fixed, double* x);

// Bound of the profile interval of parameter k on a side, -1 or 1; quantile: that of the normal
// distribution, 1.959964 for 95%. start: a distance from x_k at which it is looked for first, such
// as quantile times the standard error. To 1e-8 of q. On a side to which k runs it is infinite, and so
// it is where q does not reach the quantile within 200 units. Returns SUCCESS, or NOT_CONVERGED for a
// fit along the profile that has failed or for a parameter that cannot be told apart.
int profile_bound(profiled_fit const& fit, unsigned k, int side, double quantile, double start,
                  double& bound);

// Twice the log-likelihood above that with x_k = 0; for one that runs away, the limit above it.
// Statuses as above.
int profile_ratio(profiled_fit const& fit, unsigned k, double& ratio);

// The model with the penalty on the given parameters. `model` is copied.
safeguarded_model penalised(safeguarded_model const& model, std::vector<unsigned> effects);

// The model in which parameter k stands for  x_k + sum over l of c_l x_l  (c_k = 0): what is profiled
// where the quantity of interest is such a sum. `model` is copied.
safeguarded_model sheared(safeguarded_model const& model, unsigned k, std::vector<double> c);

#endif
