// Numeric constants, error measures, norms and matrix products shared by the estimators and models,
// and a few utilities beside them. Matrices are dense, row-major arrays of double; sums run in
// extended precision.
#ifndef QUILMAR_NUMERIC_NUTIL_H
#define QUILMAR_NUMERIC_NUTIL_H

#include <cmath>
#include <limits>

constexpr int MAX_INT = 2147483647;
constexpr long MAX_LONG_INT = 2147483647; // of 32 bits, also where long has 64
constexpr unsigned MAX_UINT = std::numeric_limits<unsigned>::max();
constexpr double MAX_DOUBLE = std::numeric_limits<double>::max();
constexpr long double MAX_LONG_DOUBLE = std::numeric_limits<long double>::max();
constexpr double EPS = std::numeric_limits<double>::epsilon(); // 2^-52
constexpr double TOL = 0x1p-26;                                // square root of EPS
constexpr double IEPS = 1 / EPS;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double QNAN = std::numeric_limits<double>::quiet_NaN();
// Quiet on purpose. <cmath> of some systems has a macro of this name for a signalling value.
#undef SNAN
constexpr double SNAN = QNAN;

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

// Sum of |a_i - b_i| / |b_i| over n values, infinite or not a number where some b_i is 0.
double rel_err(double const* a, double const* b, unsigned n);

// Euclidean norm of the n values of a, and of a - b.
double nrm2(double const* a, unsigned n);
double nrm2(double const* a, double const* b, unsigned n);

// Frobenius norm of the symmetric n x n matrix A, of which the diagonal and the lower triangle are
// read.
double fnrm2(double const* A, unsigned n);

// The functions below return new matrices that the caller releases with array delete.

// The n x m transpose of the m x n matrix A.
double* matrix_transpose(double const* A, unsigned m, unsigned n);

// Product of the m x k matrix A and the k x n matrix B; of two n x n matrices.
double* matrix_multiply(double const* A, double const* B, unsigned m, unsigned k, unsigned n);
double* matrix_multiply(double const* A, double const* B, unsigned n);

// (n - 1)!, not n!, modulo 2^32; 1 for n = 0.
unsigned factorial(unsigned n);

// Draws n distinct integers of lo <= x < hi into out, with rand() after srand(seed), or
// srand(17137) for a negative seed. That generator belongs to the process: not for several threads
// at once. Returns SUCCESS; OUT_OF_RANGE, with nothing drawn, for n = 0 or more values than the
// range holds. With hi above MAX_INT rand() is stretched and passes over values: ask for few then.
int random_uint(unsigned n, unsigned* out, unsigned lo, unsigned hi, int seed);

#endif
