// The safeguarded fit by itself: maxima, ridges, singular directions and failures of small functions.
#include "ggi/engine/safeguarded_fit.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

// Log-likelihood, score and information of a logistic regression on the rows of X with n subjects
// each, of whom y have the outcome.
struct logit {
    std::vector<std::vector<double>> X;
    std::vector<double> n, y;
    std::vector<double> mu;

    safeguarded_model model() {
        unsigned const p = static_cast<unsigned>(X[0].size());
        return {p,
                [this, p](double const* x, double& L, double* g) {
                    L = 0;
                    std::fill(g, g + p, 0.0);
                    mu.resize(X.size());
                    for (std::size_t i = 0; i < X.size(); ++i) {
                        double eta = 0;
                        for (unsigned k = 0; k < p; ++k)
                            eta += X[i][k] * x[k];
                        mu[i] = 1 / (1 + std::exp(-eta));
                        L += y[i] * eta - n[i] * (eta > 0 ? eta + std::log1p(std::exp(-eta))
                                                          : std::log1p(std::exp(eta)));
                        for (unsigned k = 0; k < p; ++k)
                            g[k] += X[i][k] * (y[i] - n[i] * mu[i]);
                    }
                    return int{SUCCESS};
                },
                [this, p](double* H) {
                    for (unsigned k = 0; k < p; ++k)
                        for (unsigned l = 0; l <= k; ++l) {
                            double& h = H[k * p + l] = 0;
                            for (std::size_t i = 0; i < X.size(); ++i)
                                h += n[i] * mu[i] * (1 - mu[i]) * X[i][k] * X[i][l];
                        }
                },
                nullptr};
    }
};

// -(x^2 - 1)^2: a minimum between two maxima, and a value that is not finite beyond 100.
int two_peaks(double const* x, double& L, double* g) {
    double const a = *x * *x - 1;
    L = -a * a;
    *g = -4 * *x * a;
    return std::fabs(*x) > 100 ? NOT_FINITE : SUCCESS;
}

} // namespace

// The log odds of three groups. Where a group has only one outcome its contrast is infinite, and
// the others' estimates and variances are those without this group; two columns that are the same
// cannot be told apart, and the third column is as if there were one of them.
TEST(safeguarded_fit, ends) {
    std::vector<std::vector<double>> const groups = {{1, 0, 0}, {1, 1, 0}, {1, 0, 1}};
    double const a = std::log(30 / 70.0), b = std::log(80 / 20.0);
    struct {
        char const* what;
        std::vector<std::vector<double>> X;
        std::vector<double> y;
        fit_end end;
        std::vector<int> direction;
        std::vector<char> unidentified;
        std::vector<double> x, variance; // 0 where there is no estimate
    } const cases[] = {
        {"maximum",
         groups,
         {30, 50, 80},
         fit_end::converged,
         {0, 0, 0},
         {0, 0, 0},
         {a, -a, b - a},
         {1 / 21.0, 1 / 21.0 + 1 / 25.0, 1 / 21.0 + 1 / 16.0}},
        {"no outcome",
         groups,
         {30, 0, 80},
         fit_end::infinite,
         {0, -1, 0},
         {0, 0, 0},
         {a, 0, b - a},
         {1 / 21.0, 0, 1 / 21.0 + 1 / 16.0}},
        {"both",
         groups,
         {30, 100, 0},
         fit_end::infinite,
         {0, 1, -1},
         {0, 0, 0},
         {a, 0, 0},
         {1 / 21.0, 0, 0}},
        {"the base runs with both",
         groups,
         {0, 50, 80},
         fit_end::infinite,
         {-1, 1, 1},
         {0, 0, 0},
         {0, 0, 0},
         {0, 0, 0}},
        {"the same twice",
         {{1, 0, 0}, {1, 1, 1}, {1, 0, 0}},
         {30, 50, 30},
         fit_end::not_identifiable,
         {0, 0, 0},
         {0, 1, 1},
         {a, 0, 0},
         {1 / 42.0, 0, 0}},
        {"a column of 0",
         {{1, 0, 0}, {1, 1, 0}, {1, 0, 0}},
         {30, 0, 30},
         fit_end::not_identifiable,
         {0, -1, 0},
         {0, 0, 1},
         {a, 0, 0},
         {1 / 42.0, 0, 0}},
        {"next to nothing",
         {{1, 0, 0}, {1, 1, 0}, {1, 0, 1e-5}},
         {30, 50, 30},
         fit_end::not_identifiable,
         {0, 0, 0},
         {0, 0, 1},
         {a, -a, 0},
         {1 / 42.0, 1 / 42.0 + 1 / 25.0, 0}},
        {"scales",
         {{1e8, 0, 0}, {1e8, 1e-8, 0}, {1e8, 0, 1e3}},
         {30, 50, 80},
         fit_end::converged,
         {0, 0, 0},
         {0, 0, 0},
         {a / 1e8, -a * 1e8, (b - a) / 1e3},
         {1e-16 / 21, 1e16 * (1 / 21.0 + 1 / 25.0), 1e-6 * (1 / 21.0 + 1 / 16.0)}},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        logit data{c.X, {100, 100, 100}, c.y, {}};
        safeguarded_model model = data.model();
        std::vector<double> const units = {INF, INF, INF};
        if (std::string(c.what) == "scales") model.units = units.data();
        std::vector<double> x(3), V(9);
        safeguarded_outcome const out = safeguarded_fit(model, nullptr, x.data());
        EXPECT_EQ(out.end, c.end);
        EXPECT_EQ(out.direction, c.direction);
        EXPECT_EQ(out.unidentified, c.unidentified);
        ASSERT_EQ(safeguarded_covariance(model, out, x.data(), V.data()), SUCCESS);
        double L = 0;
        for (double const y : c.y)
            L += (y > 0 ? y * std::log(y / 100) : 0) +
                 (y < 100 ? (100 - y) * std::log1p(-y / 100) : 0);
        EXPECT_NEAR(out.log_likelihood, L, 1e-7);
        for (unsigned k = 0; k < 3; ++k) {
            EXPECT_EQ(out.is_estimable(k), c.variance[k] > 0) << k;
            if (c.variance[k] == 0) continue;
            EXPECT_NEAR(x[k] / c.x[k], 1, 1e-9) << k;
            EXPECT_NEAR(V[4 * k] / c.variance[k], 1, 1e-7) << k;
        }
    }
}

TEST(safeguarded_fit, holds_what_is_fixed_and_leaves_minima) {
    logit data{{{1, 0}, {1, 1}}, {100, 100}, {30, 50}, {}};
    std::vector<double> x = {0, 2}, V(4);
    std::vector<char> const is_fixed = {0, 1};
    safeguarded_outcome const out = safeguarded_fit(data.model(), &is_fixed, x.data());
    EXPECT_EQ(out.end, fit_end::converged);
    EXPECT_EQ(x[1], 2);
    EXPECT_NEAR(100 / (1 + std::exp(-x[0])) + 100 / (1 + std::exp(-x[0] - 2)), 80, 1e-8);

    for (double const start : {0.0, 1e-9, -99.0, 101.0}) {
        double at = start;
        safeguarded_model const model{1, two_peaks, [&](double* H) { *H = 12 * at * at - 4; },
                                      nullptr};
        safeguarded_outcome const end = safeguarded_fit(model, nullptr, &at);
        EXPECT_EQ(end.end, start > 100 ? fit_end::broken_down : fit_end::converged) << start;
        EXPECT_NEAR(std::fabs(at), start < 100 ? 1 : 101, 1e-7) << start;
    }
}
