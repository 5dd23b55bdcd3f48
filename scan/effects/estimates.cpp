#include "scan/effects/estimates.h"

#include "scan/score/tails.h"

#include "ggi/engine/profile.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

namespace scan {

namespace {

// Where a penalised fit begins for a parameter that runs to infinity.
constexpr double FARTHEST_START = 4;
// Distance at which the bound of an infinite estimate is looked for first.
constexpr double FIRST_DISTANCE = 2;

// A model with its maximum.
struct fitted {
    safeguarded_model model;
    std::vector<double> x;
    safeguarded_outcome outcome;
    std::vector<double> covariance;

    fitted(safeguarded_model const& m, double const* start)
        : model(m), x(start, start + m.p), outcome(safeguarded_fit(model, nullptr, x.data())),
          covariance(std::size_t{m.p} * m.p) {
        has_succeeded =
            outcome.has_succeeded() &&
            safeguarded_covariance(model, outcome, x.data(), covariance.data()) == SUCCESS;
    }

    bool has_succeeded;

    double standard_error(unsigned k) const {
        return std::sqrt(covariance[std::size_t{k} * model.p + k]);
    }

    // ln p of the likelihood ratio, nan where it fails.
    double log_ratio_p(unsigned k) const {
        double ratio;
        if (profile_ratio({model, outcome, x.data()}, k, ratio) != SUCCESS)
            return effect_estimate::NONE;
        return log_p_chi_square(ratio, 1);
    }

    double bound(unsigned k, int side, double quantile, double start) const {
        double b;
        int const status = profile_bound({model, outcome, x.data()}, k, side, quantile, start, b);
        return status == SUCCESS ? b : effect_estimate::NONE;
    }
};

effect_estimate wald(fitted const& fit, unsigned k, double quantile) {
    effect_estimate e;
    e.beta = fit.x[k];
    e.standard_error = fit.standard_error(k);
    e.lower = e.beta - quantile * e.standard_error;
    e.upper = e.beta + quantile * e.standard_error;
    e.z = e.beta / e.standard_error;
    e.log_ratio_p = fit.log_ratio_p(k);
    return e;
}

// Of the penalised fit, with the bounds of its profile.
effect_estimate sparse_estimate(fitted const& penalised_fit, unsigned k, double quantile) {
    effect_estimate e = wald(penalised_fit, k, quantile);
    double const start = quantile * std::min(e.standard_error, FIRST_DISTANCE);
    e.lower = penalised_fit.bound(k, -1, quantile, start);
    e.upper = penalised_fit.bound(k, 1, quantile, start);
    e.code = effect_code::penalised;
    return e;
}

// An estimate at infinity. `profiled`: the fit whose profile bounds it on the other side and tests it.
effect_estimate infinite_estimate(fitted const& profiled, unsigned k, int direction,
                                  double quantile) {
    double const infinity = std::numeric_limits<double>::infinity();
    effect_estimate e;
    e.beta = direction * infinity;
    double const bound = profiled.bound(k, -direction, quantile, FIRST_DISTANCE);
    e.lower = direction > 0 ? bound : -infinity;
    e.upper = direction > 0 ? infinity : bound;
    e.log_ratio_p = profiled.log_ratio_p(k);
    e.code = effect_code::infinite;
    return e;
}

void divide(effect_estimate& e, double unit) {
    for (double* const value : {&e.beta, &e.standard_error, &e.lower, &e.upper})
        *value /= unit;
}

std::vector<unsigned> sparse_ones(std::vector<reported_parameter> const& reported,
                                  safeguarded_outcome const& outcome) {
    std::vector<unsigned> sparse;
    for (reported_parameter const& r : reported)
        if (r.support.is_sparse && !outcome.unidentified[r.index]) sparse.push_back(r.index);
    return sparse;
}

} // namespace

std::string text(effect_code code) {
    switch (code) {
    case effect_code::none: return ".";
    case effect_code::infinite: return "INFINITE";
    case effect_code::infinite_penalised: return "INFINITE_PENALISED";
    case effect_code::penalised: return "PENALISED";
    case effect_code::not_identifiable: return "NOT_IDENTIFIABLE";
    case effect_code::no_convergence: return "NO_CONVERGENCE";
    case effect_code::too_many_haplotypes: return "TOO_MANY_HAPLOTYPES";
    }
    return ".";
}

effect_estimate failed_estimate(effect_code code) {
    effect_estimate e;
    e.code = code;
    return e;
}

void choose_p(term_support support, effect_estimate& e) {
    bool const is_ratio = support.is_tested_by_ratio || std::isnan(e.z);
    e.log_p = is_ratio ? e.log_ratio_p : log_p_two_sided(e.z);
    if (!std::isnan(e.log_p)) e.type = is_ratio ? p_type::likelihood_ratio : p_type::wald;
}

std::vector<effect_estimate> estimate_effects(safeguarded_model const& model,
                                              std::vector<reported_parameter> const& reported,
                                              double level, double* x) {
    double const quantile = normal_quantile((1 + level) / 2);
    fitted const fit(model, x);
    if (!fit.has_succeeded)
        return std::vector<effect_estimate>(reported.size(),
                                            failed_estimate(effect_code::no_convergence));
    for (unsigned k = 0; k < model.p; ++k)
        x[k] = fit.outcome.direction[k] == 0
                   ? fit.x[k]
                   : std::clamp(fit.x[k], -FARTHEST_START, FARTHEST_START);
    std::vector<unsigned> const sparse = sparse_ones(reported, fit.outcome);
    std::optional<fitted> penalised_fit;
    if (!sparse.empty()) penalised_fit.emplace(penalised(model, sparse), x);

    std::vector<effect_estimate> estimates;
    for (reported_parameter const& r : reported) {
        int const direction = fit.outcome.direction[r.index];
        bool const is_sparse = r.support.is_sparse;
        fitted const& profiled = is_sparse && penalised_fit ? *penalised_fit : fit;
        effect_estimate e;
        if (fit.outcome.unidentified[r.index])
            e = failed_estimate(effect_code::not_identifiable);
        else if (!profiled.has_succeeded)
            e = failed_estimate(effect_code::no_convergence);
        else if (direction != 0) {
            e = infinite_estimate(profiled, r.index, direction, quantile);
            if (is_sparse) e.code = effect_code::infinite_penalised;
        } else
            e = is_sparse ? sparse_estimate(profiled, r.index, quantile)
                          : wald(fit, r.index, quantile);
        choose_p(r.support, e);
        divide(e, r.unit);
        estimates.push_back(e);
    }
    return estimates;
}

} // namespace scan
