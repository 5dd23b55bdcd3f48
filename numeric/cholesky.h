// Cholesky factorisation A = L L' of small symmetric positive definite matrices, and what is solved
// with it (Golub and Van Loan, Matrix Computations, section 4.2).
//
// Matrices are n x n, row-major and owned by the caller; only the diagonal and the lower triangle
// are read and written, the strict upper triangle keeps the caller's values. `factorised` says that
// A already holds L. Statuses: CHOLESKY_SUCCESS; CHOLESKY_NOT_DEFINITE; CHOLESKY_EMPTY for n = 0;
// CHOLESKY_SINGULAR for a row without an entry of at least EPS.
#ifndef QUILMAR_NUMERIC_CHOLESKY_H
#define QUILMAR_NUMERIC_CHOLESKY_H

// Factorises A in place. On a status other than CHOLESKY_SUCCESS A is unchanged.
int cholesky_decomp(double* A, unsigned n);

// Replaces the factor L by its inverse, in the lower triangle. With M = L^-1 the inverse of A is
// V = M' M: V_kk is the sum of squares of column k of M, and V x = M' (M x).
void cholesky_invert_factor(double* L, unsigned n);

// Replaces the lower triangle of A by that of its inverse; det is the determinant of A.
int cholesky_inverse(double* A, unsigned n, double& det, bool factorised);
int cholesky_inverse(double* A, unsigned n, bool factorised);

// Solves A x = b; A is unchanged; det is the determinant of A.
int cholesky_solve(double const* A, unsigned n, double const* b, double* x, double& det,
                   bool factorised);
int cholesky_solve(double const* A, unsigned n, double const* b, double* x, bool factorised);

// Product of the diagonal of L for a copy of A, that is the square root of A's determinant (0 on
// failure).
int cholesky_determinant(double const* A, unsigned n, double& det);

#endif
