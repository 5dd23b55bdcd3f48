// Standard errors of the reported quantities from the information matrix, by the delta method.
//
// With V = H^-1, f the frequencies of the haplotypes that have a parameter and q = f' V f:
//
//   Var(f_k)         = f_k^2 (V_kk - 2 (V f)_k + q)     df_k / dx_l = f_k ([k = l] - f_l)
//   Var(f_reference) = f_reference^2 q                  df / dx_l   = -f f_l
//   Var(rho)         = rho^2 (1 - rho)^2 q              drho / dx_l = -rho (1 - rho) f_l
//
// and V_ee for every other parameter.
#ifndef QUILMAR_GGI_ENGINE_STANDARD_ERRORS_H
#define QUILMAR_GGI_ENGINE_STANDARD_ERRORS_H

#include "ggi/engine/parameter_layout.h"

// Fills out, one value per reported quantity (p + 1), for the p x p information matrix H, of which
// the lower triangle is read and which is overwritten. reported: the quantities themselves.
// is_definite tries the Cholesky factorisation first; the LU inverse follows when that fails, or at
// once. Returns SUCCESS, or the status of the inversion when H cannot be inverted, with zeros in
// out. A negative variance gives a value that is not a number.
int standard_errors(parameter_layout const& where, double* H, double const* reported,
                    bool is_definite, double* out);

#endif
