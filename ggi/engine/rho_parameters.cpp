// Change of parameters of a disequilibrium model.
#include "ggi/engine/rho_parameters.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <numeric>

namespace {

constexpr double SMALLEST_S = 1e-9;
constexpr double SCORED_S = 1e-6; // small, and yet above what rounding leaves of G

// w with its first and second derivative in the parameter that stands for it.
struct shift {
    double w, slope, curvature;
};

shift shift_of_t(double t) {
    double const s = s_of_t(t), slope = -2 * t / s;
    return {-std::log(s), slope, slope * slope - 2 / s};
}

shift shift_of_w(double w) {
    return {w, 1, 0};
}

// x := r + w, for r in place of x but for the last one.
void to_x(double const* theta, unsigned K, double w, std::vector<double>& x) {
    std::copy(theta, theta + x.size(), x.begin());
    x[K - 1] = 0;
    for (unsigned k = 0; k < K; ++k)
        x[k] += w;
}

// The sum over the first K parameters of row l of the symmetric matrix whose lower triangle is H.
double row_sum(double const* H, std::size_t p, std::size_t K, std::size_t l) {
    double sum = 0;
    for (std::size_t k = 0; k < K; ++k)
        sum += k <= l ? H[l * p + k] : H[k * p + l];
    return sum;
}

// What the information needs of the last evaluation.
struct last_evaluation {
    std::vector<double> x;
    shift by;
    double G;
};

safeguarded_model shifted(safeguarded_model const& model, unsigned K, shift (*shift_of)(double)) {
    safeguarded_model changed = model;
    std::size_t const p = model.p;
    auto const last = std::make_shared<last_evaluation>();
    last->x.resize(p);
    changed.evaluate = [model, K, shift_of, last](double const* theta, double& L, double* g) {
        last->by = shift_of(theta[K - 1]);
        to_x(theta, K, last->by.w, last->x);
        int const status = model.evaluate(last->x.data(), L, g);
        last->G = std::accumulate(g, g + K, 0.0);
        g[K - 1] = last->by.slope * last->G;
        return status;
    };
    changed.information = [model, K, p, last](double* H) {
        model.information(H);
        double const slope = last->by.slope;
        std::vector<double> row(p);
        for (std::size_t l = 0; l < p; ++l)
            row[l] = slope * row_sum(H, p, K, l);
        double const total = std::accumulate(row.begin(), row.begin() + K, 0.0);
        for (std::size_t l = 0; l < p; ++l)
            (l < K ? H[(K - 1) * p + l] : H[l * p + K - 1]) = row[l];
        H[(K - 1) * (p + 1)] = slope * total - last->by.curvature * last->G;
    };
    return changed;
}

} // namespace

safeguarded_model regular_at_zero(safeguarded_model const& model, unsigned K) {
    return shifted(model, K, shift_of_t);
}

safeguarded_model logarithmic_in_s(safeguarded_model const& model, unsigned K) {
    return shifted(model, K, shift_of_w);
}

double s_of_t(double t) {
    return SMALLEST_S + t * t;
}

double rho_of_s(double s, double f) {
    return s * f / (1 + s * f);
}

double t_of_rho(double rho, double f) {
    return std::sqrt(std::max(0.0, rho / ((1 - rho) * f) - SMALLEST_S));
}

int rho_score(safeguarded_model const& model, unsigned K, double const* at, double& score) {
    std::vector<double> x(model.p), g(model.p);
    to_x(at, K, -std::log(SCORED_S), x);
    double L, sum = 1;
    int const status = model.evaluate(x.data(), L, g.data());
    for (unsigned k = 0; k + 1 < K; ++k)
        sum += std::exp(at[k]);
    score = -std::accumulate(g.begin(), g.begin() + K, 0.0) / SCORED_S * sum;
    return status;
}
