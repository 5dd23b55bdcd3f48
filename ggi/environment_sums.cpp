// The sweep over the subjects of an environment likelihood.
#include "ggi/environment_sums.h"

#include <algorithm>
#include <cmath>

namespace {

std::size_t class_sums_size(std::size_t m, std::size_t r) {
    return m + m * m + m * r;
}

} // namespace

void environment_layout::init(case_control_ggi_data const& data, environment const& e,
                              std::size_t terms) {
    std::size_t const r = e.n_parameters(), C = e.n_classes;
    control = 0;
    cases = terms;
    a0 = 2 * terms;
    joint = a0 + C + 1;
    hh = joint + class_sums_size(C + 1, r);
    size = hh + r * r;
    for (unsigned g = 0; g < data.distinct->count; ++g) {
        std::size_t const m = e.n_local(g);
        B.push_back(size);
        observed.push_back(size + m);
        size += m + class_sums_size(m, r);
    }
}

namespace {

// A distribution over m classes with probabilities u and covariate designs h (m pointers to r
// values; null for a class without one). Adds sign * covariance to hh and sign * mean to g.
struct distribution {
    std::size_t m, r;
    std::vector<double> u;
    std::vector<double const*> h;
    std::vector<double> e;

    distribution(std::size_t most_classes, std::size_t parameters)
        : m(0), r(parameters), u(most_classes), h(most_classes), e(parameters) {}

    void add_to(double sign, class_sums<double> const& sums, double* hh, double* g) {
        std::fill(e.begin(), e.end(), 0.0);
        for (std::size_t k = 0; k < m; ++k) {
            if (h[k] == nullptr) continue;
            for (std::size_t i = 0; i < r; ++i) {
                double const uh = u[k] * h[k][i];
                e[i] += uh;
                for (std::size_t j = 0; j <= i; ++j)
                    hh[i * r + j] += sign * uh * h[k][j];
            }
        }
        for (std::size_t i = 0; i < r; ++i) {
            g[i] -= sign * e[i];
            for (std::size_t j = 0; j <= i; ++j)
                hh[i * r + j] -= sign * e[i] * e[j];
        }
        for (std::size_t k = 0; k < m; ++k) {
            sums.P[k] += u[k];
            for (std::size_t l = 0; l < m; ++l)
                sums.UU[k * m + l] += u[k] * u[l];
            for (std::size_t i = 0; i < r; ++i)
                sums.Uh[k * r + i] += u[k] * ((h[k] == nullptr ? 0 : h[k][i]) - e[i]);
        }
    }
};

} // namespace

int sweep_subjects(case_control_ggi_data const& data, environment const& e,
                   environment_layout const& layout, double const* theta, double const* b0,
                   double* W, double* a, double* b, double* g_theta) {
    std::size_t const r = e.n_parameters(), C = e.n_classes;
    double const* const A = W + layout.a0;
    double* const hh = W + layout.hh;
    std::vector<double> h(C * r), t(C), centre(C * r);
    // At the means of the products; the interactions' part of it stands in w1.
    e.fill_designs(e.means.data(), centre.data());
    double origin = theta[0];
    for (unsigned i = 0; i < e.n_main; ++i)
        origin += theta[1 + i] * e.means[i];
    distribution joint(C + 1, r), given(C, r);
    joint.m = C + 1;
    joint.h[0] = nullptr;
    for (std::size_t c = 0; c < C; ++c)
        joint.h[c + 1] = &h[c * r];

    for (unsigned s = 0; s < data.n_subjects; ++s) {
        unsigned const g = data.distinct->ranks[s], m = e.n_local(g);
        a[s] = b[s] = 1;
        if (m == 0) continue;
        e.fill_designs(&e.products[std::size_t{s} * e.n_products], h.data());
        a[s] = A[0];
        for (std::size_t c = 0; c < C; ++c) {
            double exponent = origin;
            for (std::size_t i = c * r; i < (c + 1) * r; ++i)
                exponent += theta[i - c * r] * (h[i] - centre[i]);
            t[c] = std::exp(exponent);
            a[s] += A[c + 1] * t[c];
        }
        if (!std::isfinite(a[s])) return std::isnan(a[s]) ? 114 : 115;
        joint.u[0] = A[0] / a[s];
        for (std::size_t c = 0; c < C; ++c)
            joint.u[c + 1] = A[c + 1] * t[c] / a[s];
        joint.add_to(1, class_sums<double>(W + layout.joint, C + 1), hh, g_theta);
        if (data.status[s] == 0) {
            b[s] = b0[g];
            continue;
        }
        double const* const B = W + layout.B[g];
        unsigned const* const local = &e.local[e.first[g]];
        class_sums<double> const observed(W + layout.observed[g], m);
        if (m == 1) {
            // Nothing varies given the genotype.
            b[s] = B[0] * t[local[0]];
            observed.P[0] += 1;
            observed.UU[0] += 1;
            for (std::size_t i = 0; i < r; ++i)
                g_theta[i] += h[local[0] * r + i];
            continue;
        }
        b[s] = 0;
        for (unsigned l = 0; l < m; ++l)
            b[s] += B[l] * t[local[l]];
        given.m = m;
        for (unsigned l = 0; l < m; ++l) {
            given.u[l] = B[l] * t[local[l]] / b[s];
            given.h[l] = &h[local[l] * r];
        }
        given.add_to(-1, observed, hh, g_theta);
    }
    return 1;
}

double subjects_llh(case_control_ggi_data const& data, double const* a, double const* b) {
    double sum = 0;
    for (unsigned s = 0; s < data.n_subjects; ++s)
        sum += std::log(b[s]) - std::log(a[s]);
    return sum;
}
