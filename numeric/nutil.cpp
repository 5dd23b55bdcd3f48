// Error measures, norms, matrix products and random integers on plain arrays.
#include "numeric/nutil.h"

#include "numeric/inner_products.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <vector>

double max_err(double const* a, double const* b, unsigned n) {
    double m = -MAX_DOUBLE;
    for (unsigned i = n; i-- > 0;)
        m = larger_error(m, component_change(a[i], b[i]));
    return m;
}

double abs_err(double const* a, double const* b, unsigned n) {
    long double sum = 0;
    for (unsigned i = n; i-- > 0;)
        sum += std::fabs(static_cast<long double>(a[i]) - b[i]);
    return static_cast<double>(sum);
}

double rel_err(double const* a, double const* b, unsigned n) {
    long double sum = 0;
    for (unsigned i = n; i-- > 0;)
        sum += std::fabs(static_cast<long double>(a[i]) - b[i]) * (1.0 / std::fabs(b[i]));
    return static_cast<double>(sum);
}

double nrm2(double const* a, unsigned n) {
    long double sum = 0;
    for (unsigned i = 0; i < n; ++i)
        sum += static_cast<long double>(a[i]) * a[i];
    return static_cast<double>(std::sqrt(sum));
}

double nrm2(double const* a, double const* b, unsigned n) {
    long double sum = 0;
    for (unsigned i = n; i-- > 0;) {
        long double const difference = static_cast<long double>(a[i]) - b[i];
        sum += difference * difference;
    }
    return static_cast<double>(std::sqrt(sum));
}

double fnrm2(double const* A, unsigned n) {
    long double sum = 0;
    for (std::size_t i = n; i-- > 0;) {
        long double const d = A[i * n + i];
        sum += d * d;
        for (std::size_t j = 0; j < i; ++j) {
            long double const a = A[i * n + j];
            sum += a * (a + a);
        }
    }
    return static_cast<double>(std::sqrt(sum));
}

double* matrix_transpose(double const* A, unsigned m, unsigned n) {
    double* const T = new double[static_cast<std::size_t>(m) * n];
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j < n; ++j)
            T[j * m + i] = A[i * n + j];
    return T;
}

double* matrix_multiply(double const* A, double const* B, unsigned m, unsigned k, unsigned n) {
    std::size_t const K = k, N = n;
    std::vector<double> columns(ROWS * K); // of B, one after the other
    double* const R = new double[m * N];
    for (std::size_t j = 0; j < N; j += ROWS) {
        std::size_t const count = std::min(ROWS, N - j);
        for (std::size_t l = 0; l < K; ++l)
            for (std::size_t c = 0; c < count; ++c)
                columns[c * K + l] = B[l * N + j + c];
        for (std::size_t i = 0; i < m; ++i) {
            long double sums[ROWS] = {};
            add_products<1>({columns.data(), K, count}, A + i * K, 0, K, sums);
            for (std::size_t c = 0; c < count; ++c)
                R[i * N + j + c] = static_cast<double>(sums[c]);
        }
    }
    return R;
}

double* matrix_multiply(double const* A, double const* B, unsigned n) {
    return matrix_multiply(A, B, n, n, n);
}

unsigned factorial(unsigned n) {
    unsigned product = 1;
    for (unsigned i = 2; i < n; ++i)
        product *= i;
    return product;
}

int random_uint(unsigned n, unsigned* out, unsigned lo, unsigned hi, int seed) {
    if (n == 0 || hi < lo || n > hi - lo) return OUT_OF_RANGE;
    std::srand(seed >= 0 ? static_cast<unsigned>(seed) : 17137u);
    unsigned const range = hi - lo;
    // rand() ends at 2^31, a range may go on to 2^32.
    unsigned const scale = hi > static_cast<unsigned>(MAX_INT) ? hi / MAX_INT + 1 : 1;
    std::vector<unsigned char> is_drawn(range);
    for (unsigned i = n; i-- > 0;) {
        unsigned r;
        do
            r = static_cast<unsigned>(std::rand()) * scale % range;
        while (is_drawn[r]);
        is_drawn[r] = 1;
        out[i] = lo + r;
    }
    return SUCCESS;
}
