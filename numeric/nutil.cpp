// Error measures, norm and matrix product on plain arrays.
#include "numeric/nutil.h"

#include <cmath>
#include <cstddef>

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

double nrm2(double const* a, unsigned n) {
    long double sum = 0;
    for (unsigned i = 0; i < n; ++i)
        sum += static_cast<long double>(a[i]) * a[i];
    return static_cast<double>(std::sqrt(sum));
}

double* matrix_multiply(double const* A, double const* B, unsigned m, unsigned k, unsigned n) {
    double* R = new double[static_cast<std::size_t>(m) * n];
    for (std::size_t i = 0; i < m; ++i)
        for (std::size_t j = 0; j < n; ++j) {
            long double sum = 0;
            for (std::size_t l = 0; l < k; ++l)
                sum += static_cast<long double>(A[i * k + l]) * B[l * n + j];
            R[i * n + j] = static_cast<double>(sum);
        }
    return R;
}
