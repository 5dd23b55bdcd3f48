// Retrospective case-control likelihood under Hardy-Weinberg disequilibrium.
//
// The model of case_control_ggi_hwq with one more parameter of the population, rho: the probability
// that a subject's two haplotypes are copies of one, the inbreeding coefficient F of S. Wright
// (Annals of Eugenics 15 (1951) 323-354) and B. S. Weir (Genetic Data Analysis II, 1996), common to
// all haplotypes and not below 0.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_HWD_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_HWD_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/engine/design.h"
#include "ggi/likelihood_work.h"

// Shapes: x, g and v hold p values; W two blocks of K(K+3)/2 weights, first the controls', then the
// cases', each a packed lower triangle of pair weights and K homozygote terms; a the two sums of
// weights; b one term per subject, or in a record from counts the terms of case_control_ggi_hwq;
// matrices are p x p, of which the lower triangle and the diagonal
// are filled. All are the caller's.
class case_control_ggi_hwd {
  public:
    // Coding of a pair's effects under the mode of inheritance.
    class gmodel {
      public:
        unsigned const mode;       // 1 additive, 2 recessive, 3 dominant, 0 for a subclass
        unsigned const two_copies; // value of an effect at a gene with two copies, and with one
        unsigned const one_copy;

        gmodel(unsigned mode_code, unsigned two, unsigned one)
            : mode(mode_code), two_copies(two), one_copy(one) {}
        virtual ~gmodel() = default;

        // v += w d for the design vector of the pair (i, j), or of the homozygote term of i, which
        // counts one copy of haplotype i; no reader here, where sums take the design itself.
        virtual void cw(case_control_ggi_data const& data, double w, bool homozygote, unsigned i,
                        unsigned j, double* v);
        // The same, unless v is null, and M += w d d'.
        virtual void cwj(case_control_ggi_data const& data, double w, bool homozygote, unsigned i,
                         unsigned j, double* v, double* M);
        // Case weights w1 of all pairs, homozygote terms h1 and their sum a1. Returns SUCCESS, or
        // NOT_A_NUMBER or NOT_FINITE for a sum that is not finite.
        virtual int etw(case_control_ggi_data const& data, double const* x, double* w1, double* h1,
                        double& a1);

        // The mode of inheritance as the engines take it; a subclass is the codominant one.
        coding code() const { return {two_copies, one_copy, mode == 0}; }
    };

    // The genetic model of the current analysis, one per thread; made by set_model.
    static thread_local gmodel* model;

    // As in case_control_ggi_hwq.
    static int set_model(case_control_ggi_data& data, unsigned mode);
    static work_lengths lengths(case_control_ggi_data const& data);

    // Disequilibrium parameter of the parameters x.
    static double rho(case_control_ggi_data const& data, double const* x);

    // Fills W, a, b and the score g for the parameters x. Returns SUCCESS, or NOT_A_NUMBER or
    // NOT_FINITE at the first exponential or sum of weights that is not finite; what follows it is
    // not filled.
    static int f(case_control_ggi_data const& data, double const* x, double* W, double* a,
                 double* b, double* g);
    // Control weights W of all pairs, homozygote terms e and their sum a. Statuses as in f.
    static int etw(double const* x, unsigned K, double* W, double* e, double& a);
    // Subjects' terms b and the observed part of the score g.
    static void p(case_control_ggi_data const& data, double const* W, double* b, double* g);
    // Log-likelihood from a and b.
    static double llh(case_control_ggi_data const& data, double const* a, double const* b);

    // Information matrix H = S - T, and its parts: H += S, H -= T.
    static void df(case_control_ggi_data const& data, double const* W, double const* a,
                   double const* b, double* H);
    static void s(case_control_ggi_data const& data, double const* W, double const* a, double* H);
    static void t(case_control_ggi_data const& data, double const* W, double* H);

    // p + 1 reported quantities: the K haplotype frequencies, rho, then the effects.
    static void transform(case_control_ggi_data const& data, double const* x, double* out);
    // Their p + 1 standard errors. Returns SUCCESS, or the status of the matrix inversion, with
    // zeros in out.
    static int std_err(case_control_ggi_data const& data, double const* x, double* out);
};

// Two parameters per effect: the dosage, and a deviation for pairs homozygous at every involved
// gene.
class codominant_case_control_ggi_hwd : public case_control_ggi_hwd::gmodel {
  public:
    codominant_case_control_ggi_hwd() : gmodel(0, 0, 0) {}
};

#endif
