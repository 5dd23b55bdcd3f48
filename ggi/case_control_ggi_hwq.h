// Retrospective case-control likelihood under Hardy-Weinberg equilibrium.
//
// Controls' haplotype pairs follow the population frequencies; cases' follow them tilted by the
// exponential of the effects of the pair. D. Y. Lin, D. Zeng, Journal of the American Statistical
// Association 101 (2006) 89-104; M. P. Epstein, G. A. Satten, American Journal of Human Genetics 73
// (2003) 1316-1329.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_HWQ_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_HWQ_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/engine/design.h"
#include "ggi/likelihood_work.h"

// Shapes: x, g and v hold p values; W two packed lower triangles of K(K+1)/2 pair weights, first
// the controls', then the cases'; a the two sums of weights; b 2G genotype terms, first the
// controls'; matrices are p x p, of which the lower triangle and the diagonal are filled. All are
// the caller's.
class case_control_ggi_hwq {
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

        // v += w d(i, j) and M += w d(i, j) d(i, j)' for the design vector d of the pair; no reader
        // here, where sums take the design itself.
        virtual void cw(case_control_ggi_data const& data, double w, unsigned i, unsigned j,
                        double* v);
        virtual void cj(case_control_ggi_data const& data, double w, unsigned i, unsigned j,
                        double* M);
        // Case weights w1 of all pairs and their sum a1.
        virtual void etw(case_control_ggi_data const& data, double const* x, double* w1,
                         double& a1);

        // The mode of inheritance as the engines take it; a subclass is the codominant one.
        coding code() const { return {two_copies, one_copy, mode == 0}; }
    };

    // The genetic model of the current analysis, one per thread; made by set_model.
    static thread_local gmodel* model;

    // Makes the model for mode 1 additive, 2 recessive, 3 dominant or 4 codominant and sets the
    // number of parameters. Returns SUCCESS, or INVALID_MODEL for another mode, with nothing changed.
    static int set_model(case_control_ggi_data& data, unsigned mode);
    static work_lengths lengths(case_control_ggi_data const& data);

    // Fills W, a, b and the score g for the parameters x; returns SUCCESS.
    static int f(case_control_ggi_data const& data, double const* x, double* W, double* a,
                 double* b, double* g);
    // Control weights and their sum.
    static void etw(case_control_ggi_data const& data, double const* x, double* w0, double& a0);
    // Genotype terms b and the observed part of the score g.
    static void p(case_control_ggi_data const& data, double const* W, double* b, double* g);
    // Log-likelihood from a and b.
    static double llh(case_control_ggi_data const& data, double const* a, double const* b);
    // Log-likelihood of all subjects' genotypes, without regard to status, under the haplotype
    // frequencies (indexed by code). Subjects whose list is empty add nothing. No reader here.
    static double llh0(case_control_ggi_data const& data, double const* frequencies);

    // Information matrix H = S - T, the negative second derivatives of llh.
    static void df(case_control_ggi_data const& data, double const* W, double const* a,
                   double const* b, double* H);
    // H += S, the covariance of the design vector under the pair weights, summed over subjects.
    static void s(case_control_ggi_data const& data, double const* W, double const* a, double* H);
    // H -= T, the same within every genotype's surviving pairs.
    static void t(case_control_ggi_data const& data, double const* W, double* H);

    // p + 1 reported quantities: the K haplotype frequencies, the reference last, then the effects.
    static void transform(case_control_ggi_data const& data, double const* x, double* out);
    // Their p + 1 standard errors. Returns SUCCESS, or the status of the matrix inversion, with
    // zeros in out.
    static int std_err(case_control_ggi_data const& data, double const* x, double* out);
};

// Two parameters per effect: the dosage, and a deviation for pairs homozygous at every involved
// gene.
class codominant_case_control_ggi_hwq : public case_control_ggi_hwq::gmodel {
  public:
    codominant_case_control_ggi_hwq() : gmodel(0, 0, 0) {}
};

#endif
