// Cholesky factorisation A = L L'.
#include "numeric/cholesky.h"

#include "numeric/inner_products.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace {

// Cheap tests of every row before any work: CHOLESKY_SUCCESS when they leave a factorisation possible.
int screen(double const* A, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        double const d = A[i * n + i];
        if (!(d > 0)) return CHOLESKY_NOT_DEFINITE;
        double big = d;
        for (std::size_t j = 0; j < i; ++j) {
            double const a = A[i * n + j];
            if (!(d + A[j * n + j] > a)) return CHOLESKY_NOT_DEFINITE;
            big = std::max(big, std::fabs(a));
        }
        if (big < EPS) return CHOLESKY_SINGULAR;
    }
    return CHOLESKY_SUCCESS;
}

double diagonal_product(double const* L, std::size_t n) {
    long double product = 1;
    for (std::size_t i = n; i-- > 0;)
        product *= L[i * n + i];
    return static_cast<double>(product);
}

// Inner product of the first `terms` entries of two rows.
long double inner(double const* a, double const* b, std::size_t terms) {
    long double sum = 0;
    for (std::size_t k = 0; k < terms; ++k)
        sum += static_cast<long double>(a[k]) * b[k];
    return sum;
}

// Entries `first` to i of row i of L, which overwrite those of A in W, after the rows above it and
// the entries before them. False when what remains of the diagonal is not positive.
bool finish_row(double* W, std::size_t n, std::size_t i, std::size_t first) {
    double* const row = W + i * n;
    for (std::size_t j = first; j < i; ++j)
        row[j] = static_cast<double>(row[j] - inner(W + j * n, row, j)) * (1.0 / W[j * n + j]);
    long double const s = inner(row, row, i);
    if (!(row[i] > s)) return false;
    row[i] = static_cast<double>(std::sqrt(row[i] - s));
    return true;
}

} // namespace

int cholesky_decomp(double* A, unsigned n) {
    if (n == 0) return CHOLESKY_EMPTY;
    std::size_t const N = n;
    int const status = screen(A, N);
    if (status != CHOLESKY_SUCCESS) return status;
    std::vector<double> W(A, A + N * N);
    for (std::size_t i = 0; i < N; i += ROWS) {
        std::size_t const rows = std::min(ROWS, N - i);
        row_block const block(&W[i * N], N, rows);
        for (std::size_t j = 0; j < i; ++j) {
            long double sums[ROWS] = {};
            add_products<1>(block, &W[j * N], 0, j, sums);
            double const reciprocal = 1.0 / W[j * N + j];
            for (std::size_t r = 0; r < rows; ++r) {
                double& w = W[(i + r) * N + j];
                w = static_cast<double>(w - sums[r]) * reciprocal;
            }
        }
        for (std::size_t r = 0; r < rows; ++r)
            if (!finish_row(W.data(), N, i + r, i)) return CHOLESKY_NOT_DEFINITE;
    }
    std::copy(W.begin(), W.end(), A);
    return CHOLESKY_SUCCESS;
}

void cholesky_invert_factor(double* L, unsigned n) {
    std::size_t const N = n;
    std::vector<double> X(ROWS * N); // columns of the inverse
    for (std::size_t j = 0; j < N; j += ROWS) {
        std::size_t const columns = std::min(ROWS, N - j);
        row_block const block(X.data(), N, columns);
        for (std::size_t i = j; i < N; ++i) {
            long double sums[ROWS] = {};
            add_staggered_products<1>(block, L + i * N, j, i, sums);
            double const reciprocal = 1.0 / L[i * N + i];
            for (std::size_t c = 0; c < std::min(columns, i - j + 1); ++c)
                X[c * N + i] = i == j + c ? reciprocal : static_cast<double>(-sums[c]) * reciprocal;
        }
        for (std::size_t i = j; i < N; ++i)
            for (std::size_t c = 0; c < std::min(columns, i - j + 1); ++c)
                L[i * N + j + c] = X[c * N + i];
    }
}

int cholesky_inverse(double* A, unsigned n, double& det, bool factorised) {
    if (n == 0) return CHOLESKY_EMPTY;
    int const status = factorised ? CHOLESKY_SUCCESS : cholesky_decomp(A, n);
    if (status != CHOLESKY_SUCCESS) return status;
    std::size_t const N = n;
    double const root = diagonal_product(A, N);
    det = root * root;
    cholesky_invert_factor(A, n);
    std::vector<double> T(N * N); // transpose of L^-1
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            T[j * N + i] = A[i * N + j];
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = 0; j <= i; j += ROWS) {
            std::size_t const rows = std::min(ROWS, i + 1 - j);
            long double sums[ROWS] = {};
            add_products<1>({&T[j * N], N, rows}, &T[i * N], i, N, sums);
            for (std::size_t r = 0; r < rows; ++r)
                A[i * N + j + r] = static_cast<double>(sums[r]);
        }
    return CHOLESKY_SUCCESS;
}

int cholesky_inverse(double* A, unsigned n, bool factorised) {
    double det;
    return cholesky_inverse(A, n, det, factorised);
}

int cholesky_solve(double const* A, unsigned n, double const* b, double* x, double& det,
                   bool factorised) {
    if (n == 0) return CHOLESKY_EMPTY;
    std::size_t const N = n;
    std::vector<double> L(A, A + N * N);
    int const status = factorised ? CHOLESKY_SUCCESS : cholesky_decomp(L.data(), n);
    if (status != CHOLESKY_SUCCESS) return status;
    double const root = diagonal_product(L.data(), N);
    det = root * root;
    for (std::size_t i = 0; i < N; ++i)
        x[i] = static_cast<double>(b[i] - inner(&L[i * N], x, i)) * (1.0 / L[i * N + i]);
    for (std::size_t i = N; i-- > 0;) {
        long double sum = x[i];
        for (std::size_t k = i + 1; k < N; ++k)
            sum -= static_cast<long double>(L[k * N + i]) * x[k];
        x[i] = static_cast<double>(sum) * (1.0 / L[i * N + i]);
    }
    return CHOLESKY_SUCCESS;
}

int cholesky_solve(double const* A, unsigned n, double const* b, double* x, bool factorised) {
    double det;
    return cholesky_solve(A, n, b, x, det, factorised);
}

int cholesky_determinant(double const* A, unsigned n, double& det) {
    std::vector<double> L(A, A + static_cast<std::size_t>(n) * n);
    int const status = cholesky_decomp(L.data(), n);
    det = status == CHOLESKY_SUCCESS ? diagonal_product(L.data(), n) : 0.0;
    return status;
}
