// Numeric constants, error measures and dense matrix product shared by the estimators and models.
// Matrices are dense, row-major arrays of double; sums run in extended precision.
#ifndef QUILMAR_NUMERIC_NUTIL_H
#define QUILMAR_NUMERIC_NUTIL_H

#include <cmath>
#include <limits>

constexpr unsigned MAX_UINT = std::numeric_limits<unsigned>::max();
constexpr double MAX_DOUBLE = std::numeric_limits<double>::max();
constexpr double EPS = std::numeric_limits<double>::epsilon();
constexpr double QNAN = std::numeric_limits<double>::quiet_NaN();

// Change of a component from b (previous) to a (new): relative to |b| where |b| >= 0.01, else
// absolute.
inline double component_change(double a, double b) {
    double const change = a - b;
    return std::fabs(std::fabs(b) >= 0.01 ? change * (1.0 / b) : change);
}
// The larger of an error so far and a change; a change that is not a number is passed over.
inline double larger_error(double error, double change) {
    return change >= error ? change : error;
}

// Largest component change from b (previous) to a (new), n values each; n = 0 gives -MAX_DOUBLE.
double max_err(double const* a, double const* b, unsigned n);

// Sum of |a_i - b_i| over n values.
double abs_err(double const* a, double const* b, unsigned n);

// Euclidean norm of the n values of a.
double nrm2(double const* a, unsigned n);

// Product of the m x k matrix A and the k x n matrix B as a new m x n matrix. The caller owns it
// and releases it with array delete.
double* matrix_multiply(double const* A, double const* B, unsigned m, unsigned k, unsigned n);

#endif
