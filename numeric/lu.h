// LU factorisation of small dense matrices: Crout's method with partial pivoting and implicit row
// scaling (Press et al., Numerical Recipes in C, section 2.3). It solves the Newton steps and
// inverts information matrices.
//
//   P A = L U,   L with unit diagonal below, U on and above the diagonal of the same array.
//
// Matrices are n x n, row-major and owned by the caller. indx[j] is the row that changed places
// with row j at step j. Statuses: LU_SUCCESS; LU_EMPTY for n = 0; LU_SINGULAR for a row without an
// entry of at least EPS. A vanishing pivot is not singular: it is replaced by EPS.
#ifndef QUILMAR_NUMERIC_LU_H
#define QUILMAR_NUMERIC_LU_H

// Factorises A in place; sign becomes -1 for an odd number of row interchanges, else +1. After
// LU_SINGULAR A is unchanged.
int lu_decomp(double* A, unsigned n, unsigned* indx, int& sign);
int lu_decomp(double* A, unsigned n, unsigned* indx);

// Solves A x = b from the factors of A. det is the product of U's diagonal, without the sign of the
// row interchanges.
void lu_solve(double const* LU, unsigned n, unsigned const* indx, double const* b, double* x,
              double& det);
void lu_solve(double const* LU, unsigned n, unsigned const* indx, double const* b, double* x);

// Solves A x = b on a copy of A. Returns the status of the factorisation; x and det are set on
// LU_SUCCESS only.
int lu_solve(double const* A, unsigned n, double const* b, double* x, double& det);
int lu_solve(double const* A, unsigned n, double const* b, double* x);

// Replaces the factors by the inverse of the matrix that they came from.
void lu_inverse(double* LU, unsigned n, unsigned const* indx);

// Replaces A by its inverse. Returns the status of the factorisation.
int lu_inverse(double* A, unsigned n);

// Product of U's diagonal for a copy of A (0 on failure). The sign of the row interchanges is not
// applied. Returns the status of the factorisation.
int lu_determinant(double const* A, unsigned n, double& det);

#endif
