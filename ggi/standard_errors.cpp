// Delta method:  Var(g(x)) = J H^-1 J',  J = dg/dx, H the negative matrix of second derivatives.
#include "ggi/standard_errors.h"

#include "numeric/cholesky.h"
#include "numeric/lu.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>

namespace {

void mirror(double* H, std::size_t p) {
    for (std::size_t i = 0; i < p; ++i)
        for (std::size_t j = 0; j < i; ++j)
            H[j * p + i] = H[i * p + j];
}

} // namespace

int standard_errors(double* H, unsigned p, double const* J, unsigned n, bool definite,
                    double* out) {
    bool const inverted = definite && cholesky_inverse(H, p, false) == 301;
    mirror(H, p);
    int const status = inverted ? 201 : lu_inverse(H, p);
    if (status != 201) {
        std::fill(out, out + n, 0.0);
        return status;
    }
    std::unique_ptr<double[]> const JV(matrix_multiply(J, H, n, p, p));
    for (std::size_t r = 0; r < n; ++r) {
        long double variance = 0;
        for (std::size_t c = 0; c < p; ++c)
            variance += static_cast<long double>(JV[r * p + c]) * J[r * p + c];
        out[r] = std::sqrt(static_cast<double>(variance));
    }
    return 1;
}
