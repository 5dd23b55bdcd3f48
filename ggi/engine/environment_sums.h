// Evaluation of the environment likelihoods: the model of status and genotype given the covariates,
// with genes and environment independent in the population (N. Chatterjee, R. J. Carroll,
// Biometrika 92 (2005) 399-418; C. Spinka, R. J. Carroll, N. Chatterjee, Genetic Epidemiology 29
// (2005) 108-127).
//
// w0 and w1 are the pair weights of the plain model, a0 the sum of w0, A_c the sum of w1 over the
// pairs of class c, theta = (kappa, xi, gamma). For subject s with the covariate design of class c
//
//   h_sc = (1, X_s1 .. X_sG1, y_c1 X'_s1 .. y_cG2 X'_sG2)
//   t_sc = exp(theta' h_sc),   a_s = a0 + sum over c of A_c t_sc
//   b_s  = sum of w0 over the pairs of s for a control, sum over c of B_gc t_sc for a case,
//          B_gc being the sum of w1 over the pairs of its genotype g that are in class c
//   llh  = sum over s of ln b_s - ln a_s
//
// Two distributions over classes make up score and information: the joint one of status and pair,
// with probabilities u_s0 = a0 / a_s of being a control and u_sc = A_c t_sc / a_s, and that of a
// case given its genotype, rho_sc = B_gc t_sc / b_s. One sweep over the subjects gathers for either
//
//   P_k = sum of u_k,  UU = sum of u u',  Uh_k = sum of u_k (h_k - e),  e = sum over k of u_k h_k
//
// beside the score, sum of e, and the covariance hh = sum of (sum of u h h') - e e'.
// What depends on haplotypes is the same for all subjects and enters once, as the mean design of a
// class. With many classes UU would cost more than the sum over the subjects of the outer products
// of their mean designs, which is then taken instead.
#ifndef QUILMAR_GGI_ENGINE_ENVIRONMENT_SUMS_H
#define QUILMAR_GGI_ENGINE_ENVIRONMENT_SUMS_H

#include "ggi/engine/environment.h"

// Sums over the classes k = 0 .. m-1 of a distribution, in one array of doubles or const doubles: P
// (m), UU (m x m, or null), Uh (m x r).
template <typename real> struct class_sums {
    real* P;
    real* UU;
    real* Uh;

    class_sums(real* begin, std::size_t m, bool has_UU = true)
        : P(begin), UU(has_UU ? P + m : nullptr), Uh(P + m + (has_UU ? m * m : 0)) {}
};

// Where the parts of the work array W are.
struct environment_layout {
    std::size_t control;               // w0: `terms` weights
    std::size_t cases;                 // w1
    std::size_t a0;                    // a0 and A_0 .. A_(C-1), in the order of the distribution u
    std::size_t joint;                 // class_sums of u, with C + 1 classes, without UU where
    bool has_means;                    // the sum of the subjects' mean plain designs
    std::size_t means;                 // stands instead: q x q, lower triangle
    std::size_t hh;                    // r x r: hh of u
    std::size_t hh_given;              // r x r: hh of rho over all genotypes
    std::size_t size;                  // of W
    std::vector<std::size_t> B;        // per genotype: B_gc of its local classes
    std::vector<std::size_t> observed; // per genotype: class_sums of rho over its local classes

    // For so many distinct genotypes, weights per block and plain parameters q.
    void init(exposures const& data, environment const& e, std::size_t n_genotypes,
              std::size_t terms, std::size_t q);
};

// The sweep. w0, w1, a0, A and B stand in W; b0 holds the sum of w0 over the pairs of every
// genotype; mu the mean plain design of every class of u, (C + 1) x q, where the layout has means. Fills a and b (one value per subject, 1 for those without a pair), the class sums in W,
// and adds the score of theta to g_theta (r values). Returns SUCCESS, or NOT_A_NUMBER or NOT_FINITE
// at the first subject whose a_s is not a number or infinite.
int sweep_subjects(exposures const& data, pair_sample const& sample, environment const& e,
                   environment_layout const& layout, double const* theta, double const* b0,
                   std::vector<double> const& mu, double* W, double* a, double* b, double* g_theta);

// Sum over n subjects of ln b_s - ln a_s.
double subjects_llh(unsigned n, double const* a, double const* b);

#endif
