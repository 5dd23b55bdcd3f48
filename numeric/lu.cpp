// Crout's LU factorisation, P A = L U, and what is solved with it.
#include "numeric/lu.h"

#include "numeric/inner_products.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace {

// 1 / (largest magnitude) of every row; false when some row has none of at least EPS.
bool row_scales(double const* A, std::size_t n, std::vector<double>& scale) {
    for (std::size_t i = n; i-- > 0;) {
        double big = 0;
        for (std::size_t j = 0; j < n; ++j)
            big = std::max(big, std::fabs(A[i * n + j]));
        if (big < EPS) return false;
        scale[i] = 1.0 / big;
    }
    return true;
}

// Column j of U above the diagonal, and of L (not yet divided by the pivot) on and below it.
// Returns the pivot row: the earliest one whose scaled entry is largest. `u` is work space for the
// column.
std::size_t reduce_column(double* A, std::size_t n, std::size_t j, std::vector<double> const& scale,
                          std::vector<double>& u) {
    for (std::size_t i = 0; i < n; ++i)
        u[i] = A[i * n + j];
    for (std::size_t i = 0; i < n;) {
        // Rows on both sides of the diagonal are not taken together.
        std::size_t const rows = std::min(ROWS, (i < j ? j : n) - i), terms = std::min(i, j);
        long double sums[ROWS] = {};
        std::copy(u.begin() + static_cast<std::ptrdiff_t>(i),
                  u.begin() + static_cast<std::ptrdiff_t>(i + rows), sums);
        add_products<-1>({A + i * n, n, rows}, u.data(), 0, terms, sums);
        for (std::size_t r = 0; r < rows; ++r) {
            for (std::size_t k = terms; k < std::min(i + r, j); ++k)
                sums[r] -= static_cast<long double>(A[(i + r) * n + k]) * u[k];
            u[i + r] = static_cast<double>(sums[r]);
        }
        i += rows;
    }
    double big = 0;
    std::size_t imax = j;
    for (std::size_t i = 0; i < n; ++i) {
        A[i * n + j] = u[i];
        double const t = scale[i] * std::fabs(u[i]);
        if (i >= j && t > big) {
            big = t;
            imax = i;
        }
    }
    return imax;
}

double diagonal_product(double const* LU, std::size_t n) {
    long double product = 1;
    for (std::size_t i = n; i-- > 0;)
        product *= LU[i * n + i];
    return static_cast<double>(product);
}

// Rows `first` to `first` + `rows` - 1 of X, all 0, become the solutions of L U x = e for the unit
// vectors e of those places. L^-1 e is 0 before the place of the 1, which is not visited.
void solve_units(double const* LU, std::size_t n, std::size_t first, std::size_t rows, double* X) {
    row_block const block(X, n, rows);
    for (std::size_t i = first; i < n; ++i) {
        long double sums[ROWS] = {};
        add_staggered_products<-1>(block, LU + i * n, first, i, sums);
        for (std::size_t r = 0; r < std::min(rows, i - first + 1); ++r)
            X[r * n + i] = i == first + r ? 1.0 : static_cast<double>(sums[r]);
    }
    for (std::size_t i = n; i-- > 0;) {
        long double sums[ROWS];
        for (std::size_t r = 0; r < ROWS; ++r)
            sums[r] = block.row[r][i];
        add_products<-1>(block, LU + i * n, i + 1, n, sums);
        double const reciprocal = 1.0 / LU[i * n + i];
        for (std::size_t r = 0; r < rows; ++r)
            X[r * n + i] = static_cast<double>(sums[r]) * reciprocal;
    }
}

} // namespace

int lu_decomp(double* A, unsigned n, unsigned* indx, int& sign) {
    if (n == 0) return LU_EMPTY;
    std::size_t const N = n;
    std::vector<double> scale(N), column(N);
    sign = 1;
    if (!row_scales(A, N, scale)) return LU_SINGULAR;
    for (std::size_t j = 0; j < N; ++j) {
        std::size_t const imax = reduce_column(A, N, j, scale, column);
        if (imax != j) {
            std::swap_ranges(A + imax * N, A + (imax + 1) * N, A + j * N);
            sign = -sign;
            scale[imax] = scale[j];
        }
        indx[j] = static_cast<unsigned>(imax);
        if (std::fabs(A[j * N + j]) < EPS) A[j * N + j] = EPS;
        double const reciprocal = 1.0 / A[j * N + j];
        for (std::size_t i = j + 1; i < N; ++i)
            A[i * N + j] *= reciprocal;
    }
    return LU_SUCCESS;
}

int lu_decomp(double* A, unsigned n, unsigned* indx) {
    int sign;
    return lu_decomp(A, n, indx, sign);
}

void lu_solve(double const* LU, unsigned n, unsigned const* indx, double const* b, double* x,
              double& det) {
    std::size_t const N = n;
    std::copy(b, b + N, x);
    det = diagonal_product(LU, N);
    // Up to `first` the right-hand side is zero, and so is the forward solution.
    std::size_t first = N;
    for (std::size_t i = 0; i < N; ++i) {
        std::size_t const p = indx[i];
        long double sum = x[p];
        x[p] = x[i];
        if (first < N) {
            for (std::size_t k = first; k < i; ++k)
                sum -= static_cast<long double>(LU[i * N + k]) * x[k];
        } else if (std::fabs(sum) >= EPS) {
            first = i;
        }
        x[i] = static_cast<double>(sum);
    }
    for (std::size_t i = N; i-- > 0;) {
        long double sum = x[i];
        for (std::size_t k = i + 1; k < N; ++k)
            sum -= static_cast<long double>(LU[i * N + k]) * x[k];
        x[i] = static_cast<double>(sum) * (1.0 / LU[i * N + i]);
    }
}

void lu_solve(double const* LU, unsigned n, unsigned const* indx, double const* b, double* x) {
    double det;
    lu_solve(LU, n, indx, b, x, det);
}

int lu_solve(double const* A, unsigned n, double const* b, double* x, double& det) {
    std::vector<double> LU(A, A + static_cast<std::size_t>(n) * n);
    std::vector<unsigned> indx(n);
    int const status = lu_decomp(LU.data(), n, indx.data());
    if (status == LU_SUCCESS) lu_solve(LU.data(), n, indx.data(), b, x, det);
    return status;
}

int lu_solve(double const* A, unsigned n, double const* b, double* x) {
    double det;
    return lu_solve(A, n, b, x, det);
}

void lu_inverse(double* LU, unsigned n, unsigned const* indx) {
    std::size_t const N = n;
    std::vector<double> X(N * N);
    for (std::size_t i = 0; i < N; i += ROWS)
        solve_units(LU, N, i, std::min(ROWS, N - i), &X[i * N]);
    // Row i of X is the column of the inverse whose unit vector has its 1 in row i of P A.
    std::vector<std::size_t> column(N);
    std::iota(column.begin(), column.end(), std::size_t{0});
    for (std::size_t i = 0; i < N; ++i)
        std::swap(column[i], column[indx[i]]);
    for (std::size_t i = 0; i < N; ++i)
        for (std::size_t k = 0; k < N; ++k)
            LU[k * N + column[i]] = X[i * N + k];
}

int lu_inverse(double* A, unsigned n) {
    std::vector<unsigned> indx(n);
    int const status = lu_decomp(A, n, indx.data());
    if (status == LU_SUCCESS) lu_inverse(A, n, indx.data());
    return status;
}

int lu_determinant(double const* A, unsigned n, double& det) {
    std::vector<double> LU(A, A + static_cast<std::size_t>(n) * n);
    std::vector<unsigned> indx(n);
    int const status = lu_decomp(LU.data(), n, indx.data());
    det = status == LU_SUCCESS ? diagonal_product(LU.data(), n) : 0.0;
    return status;
}
