// Change of parameters of a disequilibrium model.
#include "ggi/engine/rho_parameters.h"

#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numeric>

namespace {

constexpr double SMALLEST_S = 1e-9;
constexpr double SCORED_S = 1e-6; // small, and yet above what rounding leaves of G

// What the information needs of the last evaluation.
struct last_evaluation {
    std::vector<double> x;
    double t, s, G;
};

void to_x(double const* theta, unsigned K, double s, std::vector<double>& x) {
    std::copy(theta, theta + x.size(), x.begin());
    x[K - 1] = 0;
    for (unsigned k = 0; k < K; ++k)
        x[k] -= std::log(s);
}

// The sum over the first K parameters of row l of the symmetric matrix whose lower triangle is H.
double row_sum(double const* H, std::size_t p, std::size_t K, std::size_t l) {
    double sum = 0;
    for (std::size_t k = 0; k < K; ++k)
        sum += k <= l ? H[l * p + k] : H[k * p + l];
    return sum;
}

} // namespace

safeguarded_model regular_at_zero(safeguarded_model const& model, unsigned K) {
    safeguarded_model changed = model;
    std::size_t const p = model.p;
    auto const last = std::make_shared<last_evaluation>();
    last->x.resize(p);
    changed.evaluate = [model, K, last](double const* theta, double& L, double* g) {
        last->t = theta[K - 1];
        last->s = SMALLEST_S + last->t * last->t;
        to_x(theta, K, last->s, last->x);
        int const status = model.evaluate(last->x.data(), L, g);
        last->G = std::accumulate(g, g + K, 0.0);
        g[K - 1] = -2 * last->t * last->G / last->s;
        return status;
    };
    changed.information = [model, K, p, last](double* H) {
        model.information(H);
        double const s = last->s, slope = 2 * last->t / s, G = last->G;
        std::vector<double> row(p);
        for (std::size_t l = 0; l < p; ++l)
            row[l] = -slope * row_sum(H, p, K, l);
        double const total = -std::accumulate(row.begin(), row.begin() + K, 0.0);
        for (std::size_t l = 0; l < p; ++l)
            (l < K ? H[(K - 1) * p + l] : H[l * p + K - 1]) = row[l];
        H[(K - 1) * (p + 1)] = slope * total - slope * slope * G + 2 * G / s;
    };
    return changed;
}

double t_of_rho(double rho, double f) {
    return std::sqrt(std::max(0.0, rho / ((1 - rho) * f) - SMALLEST_S));
}

double rho_of_t(double t, double f) {
    double const odds = (SMALLEST_S + t * t) * f;
    return odds / (1 + odds);
}

double rho_slope(double t, double f) {
    double const rho = rho_of_t(t, f);
    return rho * (1 - rho) * 2 * t / (SMALLEST_S + t * t);
}

int rho_score(safeguarded_model const& model, unsigned K, double const* at, double& score) {
    std::vector<double> x(model.p), g(model.p);
    to_x(at, K, SCORED_S, x);
    double L, sum = 1;
    int const status = model.evaluate(x.data(), L, g.data());
    for (unsigned k = 0; k + 1 < K; ++k)
        sum += std::exp(at[k]);
    score = -std::accumulate(g.begin(), g.begin() + K, 0.0) / SCORED_S * sum;
    return status;
}
