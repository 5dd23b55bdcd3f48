// Fits along the profile of one parameter, and changes of a model around its evaluation.
#include "ggi/engine/profile.h"

#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>

namespace {

constexpr double LONGEST_START = 4; // for the first distance, in which no effect is looked for
constexpr double FARTHEST = 200;    // distance at which the profile counts as flat
constexpr unsigned MOST_FITS = 60;  // for one root
constexpr double ROOT_TOLERANCE = 1e-4;
constexpr double BETTER = 1e-6; // by which a profile proves the fit not to be the maximum

// Fits with one parameter fixed, each from the estimates of the one before.
struct profile {
    profiled_fit const& fit;
    unsigned k;
    std::vector<double> x;
    std::vector<char> is_fixed;

    profile(profiled_fit const& of, unsigned parameter)
        : fit(of), k(parameter), x(of.x, of.x + of.model.p), is_fixed(of.model.p) {
        is_fixed[k] = 1;
    }
    // Twice the distance of l_p(b) below the maximum, or not a number.
    double ratio(double b) {
        x[k] = b;
        safeguarded_outcome const out = safeguarded_fit(fit.model, &is_fixed, x.data());
        double const distance = fit.outcome.log_likelihood - out.log_likelihood;
        if (!out.has_succeeded() || distance < -BETTER) return QNAN;
        return 2 * std::max(distance, 0.0);
    }
};

} // namespace

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
    double low = runs != 0 ? -FARTHEST : 0, excess_low = -quantile;
    double high = runs != 0 ? 0 : std::min(start, LONGEST_START), excess_high = excess(high);
    for (double step = std::max(high, 1.0); excess_high < 0; step *= 2) {
        if (high > FARTHEST) return SUCCESS;
        low = high;
        excess_low = excess_high;
        high += step;
        excess_high = excess(high);
    }
    for (double step = 2; low == -FARTHEST && high > low; step *= 2) {
        double const next = high - step, value = excess(next);
        (value < 0 ? low : high) = next;
        (value < 0 ? excess_low : excess_high) = value;
    }
    if (!(high > low)) return NOT_CONVERGED;
    // Regula falsi on the signed root of the ratio, which is nearly linear; the value of an end that
    // stays is halved.
    double root = high, value = excess_high;
    int stays = 0;
    for (unsigned n = 0; n < MOST_FITS && std::fabs(value) > ROOT_TOLERANCE; ++n) {
        root = (low * excess_high - high * excess_low) / (excess_high - excess_low);
        value = excess(root);
        if (std::isnan(value)) break;
        bool const is_low = value < 0;
        (is_low ? low : high) = root;
        (is_low ? excess_low : excess_high) = value;
        if (stays == (is_low ? 1 : -1)) (is_low ? excess_high : excess_low) /= 2;
        stays = is_low ? 1 : -1;
    }
    if (!(std::fabs(value) <= ROOT_TOLERANCE)) return NOT_CONVERGED;
    bound = origin + side * root;
    return SUCCESS;
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
