// Standard errors of transformed parameters from the information matrix.
#ifndef QUILMAR_GGI_STANDARD_ERRORS_H
#define QUILMAR_GGI_STANDARD_ERRORS_H

// out[r] = sqrt((J H^-1 J')_rr), the delta method, for the p x p information matrix H, of which the
// lower triangle is read, and the n x p Jacobian J of the transformation. H is overwritten.
// `definite` tries the Cholesky inverse first; the LU inverse follows when that fails, or at once.
// Returns 1, or the status of the inversion when H cannot be inverted; all n values are then 0.
// A negative variance gives a value that is not a number.
int standard_errors(double* H, unsigned p, double const* J, unsigned n, bool definite, double* out);

#endif
