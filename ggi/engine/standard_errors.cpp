// Standard errors by the delta method, for the Jacobian of frequencies and rho.
#include "ggi/engine/standard_errors.h"

#include "numeric/cholesky.h"
#include "numeric/lu.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace {

void mirror(double* H, std::size_t p) {
    for (std::size_t i = 0; i < p; ++i)
        for (std::size_t j = 0; j < i; ++j)
            H[j * p + i] = H[i * p + j];
}

// Replaces H by its inverse.
int invert(double* H, unsigned p, bool is_definite) {
    bool const is_inverted = is_definite && cholesky_inverse(H, p, false) == CHOLESKY_SUCCESS;
    mirror(H, p);
    return is_inverted ? static_cast<int>(LU_SUCCESS) : lu_inverse(H, p);
}

double root(long double variance) {
    return std::sqrt(static_cast<double>(variance));
}

} // namespace

int standard_errors(parameter_layout const& where, double* H, double const* reported,
                    bool is_definite, double* out) {
    std::size_t const p = where.count(), h = where.n_haplotype_parameters();
    int const status = invert(H, where.count(), is_definite);
    if (status != LU_SUCCESS) {
        std::fill(out, out + p + 1, 0.0);
        return status;
    }
    double const* const V = H;
    std::vector<long double> Vf(h);
    long double q = 0;
    for (std::size_t k = 0; k < h; ++k) {
        for (std::size_t l = 0; l < h; ++l)
            Vf[k] += static_cast<long double>(V[k * p + l]) * reported[l];
        q += Vf[k] * reported[k];
    }
    for (std::size_t k = 0; k < h; ++k)
        out[k] = root((V[k * p + k] - 2 * Vf[k] + q) * reported[k] * reported[k]);
    // The reference's frequency, or rho.
    double const f = reported[h];
    double const slope = where.has_reference ? f : f * (1 - f);
    out[h] = root(q * slope * slope);
    for (std::size_t e = h; e < p; ++e)
        out[e + 1] = root(V[e * p + e]);
    return SUCCESS;
}
