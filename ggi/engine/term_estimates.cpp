// Terms as parameters of their own.
#include "ggi/engine/term_estimates.h"

#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr double FIRST_DISTANCE = 2; // at which a bound is looked for without a standard error
constexpr unsigned MOST_CLIMBS = 5;
constexpr double NOTHING = 1e-6; // a likelihood ratio that is rounding

bool is_estimable(std::vector<double> const& a, safeguarded_outcome const& outcome) {
    for (unsigned l = 0; l < a.size(); ++l)
        if (a[l] != 0 && !outcome.is_estimable(l)) return false;
    return true;
}

// Standard error of a'x.
double error_of(std::vector<double> const& a, std::vector<double> const& V) {
    std::size_t const p = a.size();
    double variance = 0;
    for (std::size_t l = 0; l < p; ++l)
        for (std::size_t k = 0; a[l] != 0 && k < p; ++k)
            variance += a[l] * a[k] * V[l * p + k];
    return std::sqrt(variance);
}

// A fit in which a term, in a unit, is the parameter k.
struct term_fit {
    unsigned k;
    double unit;
    safeguarded_model model;
    safeguarded_outcome outcome;
    std::vector<double> x;
    restart const* other;
    double error;          // of the term
    std::vector<double> c; // of sheared
    bool has_succeeded = true;
    mutable std::vector<double> higher;

    // V: the covariance of the fit `of`, which is done anew where it does not determine all of a.
    term_fit(profiled_fit const& of, std::vector<double> const& V, std::vector<double> const& a)
        : k(0), model(of.model), outcome(of.outcome), x(of.x, of.x + of.model.p), other(of.other),
          error(error_of(a, V)) {
        auto const is_less = [](double u, double v) { return std::fabs(u) < std::fabs(v); };
        k = static_cast<unsigned>(std::max_element(a.begin(), a.end(), is_less) - a.begin());
        unit = a[k];
        unsigned const p = model.p;
        c.resize(p);
        for (unsigned l = 0; l < p; ++l)
            if (l != k) c[l] = a[l] / unit;
        if (std::all_of(c.begin(), c.end(), [](double c_l) { return c_l == 0; })) return;
        bool const is_fitted = is_estimable(a, outcome);
        for (unsigned l = 0; !is_fitted && l < p; ++l)
            if (!outcome.is_estimable(l)) x[l] = start_for_infinite(x[l]);
        for (unsigned l = 0; l < p; ++l)
            x[k] += c[l] * x[l];
        model = sheared(of.model, k, c);
        if (!is_fitted) refit();
    }
    profiled_fit profiled() const { return {model, outcome, x.data(), other, &higher}; }
    // Parameters of the fit it is made of with a higher log-likelihood, if a profile found any.
    std::vector<double> found_higher() const {
        std::vector<double> found = higher;
        for (unsigned l = 0; !found.empty() && l < c.size(); ++l)
            if (l != k) found[k] -= c[l] * found[l];
        return found;
    }
    int direction() const { return outcome.direction[k] * (unit < 0 ? -1 : 1); }

    void refit() {
        std::vector<double> V(std::size_t{model.p} * model.p);
        outcome = best_fit(model, other, nullptr, x.data());
        has_succeeded = outcome.has_succeeded() &&
                        safeguarded_covariance(model, outcome, x.data(), V.data()) == SUCCESS;
        error = std::fabs(unit) * std::sqrt(V[std::size_t{k} * (model.p + 1)]);
    }
    double ratio() const {
        double value;
        return profile_ratio(profiled(), k, value) == SUCCESS ? value : QNAN;
    }
    void interval(double quantile, double& lower, double& upper) const {
        double const distance = error > 0 ? quantile * error / std::fabs(unit) : FIRST_DISTANCE;
        for (int const side : {-1, 1}) {
            double bound;
            if (profile_bound(profiled(), k, side, quantile, distance, bound) == SUCCESS)
                (side * unit < 0 ? lower : upper) = bound * unit;
        }
    }
};

fitted_term estimate_term(profiled_fit const& fit, std::vector<double> const& V,
                          requested_term const& t, double quantile) {
    fitted_term result{
        term_end::not_identifiable, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN};
    term_fit const at(fit, V, t.a);
    if (!at.has_succeeded) result.end = term_end::undecided;
    if (!at.has_succeeded || at.outcome.unidentified[at.k]) return result;
    int const direction = at.direction();
    if (direction == 0 && std::isnan(at.error)) return result;
    double const ratio = direction != 0 || (t.requests & RATIO) ? at.ratio() : QNAN;
    if (fit.higher != nullptr) *fit.higher = at.found_higher();
    if (direction != 0 && ratio <= NOTHING) return result;
    if (t.requests & RATIO) result.ratio = ratio;
    result.end = direction == 0  ? term_end::finite
                 : direction > 0 ? term_end::plus_infinity
                                 : term_end::minus_infinity;
    result.estimate = direction == 0 ? at.x[at.k] * at.unit : direction * INF;
    if (direction == 0) result.standard_error = at.error;
    if ((t.requests & INTERVAL) || (direction != 0 && (t.requests & INFINITE_BOUND)))
        at.interval(quantile, result.lower, result.upper);
    if (fit.higher != nullptr) *fit.higher = at.found_higher();
    return result;
}

// The terms, up to one whose profile has found a higher log-likelihood.
std::vector<fitted_term> estimate_all(profiled_fit const& fit, std::vector<double> const& V,
                                      std::vector<requested_term> const& terms, double quantile) {
    std::vector<fitted_term> results;
    for (requested_term const& t : terms) {
        results.push_back(estimate_term(fit, V, t, quantile));
        if (fit.higher != nullptr && !fit.higher->empty()) break;
    }
    return results;
}

// Fits anew from `x`; is there a maximum with a covariance?
bool refit(safeguarded_model const& model, restart const* other, std::vector<double> const& x,
           term_estimates& e) {
    e.x = x;
    e.outcome = best_fit(model, other, nullptr, e.x.data());
    e.has_succeeded = e.outcome.has_succeeded() &&
                      safeguarded_covariance(model, e.outcome, e.x.data(), e.V.data()) == SUCCESS;
    return e.has_succeeded;
}

// Estimates the terms of e, and does so anew where a profile finds more than the maximum.
void climb(safeguarded_model const& model, restart const* other,
           std::vector<requested_term> const& terms, double quantile, term_estimates& e) {
    for (unsigned n = 0; n <= MOST_CLIMBS; ++n) {
        std::vector<double> higher;
        profiled_fit const fit{model, e.outcome, e.x.data(), other,
                               n < MOST_CLIMBS ? &higher : nullptr};
        e.terms = estimate_all(fit, e.V, terms, quantile);
        if (higher.empty() || !refit(model, other, higher, e)) return;
    }
}

void penalise_terms(restart const* other, safeguarded_model const& plain,
                    std::vector<requested_term> const& terms, double quantile, term_estimates& e) {
    std::vector<unsigned> sparse;
    std::vector<requested_term> penalised_ones;
    for (requested_term const& t : terms) {
        if (!(t.requests & PENALISED)) continue;
        sparse.push_back(t.parameter);
        penalised_ones.push_back({t.a, t.parameter, RATIO + INTERVAL});
    }
    if (sparse.empty()) return;
    std::vector<double> start = e.x;
    for (unsigned k = 0; k < plain.p; ++k)
        if (!e.outcome.is_estimable(k)) start[k] = start_for_infinite(start[k]);
    safeguarded_model const model = penalised(plain, sparse);
    term_estimates with_penalty{false, e.outcome, {}, e.V, {}};
    if (!refit(model, other, start, with_penalty)) return;
    climb(model, other, penalised_ones, quantile, with_penalty);
    if (!with_penalty.has_succeeded) return;
    std::size_t i = 0;
    for (std::size_t j = 0; j < terms.size(); ++j) {
        if (!(terms[j].requests & PENALISED)) continue;
        fitted_term const& t = with_penalty.terms[i++];
        e.terms[j].penalised = t.estimate;
        e.terms[j].penalised_error = t.standard_error;
        e.terms[j].penalised_ratio = t.ratio;
        e.terms[j].penalised_lower = t.lower;
        e.terms[j].penalised_upper = t.upper;
    }
}

} // namespace

term_estimates estimate_terms(profiled_fit const& fit, std::vector<double> const& V,
                              std::vector<requested_term> const& terms, double quantile) {
    term_estimates e{true, fit.outcome, std::vector<double>(fit.x, fit.x + fit.model.p), V, {}};
    climb(fit.model, fit.other, terms, quantile, e);
    if (e.has_succeeded) penalise_terms(fit.other, fit.model, terms, quantile, e);
    return e;
}
