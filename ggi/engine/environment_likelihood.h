// Score and information of the environment likelihoods, from the plain model's pair weights and the
// sweep over the subjects (see environment_sums.h for the model and its symbols).
//
// With d the plain design vector of a term, mu_k its mean over class k of the joint distribution
// (k = 0 the controls) and mu_gl its mean over local class l of genotype g:
//
//   score of the plain parameters = sum of d over the observed minus the expected weights of terms
//   S(plain)        = sum over terms of expected weight d d' - sum of UU_kl mu_k mu_l'
//   S(theta, plain) = sum of Uh_k mu_k'
//   S(theta)        = hh
//
// and T, over the genotypes' local classes, the same with the observed weights, UU_g, Uh_g, mu_g
// and the hh of the distributions given the genotype; the information is H = S - T.
#ifndef QUILMAR_GGI_ENGINE_ENVIRONMENT_LIKELIHOOD_H
#define QUILMAR_GGI_ENGINE_ENVIRONMENT_LIKELIHOOD_H

#include "ggi/engine/environment_sums.h"
#include "ggi/engine/retrospective.h"

// An analysis as these likelihoods see it. The parameters are the plain ones, then theta.
struct environment_model {
    pair_design design; // its p counts all parameters
    pair_sample sample;
    exposures subjects;
    environment const& covariates;
    environment_layout const& layout;

    // Fills W, a, b and the score g for the parameters x; w0 and w1 stand in W, a0 is their sum
    // over w0. Returns the status of sweep_subjects, after a failure of which g is not complete.
    int evaluate(double a0, double const* x, double* W, double* a, double* b, double* g) const;

    // Lower triangles of the p x p matrices H += S and H -= T from W.
    void add_s(double const* W, double* H) const;
    void subtract_t(double const* W, double* H) const;
};

#endif
