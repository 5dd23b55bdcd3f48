// Cholesky factorisation A = L L'.
#include "numeric/cholesky.h"

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

// L^-1 into the lower triangle that holds L.
void invert_factor(double* A, std::size_t n) {
    std::vector<double> reciprocal(n);
    for (std::size_t i = 0; i < n; ++i)
        reciprocal[i] = 1.0 / A[i * n + i];
    for (std::size_t j = 0; j < n; ++j) {
        A[j * n + j] = reciprocal[j];
        for (std::size_t i = j + 1; i < n; ++i) {
            long double sum = 0;
            for (std::size_t k = j; k < i; ++k)
                sum += static_cast<long double>(A[i * n + k]) * A[k * n + j];
            A[i * n + j] = static_cast<double>(-sum) * reciprocal[i];
        }
    }
}

} // namespace

int cholesky_decomp(double* A, unsigned n) {
    if (n == 0) return CHOLESKY_EMPTY;
    std::size_t const N = n;
    int const status = screen(A, N);
    if (status != CHOLESKY_SUCCESS) return status;
    std::vector<double> W(A, A + N * N);
    for (std::size_t i = 0; i < N; ++i) {
        for (std::size_t j = 0; j < i; ++j) {
            long double const sum = A[i * N + j] - inner(&W[j * N], &W[i * N], j);
            W[i * N + j] = static_cast<double>(sum) * (1.0 / W[j * N + j]);
        }
        long double const s = inner(&W[i * N], &W[i * N], i);
        if (!(A[i * N + i] > s)) return CHOLESKY_NOT_DEFINITE;
        W[i * N + i] = static_cast<double>(std::sqrt(A[i * N + i] - s));
    }
    std::copy(W.begin(), W.end(), A);
    return CHOLESKY_SUCCESS;
}

int cholesky_inverse(double* A, unsigned n, double& det, bool factorised) {
    if (n == 0) return CHOLESKY_EMPTY;
    int const status = factorised ? CHOLESKY_SUCCESS : cholesky_decomp(A, n);
    if (status != CHOLESKY_SUCCESS) return status;
    std::size_t const N = n;
    double const root = diagonal_product(A, N);
    det = root * root;
    invert_factor(A, N);
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t j = i; j < N; ++j) {
            long double sum = 0;
            for (std::size_t k = j; k < N; ++k)
                sum += static_cast<long double>(A[k * N + i]) * A[k * N + j];
            A[j * N + i] = static_cast<double>(sum);
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
