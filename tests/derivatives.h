// Checks of a likelihood model against numerical derivatives.
#ifndef QUILMAR_TESTS_DERIVATIVES_H
#define QUILMAR_TESTS_DERIVATIVES_H

#include "ggi/case_control_ggi_hwd.h"
#include "ggi/case_control_ggi_hwq.h"
#include "numeric/lu.h"
#include "tests/support.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

char const* const MODES[] = {"additive", "recessive", "dominant", "codominant"};

// One evaluation of the model at x.
template <typename likelihood> struct evaluation : likelihood_work<likelihood> {
    std::vector<double> g, H;
    double llh;

    evaluation(case_control_ggi_data const& analysis, std::vector<double> const& x)
        : likelihood_work<likelihood>(analysis), g(x.size()), H(x.size() * x.size()) {
        EXPECT_EQ(this->evaluate(x.data(), llh, g.data()), 1);
        this->information(H.data());
    }
};

template <typename likelihood> void expect_derivatives(study const& s) {
    std::size_t const p = s.ccg.n_parameters;
    std::vector<double> x(s.fit.estimates, s.fit.estimates + p);
    for (std::size_t i = 0; i < p; ++i)
        x[i] += 0.3 * std::sin(5.0 * static_cast<double>(i + 1)); // away from the starting values
    evaluation<likelihood> const at(s.ccg, x);
    double const h = 1e-4;
    for (std::size_t i = 0; i < p; ++i) {
        std::vector<double> up = x, down = x;
        up[i] += h;
        down[i] -= h;
        evaluation<likelihood> const above(s.ccg, up), below(s.ccg, down);
        EXPECT_NEAR(at.g[i], (above.llh - below.llh) / (2 * h), 2e-4) << i;
        for (std::size_t j = 0; j <= i; ++j)
            EXPECT_NEAR(at.H[i * p + j], -(above.g[j] - below.g[j]) / (2 * h), 2e-4)
                << i << "," << j;
    }
}

// Standard errors against a numerical Jacobian of transform and the inverse matrix.
template <typename likelihood> void expect_standard_errors(study const& s) {
    unsigned const p = s.ccg.n_parameters;
    std::vector<double> x(s.fit.estimates, s.fit.estimates + p), se(p + 1), J((p + 1) * p);
    ASSERT_EQ(likelihood::std_err(s.ccg, x.data(), se.data()), 1);
    evaluation<likelihood> at(s.ccg, x);
    for (unsigned i = 0; i < p; ++i)
        for (unsigned j = 0; j < i; ++j)
            at.H[j * p + i] = at.H[i * p + j];
    ASSERT_EQ(lu_inverse(at.H.data(), p), 201);
    double const h = 1e-5;
    for (unsigned l = 0; l < p; ++l) {
        std::vector<double> up = x, down = x, above(p + 1), below(p + 1);
        up[l] += h;
        down[l] -= h;
        likelihood::transform(s.ccg, up.data(), above.data());
        likelihood::transform(s.ccg, down.data(), below.data());
        for (unsigned r = 0; r <= p; ++r)
            J[r * p + l] = (above[r] - below[r]) / (2 * h);
    }
    for (unsigned r = 0; r <= p; ++r) {
        double variance = 0;
        for (unsigned k = 0; k < p; ++k)
            for (unsigned l = 0; l < p; ++l)
                variance += J[r * p + k] * at.H[k * p + l] * J[r * p + l];
        EXPECT_NEAR(se[r] / std::sqrt(variance), 1, 1e-6) << r;
    }
}

#endif
