// Numeric constants, error measures and dense matrix product shared by the estimators and models.
// Matrices are dense, row-major arrays of double; sums run in extended precision.
#ifndef QUILMAR_NUMERIC_NUTIL_H
#define QUILMAR_NUMERIC_NUTIL_H

#include <limits>

constexpr unsigned MAX_UINT = std::numeric_limits<unsigned>::max();
constexpr double MAX_DOUBLE = std::numeric_limits<double>::max();
constexpr double EPS = std::numeric_limits<double>::epsilon();
constexpr double QNAN = std::numeric_limits<double>::quiet_NaN();

// Largest component change from b (previous) to a (new), n values each: relative to |b_i| where
// |b_i| >= 0.01, absolute below. Components whose change is not a number are passed over;
// n = 0 gives -MAX_DOUBLE.
double max_err(double const* a, double const* b, unsigned n);

// Sum of |a_i - b_i| over n values.
double abs_err(double const* a, double const* b, unsigned n);

// Euclidean norm of the n values of a.
double nrm2(double const* a, unsigned n);

// Product of the m x k matrix A and the k x n matrix B as a new m x n matrix. The caller owns it
// and releases it with array delete.
double* matrix_multiply(double const* A, double const* B, unsigned m, unsigned k, unsigned n);

#endif
