// Fits along the profile of one parameter, and changes of a model around its evaluation.
#include "ggi/engine/profile.h"

#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>

namespace {

constexpr double INFINITE_START = 4;
constexpr double LONGEST_START = 4; // for the first distance, in which no effect is looked for
constexpr double FARTHEST = 200;    // distance at which the profile counts as flat
constexpr unsigned MOST_FITS = 60;  // for one root
// |q| less the quantile from which one more step of Newton's method ends below 1e-8.
constexpr double ROOT_TOLERANCE = 1e-5;
constexpr double BETTER = 1e-6; // by which a profile proves the fit not to be the maximum

// Fits with one parameter fixed, each from the estimates of the one before.
struct profile {
    profiled_fit const& fit;
    unsigned k;
    std::vector<double> x;
    std::vector<char> is_fixed;
    double slope; // of |q| in b, at the last b

    profile(profiled_fit const& of, unsigned parameter)
        : fit(of), k(parameter), x(of.x, of.x + of.model.p), is_fixed(of.model.p), slope(QNAN) {
        is_fixed[k] = 1;
        for (unsigned l = 0; l < of.model.p; ++l)
            if (!of.outcome.is_estimable(l)) x[l] = start_for_infinite(x[l]);
    }
    // Twice the distance of l_p(b) below the maximum, or not a number.
    double ratio(double b) {
        x[k] = b;
        safeguarded_outcome const out = best_fit(fit.model, fit.other, &is_fixed, x.data());
        double const distance = fit.outcome.log_likelihood - out.log_likelihood;
        if (out.has_succeeded() && distance < -BETTER && fit.higher != nullptr) *fit.higher = x;
        if (!out.has_succeeded() || distance < -BETTER) return QNAN;
        double const ratio = 2 * std::max(distance, 0.0);
        slope = -out.score[k] / std::sqrt(ratio);
        return ratio;
    }
};

// Distances from an origin between which |q| is the quantile, with |q| less the quantile there.
struct bracket {
    double low, excess_low, high, excess_high;

    // Is the root at the distance of the bound?
    bool is_found() const { return high > low; }
    double middle() const {
        return std::isfinite(excess_low)
                   ? (low * excess_high - high * excess_low) / (excess_high - excess_low)
                   : (low + high) / 2;
    }
    void narrow(double distance, double excess) {
        (excess < 0 ? low : high) = distance;
        (excess < 0 ? excess_low : excess_high) = excess;
    }
};

} // namespace

double start_for_infinite(double estimate) {
    return std::max(-INFINITE_START, std::min(estimate, INFINITE_START));
}

bool go_to_best(restart const& other, safeguarded_model const& model, double* x) {
    double best = -INF, best_value = 0, L;
    std::vector<double> g(model.p);
    for (double const value : other.values) {
        x[other.parameter] = value;
        if (model.evaluate(x, L, g.data()) != SUCCESS || !(L > best)) continue;
        best = L;
        best_value = value;
    }
    x[other.parameter] = best_value;
    return best > -INF;
}

safeguarded_outcome best_fit(safeguarded_model const& model, restart const* other,
                             std::vector<char> const* is_fixed, double* x) {
    std::vector<double> second(x, x + model.p);
    bool const has_second = other != nullptr && go_to_best(*other, model, second.data());
    safeguarded_outcome const first = safeguarded_fit(model, is_fixed, x);
    if (!has_second) return first;
    safeguarded_outcome const out = safeguarded_fit(model, is_fixed, second.data());
    bool const is_better = out.has_succeeded() &&
                           !(first.has_succeeded() && first.log_likelihood >= out.log_likelihood);
    if (!is_better) return first;
    std::copy(second.begin(), second.end(), x);
    return out;
}

int profile_bound(profiled_fit const& fit, unsigned k, int side, double quantile, double start,
                  double& bound) {
    int const runs = fit.outcome.direction[k];
    if (fit.outcome.unidentified[k]) return NOT_CONVERGED;
    bound = side * INF;
    if (runs == side) return SUCCESS;
    profile at(fit, k);
    // Against its direction a parameter that runs away is looked for from 0 on.
    double const origin = runs != 0 ? 0 : fit.x[k];
    auto const excess = [&](double distance) {
        return std::sqrt(at.ratio(origin + side * distance)) - quantile;
    };
    double distance = runs != 0 ? 0 : std::min(start, LONGEST_START), value = excess(distance);
    bracket range{runs != 0 ? -FARTHEST : 0, runs != 0 ? -INF : -quantile, distance, value};
    for (double step = std::max(distance, 1.0); value < 0; step *= 2) {
        if (distance > FARTHEST) return SUCCESS;
        range.narrow(distance, value);
        distance += step;
        range.high = distance;
        range.excess_high = value = excess(distance);
    }
    for (double step = 2; range.low == -FARTHEST && range.is_found(); step *= 2) {
        distance = std::max(range.high - step, -FARTHEST);
        range.narrow(distance, value = excess(distance));
    }
    if (!range.is_found()) return NOT_CONVERGED;
    for (unsigned n = 0; n < MOST_FITS; ++n) {
        double const newton = distance - side * value / at.slope;
        bool const is_inside = newton > range.low && newton < range.high;
        if (std::fabs(value) <= ROOT_TOLERANCE) {
            bound = origin + side * (is_inside ? newton : distance);
            return SUCCESS;
        }
        distance = is_inside ? newton : range.middle();
        value = excess(distance);
        if (std::isnan(value)) break;
        range.narrow(distance, value);
    }
    return NOT_CONVERGED;
}

int profile_ratio(profiled_fit const& fit, unsigned k, double& ratio) {
    if (fit.outcome.unidentified[k]) return NOT_CONVERGED;
    ratio = profile(fit, k).ratio(0);
    return std::isnan(ratio) ? NOT_CONVERGED : SUCCESS;
}

safeguarded_model penalised(safeguarded_model const& model, std::vector<unsigned> effects) {
    safeguarded_model changed = model;
    // Of the last evaluation: the logistic functions of the effects.
    auto const last = std::make_shared<std::vector<double>>(effects.size());
    changed.evaluate = [model, effects, last](double const* x, double& L, double* g) {
        int const status = model.evaluate(x, L, g);
        for (std::size_t e = 0; e < effects.size(); ++e) {
            double const b = x[effects[e]], tail = std::exp(-std::fabs(b));
            double const p = (b > 0 ? 1 : tail) / (1 + tail);
            (*last)[e] = p;
            L -= std::fabs(b) / 2 + std::log1p(tail);
            g[effects[e]] += 0.5 - p;
        }
        return status;
    };
    changed.information = [model, effects, last](double* H) {
        model.information(H);
        for (std::size_t e = 0; e < effects.size(); ++e)
            H[effects[e] * (std::size_t{model.p} + 1)] += (*last)[e] * (1 - (*last)[e]);
    };
    return changed;
}

// With y_k = x_k + c'x the log-likelihood is l(x(y)), x_k = y_k - c'y: the score of y_l is
// g_l - c_l g_k, and the information that of B'H B with B = I - e_k c'.
safeguarded_model sheared(safeguarded_model const& model, unsigned k, std::vector<double> c) {
    safeguarded_model changed = model;
    std::size_t const p = model.p;
    auto const x = std::make_shared<std::vector<double>>(p);
    changed.evaluate = [model, k, c, p, x](double const* y, double& L, double* g) {
        std::copy(y, y + p, x->begin());
        for (std::size_t l = 0; l < p; ++l)
            (*x)[k] -= c[l] * y[l];
        int const status = model.evaluate(x->data(), L, g);
        for (std::size_t l = 0; l < p; ++l)
            if (l != k) g[l] -= c[l] * g[k];
        return status;
    };
    changed.information = [model, k, c, p](double* H) {
        model.information(H);
        std::vector<double> row(p);
        for (std::size_t l = 0; l < p; ++l)
            row[l] = l <= k ? H[k * p + l] : H[l * p + k];
        for (std::size_t i = 0; i < p; ++i)
            for (std::size_t j = 0; j <= i; ++j)
                H[i * p + j] += c[i] * c[j] * row[k] - c[i] * row[j] - c[j] * row[i];
    };
    return changed;
}
