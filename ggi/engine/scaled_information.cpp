// Cholesky factor of a scaled information matrix, and what is solved by it.
#include "ggi/engine/scaled_information.h"

#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>

void scaled_information::take(std::vector<unsigned> const& free, std::size_t p,
                              std::vector<double> const& H) {
    m = free.size();
    for (std::size_t i = 0; i < m; ++i) {
        double const h = std::fabs(H[free[i] * (p + 1)]);
        scale[i] = h > 0 ? std::sqrt(h) : 1;
    }
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            C[i * m + j] = H[free[i] * p + free[j]] / (scale[i] * scale[j]);
}

std::size_t scaled_information::factorise(double lambda) {
    double smallest = INF;
    for (std::size_t i = 0; i < m; ++i) {
        double* const row = L.data() + i * m;
        for (std::size_t j = 0; j <= i; ++j) {
            double const* const other = L.data() + j * m;
            double sum = C[i * m + j] + (i == j ? lambda : 0);
            for (std::size_t k = 0; k < j; ++k)
                sum -= row[k] * other[k];
            if (i != j) {
                row[j] = sum / other[j];
            } else if (sum > SMALLEST_PIVOT) {
                row[i] = std::sqrt(sum);
                smallest = std::min(smallest, sum);
            } else {
                pivot = sum;
                return i;
            }
        }
    }
    pivot = smallest;
    return m;
}

void scaled_information::solve_transposed(std::size_t n, double* y) const {
    for (std::size_t i = n; i-- > 0;) {
        y[i] /= L[i * m + i];
        for (std::size_t k = 0; k < i; ++k)
            y[k] -= L[i * m + k] * y[i];
    }
}

void scaled_information::solve(double* y) const {
    for (std::size_t i = 0; i < m; ++i) {
        for (std::size_t k = 0; k < i; ++k)
            y[i] -= L[i * m + k] * y[k];
        y[i] /= L[i * m + i];
    }
    solve_transposed(m, y);
}

double scaled_information::error(std::size_t j, double* y) const {
    double sum = 0;
    for (std::size_t i = j; i < m; ++i) {
        y[i] = i == j;
        for (std::size_t k = j; k < i; ++k)
            y[i] -= L[i * m + k] * y[k];
        y[i] /= L[i * m + i];
        sum += y[i] * y[i];
    }
    return std::sqrt(sum) / scale[j];
}

void scaled_information::null_vector(std::size_t j, double* v) const {
    std::fill(v, v + m, 0.0);
    for (std::size_t k = 0; k < j; ++k)
        v[k] = -L[j * m + k];
    solve_transposed(j, v);
    v[j] = 1;
}
