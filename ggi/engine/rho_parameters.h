// Parameters in which a disequilibrium model is regular at rho = 0.
//
// The disequilibrium likelihoods have x_k = ln f_k - ln(rho / (1 - rho)) for each of K haplotypes,
// which all go to infinity as rho goes to 0. With the last haplotype as reference
//
//   r_k = x_k - x_(K-1) = ln(f_k / f_(K-1)),   s = exp(-x_(K-1)) = rho / ((1 - rho) f_(K-1))
//   x_k = r_k + w,                             w = -ln s
//
// and l(r, s) has all derivatives at s = 0. s is not below 0: s = s_0 + t^2, s_0 = 1e-9, turns a
// maximum at that end into one in t = 0 like any other. In place of x are r_0 .. r_(K-2), t; what
// follows them is left as it is. With G the sum of the scores of the x_k, H_kl their information, and
// w' and w'' the derivatives of w in t,
//
//   g_t = w' G,   H_(t,l) = w' sum over k of H_kl,   H_tt = w'^2 sum over k, l of H_kl - w'' G
//
// Where rho goes to 0 because a frequency does, and an effect to infinity, the ridge is straight in
// w itself, which may stand in place of t.
#ifndef QUILMAR_GGI_ENGINE_RHO_PARAMETERS_H
#define QUILMAR_GGI_ENGINE_RHO_PARAMETERS_H

#include "ggi/engine/safeguarded_fit.h"

// The model in r and t, and in r and w. `model` is copied; K is at least 1.
safeguarded_model regular_at_zero(safeguarded_model const& model, unsigned K);
safeguarded_model logarithmic_in_s(safeguarded_model const& model, unsigned K);

// s for t, rho for s, and t for rho; f is the frequency of the reference.
double s_of_t(double t);
double rho_of_s(double s, double f);
double t_of_rho(double rho, double f);

// Derivative of the log-likelihood in rho at rho = 0: g_s / f_(K-1) of `model`, a disequilibrium
// model in x, at s = 1e-6 and the values of its other parameters in `at`, of which r_0 .. r_(K-2) are
// read in place of x, and the next is not. Returns the status of the evaluation.
int rho_score(safeguarded_model const& model, unsigned K, double const* at, double& score);

#endif
