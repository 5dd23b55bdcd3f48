// Terms as parameters of their own.
#include "ggi/engine/term_estimates.h"

#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr double FIRST_DISTANCE = 2; // at which a bound is looked for without a standard error
constexpr double NOTHING = 1e-6;     // a likelihood ratio that is rounding

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
    double error; // of the term
    bool has_succeeded = true;

    // V: the covariance of the fit `of`, which is done anew where it does not determine all of a.
    term_fit(profiled_fit const& of, std::vector<double> const& V, std::vector<double> const& a)
        : k(0), model(of.model), outcome(of.outcome), x(of.x, of.x + of.model.p), other(of.other),
          error(error_of(a, V)) {
        auto const is_less = [](double b, double c) { return std::fabs(b) < std::fabs(c); };
        k = static_cast<unsigned>(std::max_element(a.begin(), a.end(), is_less) - a.begin());
        unit = a[k];
        unsigned const p = model.p;
        std::vector<double> c(p);
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
    profiled_fit profiled() const { return {model, outcome, x.data(), other}; }
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
    if (direction != 0 && ratio <= NOTHING) return result;
    if (t.requests & RATIO) result.ratio = ratio;
    result.end = direction == 0  ? term_end::finite
                 : direction > 0 ? term_end::plus_infinity
                                 : term_end::minus_infinity;
    result.estimate = direction == 0 ? at.x[at.k] * at.unit : direction * INF;
    if (direction == 0) result.standard_error = at.error;
    if ((t.requests & INTERVAL) || (direction != 0 && (t.requests & INFINITE_BOUND)))
        at.interval(quantile, result.lower, result.upper);
    return result;
}

bool is_penalised(requested_term const& t, fitted_term const& result) {
    return (t.requests & PENALISED) && result.end != term_end::not_identifiable;
}

void penalise_terms(profiled_fit const& fit, std::vector<requested_term> const& terms,
                    double quantile, std::vector<fitted_term>& results) {
    std::vector<unsigned> sparse;
    for (std::size_t j = 0; j < terms.size(); ++j)
        if (is_penalised(terms[j], results[j])) sparse.push_back(terms[j].parameter);
    if (sparse.empty()) return;
    unsigned const p = fit.model.p;
    safeguarded_model const model = penalised(fit.model, sparse);
    std::vector<double> x(fit.x, fit.x + p), V(std::size_t{p} * p);
    for (unsigned k = 0; k < p; ++k)
        if (!fit.outcome.is_estimable(k)) x[k] = start_for_infinite(x[k]);
    safeguarded_outcome const outcome = best_fit(model, fit.other, nullptr, x.data());
    if (!outcome.has_succeeded() ||
        safeguarded_covariance(model, outcome, x.data(), V.data()) != SUCCESS)
        return;
    for (std::size_t j = 0; j < terms.size(); ++j) {
        if (!is_penalised(terms[j], results[j])) continue;
        fitted_term const t = estimate_term({model, outcome, x.data(), fit.other}, V,
                                            {terms[j].a, 0, RATIO + INTERVAL}, quantile);
        results[j].penalised = t.estimate;
        results[j].penalised_error = t.standard_error;
        results[j].penalised_ratio = t.ratio;
        results[j].penalised_lower = t.lower;
        results[j].penalised_upper = t.upper;
    }
}

} // namespace

std::vector<fitted_term> estimate_terms(profiled_fit const& fit, std::vector<double> const& V,
                                        std::vector<requested_term> const& terms, double quantile) {
    std::vector<fitted_term> results;
    for (requested_term const& t : terms)
        results.push_back(estimate_term(fit, V, t, quantile));
    penalise_terms(fit, terms, quantile, results);
    return results;
}
