// Newton-Raphson iteration for any likelihood model of a case-control record.
#ifndef QUILMAR_GGI_NEWTON_H
#define QUILMAR_GGI_NEWTON_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/structures.h"

#include <cstddef>

// What the iteration needs of a model: its operations, and the lengths of the work arrays that they
// share. f fills the weights W, the normalisers a, the genotype terms b and the score g (p values)
// for the parameters x and returns 1, 114 or 115; llh is the log-likelihood and df the lower
// triangle of the information matrix H (p x p) of the last evaluation.
struct newton_model {
    int (*f)(case_control_ggi_data const& data, double const* x, double* W, double* a, double* b,
             double* g);
    double (*llh)(case_control_ggi_data const& data, double const* a, double const* b);
    void (*df)(case_control_ggi_data const& data, double const* W, double const* a, double const* b,
               double* H);
    std::size_t n_weights;
    std::size_t n_normalisers;
    std::size_t n_terms;
    double first_step; // convergence measure before the first iteration
};

// Maximises the log-likelihood from res.estimates (p values, updated in place) until the last step,
// the change of the log-likelihood and the norm of the score are all within the tolerance. Fills
// status, iterations, error (max_err of the last step) and log-likelihood.
//
// Returns the status: 1 converged; 5 iterations ran out; 113 parameters still run away although the
// score is small; 114 not a number or 115 infinite in the log-likelihood or the score, 115 also
// when the Newton system cannot be solved; or the status of f. A failure at the last permitted
// iteration counts as 5.
int newton_fit(case_control_ggi_data const& data, newton_model const& model, unsigned iterations,
               double tolerance, result& res);

#endif
