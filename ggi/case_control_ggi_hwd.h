// Retrospective case-control likelihood under Hardy-Weinberg disequilibrium.
//
// The model of case_control_ggi_hwq with one more parameter of the population, rho: the probability
// that a subject's two haplotypes are copies of one, the inbreeding coefficient F of S. Wright
// (Annals of Eugenics 15 (1951) 323-354) and B. S. Weir (Genetic Data Analysis II, 1996), common to
// all haplotypes and not below 0.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_HWD_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_HWD_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/design.h"

// Shapes: x, g and v hold p values; W two blocks of K(K+3)/2 weights, first the controls', then the
// cases', each a packed lower triangle of pair weights and K homozygote terms; a the two sums of
// weights; b one term per subject; matrices are p x p, of which the lower triangle and the diagonal
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
        // counts one copy of haplotype i.
        void cw(case_control_ggi_data const& data, double w, bool homozygote, unsigned i,
                unsigned j, double* v);
        // The same, unless v is null, and M += w d d'.
        void cwj(case_control_ggi_data const& data, double w, bool homozygote, unsigned i,
                 unsigned j, double* v, double* M);
        // Case weights w1 of all pairs, homozygote terms h1 and their sum a1. Returns 1, or 114 or
        // 115 when the sum is not a number or infinite.
        virtual int etw(case_control_ggi_data const& data, double const* x, double* w1, double* h1,
                        double& a1);

      protected:
        // Lists the design vector in the scratch vector.
        design_vector const& list(case_control_ggi_data const& data, bool homozygote, unsigned i,
                                  unsigned j);
        // Adds the codes of the pair for the n terms of a table to d, the first at index `first`.
        virtual void code(case_control_ggi_data const& data, unsigned const* const* rows,
                          unsigned n, unsigned first, unsigned i, unsigned j,
                          design_vector& d) const;

      private:
        design_vector d;
    };

    // The genetic model of the current analysis; made by set_model.
    static gmodel* model;

    // As in case_control_ggi_hwq.
    static int set_model(case_control_ggi_data& data, unsigned mode);

    // Disequilibrium parameter of the parameters x.
    static double rho(case_control_ggi_data const& data, double const* x);

    // Fills W, a, b and the score g for the parameters x. Returns 1, or 114 (not a number) or 115
    // (infinite) at the first exponential or sum of weights that is not finite; what follows it is
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
    // Its (p + 1) x p Jacobian J: df_k / dx_l = f_k ([k = l] - f_l), drho / dx_l = -rho (1 - rho)
    // f_l, and 1 for the effects.
    static void jacobian(case_control_ggi_data const& data, double const* x, double* J);
    // Their p + 1 standard errors. Returns 1, or the status of the matrix inversion, with zeros in
    // out.
    static int std_err(case_control_ggi_data const& data, double const* x, double* out);
};

// Two parameters per effect: the dosage, and a deviation for pairs homozygous at every involved
// gene.
class codominant_case_control_ggi_hwd : public case_control_ggi_hwd::gmodel {
  public:
    codominant_case_control_ggi_hwd() : gmodel(0, 0, 0) {}

  protected:
    void code(case_control_ggi_data const& data, unsigned const* const* rows, unsigned n,
              unsigned first, unsigned i, unsigned j, design_vector& d) const override;
};

#endif
