// Likelihood of status and genotype given covariates, under Hardy-Weinberg equilibrium (see
// environment_sums.h). Shapes as in case_control_ggi_hwq, but a and b hold one value per subject
// and W what environment_layout says.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_HWQX_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_HWQX_H

#include "ggi/case_control_ggi_hwq.h"
#include "ggi/engine/environment_sums.h"

// Parameters: the K - 1 haplotypes and the effects of the plain model, kappa, the environment
// terms, the interactions.
class case_control_ggi_hwqx {
  public:
    // Coding of effects and interactions, and the covariates of the analysis.
    class gmodel : public case_control_ggi_hwq::gmodel {
      public:
        using case_control_ggi_hwq::gmodel::gmodel;
        // Case weights at the means of the covariate products.
        void etw(case_control_ggi_data const& data, double const* x, double* w1,
                 double& a1) override;

        environment covariates;
        environment_layout layout;

        // Builds covariates and layout for the terms and haplotypes of the record.
        void init(case_control_ggi_data const& data);
    };

    // The genetic model of the current analysis, one per thread; made by set_model.
    static thread_local gmodel* model;

    // As in case_control_ggi_hwq.
    static int set_model(case_control_ggi_data& data, unsigned mode);
    static work_lengths lengths(case_control_ggi_data const& data);

    // As in case_control_ggi_hwq. f returns NOT_A_NUMBER or NOT_FINITE at a sum of weights that is
    // not finite, with a score that is not a number.
    static int f(case_control_ggi_data const& data, double const* x, double* W, double* a,
                 double* b, double* g);
    static double llh(case_control_ggi_data const& data, double const* a, double const* b);
    static void df(case_control_ggi_data const& data, double const* W, double const* a,
                   double const* b, double* H);
    static void s(case_control_ggi_data const& data, double const* W, double const* a, double* H);
    static void t(case_control_ggi_data const& data, double const* W, double* H);
    // That of the plain model, which reports the same quantities.
    static void transform(case_control_ggi_data const& data, double const* x, double* out);
    // The information matrix is inverted by LU factorisation alone.
    static int std_err(case_control_ggi_data const& data, double const* x, double* out);
};

class additive_case_control_ggi_hwqx : public case_control_ggi_hwqx::gmodel {
  public:
    additive_case_control_ggi_hwqx() : gmodel(1, 2, 1) {}
};

class recessive_case_control_ggi_hwqx : public case_control_ggi_hwqx::gmodel {
  public:
    recessive_case_control_ggi_hwqx() : gmodel(2, 1, 0) {}
};

class dominant_case_control_ggi_hwqx : public case_control_ggi_hwqx::gmodel {
  public:
    dominant_case_control_ggi_hwqx() : gmodel(3, 1, 1) {}
};

class codominant_case_control_ggi_hwqx : public case_control_ggi_hwqx::gmodel {
  public:
    codominant_case_control_ggi_hwqx() : gmodel(0, 0, 0) {}
};

#endif
