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

using extended = std::vector<long double>;

// What is needed of V = H^-1 for weights f of the first h parameters: its diagonal and V f.
struct covariance {
    extended diagonal, product;

    // V = (L^-1)' L^-1 from the lower triangle of L^-1, by rows, without forming V.
    void take_inverse_factor(double const* inverse, std::size_t p, double const* f, std::size_t h) {
        for (std::size_t i = 0; i < p; ++i) {
            double const* const row = inverse + i * p;
            long double u = 0;
            for (std::size_t k = 0; k < std::min(i + 1, h); ++k)
                u += static_cast<long double>(row[k]) * f[k];
            for (std::size_t k = 0; k <= i; ++k) {
                diagonal[k] += static_cast<long double>(row[k]) * row[k];
                product[k] += row[k] * u;
            }
        }
    }
    void take_inverse(double const* V, std::size_t p, double const* f, std::size_t h) {
        for (std::size_t k = 0; k < p; ++k) {
            diagonal[k] = V[k * p + k];
            for (std::size_t l = 0; l < h; ++l)
                product[k] += static_cast<long double>(V[k * p + l]) * f[l];
        }
    }
};

// Fills V from H, which is overwritten; the status of the inversion.
int invert(double* H, unsigned p, bool is_definite, double const* f, std::size_t h, covariance& V) {
    if (is_definite && cholesky_decomp(H, p) == CHOLESKY_SUCCESS) {
        cholesky_invert_factor(H, p);
        V.take_inverse_factor(H, p, f, h);
        return LU_SUCCESS;
    }
    mirror(H, p);
    int const status = lu_inverse(H, p);
    if (status == LU_SUCCESS) V.take_inverse(H, p, f, h);
    return status;
}

double root(long double variance) {
    return std::sqrt(static_cast<double>(variance));
}

} // namespace

int standard_errors(parameter_layout const& where, double* H, double const* reported,
                    bool is_definite, double* out) {
    std::size_t const p = where.count(), h = where.n_haplotype_parameters();
    double const* const f = reported;
    covariance V{extended(p), extended(p)};
    int const status = invert(H, where.count(), is_definite, f, h, V);
    if (status != LU_SUCCESS) {
        std::fill(out, out + p + 1, 0.0);
        return status;
    }
    long double q = 0;
    for (std::size_t k = 0; k < h; ++k)
        q += V.product[k] * f[k];
    for (std::size_t k = 0; k < h; ++k)
        out[k] = root((V.diagonal[k] - 2 * V.product[k] + q) * f[k] * f[k]);
    // The reference's frequency, or rho.
    double const slope = where.has_reference ? f[h] : f[h] * (1 - f[h]);
    out[h] = root(q * slope * slope);
    for (std::size_t e = h; e < p; ++e)
        out[e + 1] = root(V.diagonal[e]);
    return SUCCESS;
}
