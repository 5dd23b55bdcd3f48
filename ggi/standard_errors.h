// Standard errors of transformed parameters from the information matrix.
#ifndef QUILMAR_GGI_STANDARD_ERRORS_H
#define QUILMAR_GGI_STANDARD_ERRORS_H

#include "ggi/case_control_ggi_data.h"

#include <cstddef>
#include <vector>

// out[r] = sqrt((J H^-1 J')_rr), the delta method, for the p x p information matrix H, of which the
// lower triangle is read, and the n x p Jacobian J of the transformation. H is overwritten.
// `definite` tries the Cholesky inverse first; the LU inverse follows when that fails, or at once.
// Returns 1, or the status of the inversion when H cannot be inverted; all n values are then 0.
// A negative variance gives a value that is not a number.
int standard_errors(double* H, unsigned p, double const* J, unsigned n, bool definite, double* out);

// The same for a likelihood model at the p parameters x: out holds the standard errors of its p + 1
// reported quantities, whose Jacobian `jacobian` fills. The model's work arrays W, a and b have the
// given lengths.
template <typename likelihood>
int model_standard_errors(case_control_ggi_data const& data, double const* x,
                          void (*jacobian)(case_control_ggi_data const&, double const*, double*),
                          std::size_t n_weights, std::size_t n_normalisers, std::size_t n_terms,
                          bool definite, double* out) {
    std::size_t const p = data.n_parameters;
    std::vector<double> W(n_weights), a(n_normalisers), b(n_terms), g(p), H(p * p), J((p + 1) * p);
    likelihood::f(data, x, W.data(), a.data(), b.data(), g.data());
    likelihood::df(data, W.data(), a.data(), b.data(), H.data());
    jacobian(data, x, J.data());
    return standard_errors(H.data(), data.n_parameters, J.data(), data.n_parameters + 1, definite,
                           out);
}

#endif
