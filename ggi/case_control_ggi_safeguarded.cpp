// Equilibrium first, then rho where the data ask for it; estimates, errors, tests and intervals.
#include "ggi/case_control_ggi_safeguarded.h"

#include "ggi/engine/profile.h"
#include "ggi/engine/rho_parameters.h"
#include "ggi/fitted_model.h"
#include "ggi/rho_climb.h"
#include "ggi/settings.h"
#include "ggi/standardised_record.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace {

constexpr double RUN_OUT = 1e-6; // a frequency that has gone to 0 is below

// Frequencies, rho and their errors by the delta method from the covariance V.
void report_population(fitted_model const& m, std::vector<double> const& V,
                       safeguarded_result& result) {
    std::size_t const p = m.model.p, n = m.n_ratios();
    std::vector<double> const f = m.frequencies();
    std::vector<double> slope(p);
    auto const error = [&] {
        double sum = 0;
        for (std::size_t i = 0; i <= n && i < p; ++i)
            for (std::size_t j = 0; j <= n && j < p; ++j)
                sum += slope[i] * slope[j] * V[i * p + j];
        return std::sqrt(sum);
    };
    result.frequencies = f;
    result.frequency_errors.assign(n + 1, QNAN);
    for (std::size_t k = 0; k <= n; ++k) {
        for (std::size_t l = 0; l < n; ++l)
            slope[l] = f[k] * ((k == l ? 1 : 0) - f[l]);
        if (k == n || m.outcome.is_estimable(static_cast<unsigned>(k)))
            result.frequency_errors[k] = error();
        else if (f[k] < RUN_OUT)
            result.frequencies[k] = 0;
    }
    if (m.hw == EQUILIBRIUM) return;
    double const s = m.is_logarithmic ? std::exp(-m.x[n]) : s_of_t(m.x[n]);
    double const rho = rho_of_s(s, f[n]);
    for (std::size_t l = 0; l < n; ++l)
        slope[l] = -rho * (1 - rho) * f[l];
    slope[n] = rho * (1 - rho) * (m.is_logarithmic ? -1 : 2 * m.x[n] / s);
    bool const is_estimable = m.outcome.is_estimable(static_cast<unsigned>(n));
    result.rho = is_estimable ? rho : std::round(rho);
    if (is_estimable) result.rho_error = error();
}

term_end end_of(fitted_model const& m, std::vector<double> const& A, unsigned term,
                double estimate) {
    unsigned const n = m.n_terms(), first = m.first_term();
    bool runs = false;
    for (unsigned l = 0; l < n; ++l) {
        if (A[term * n + l] == 0) continue;
        if (m.outcome.unidentified[first + l]) return term_end::not_identifiable;
        runs = runs || m.outcome.direction[first + l] != 0;
    }
    if (!runs) return term_end::finite;
    return estimate < 0 ? term_end::minus_infinity : term_end::plus_infinity;
}

// Standard error of the sum of a_l times the n parameters from `first` on.
double error_of(double const* a, std::size_t n, std::vector<double> const& V, std::size_t p,
                std::size_t first) {
    double variance = 0;
    for (std::size_t l = 0; l < n; ++l)
        for (std::size_t k = 0; k < n; ++k)
            variance += a[l] * a[k] * V[(first + l) * p + first + k];
    return std::sqrt(variance);
}

void report_terms(fitted_model const& m, std::vector<double> const& A, std::vector<double> const& V,
                  safeguarded_result& result) {
    std::size_t const p = m.model.p, n = m.n_terms(), first = m.first_term();
    result.terms.assign(
        n, {term_end::finite, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN});
    for (unsigned j = 0; j < n; ++j) {
        double const* const a = A.data() + j * n;
        double estimate = 0;
        for (std::size_t l = 0; l < n; ++l)
            estimate += a[l] * m.x[first + l];
        fitted_term& term = result.terms[j];
        term.end = end_of(m, A, j, estimate);
        if (term.end == term_end::finite) {
            term.estimate = estimate;
            term.standard_error = error_of(a, n, V, p, first);
        } else if (term.end != term_end::not_identifiable) {
            term.estimate = term.end == term_end::plus_infinity ? INF : -INF;
        }
    }
}

// A fit in which a term as it is has the place of its standardised parameter, in the unit of that.
struct term_fit {
    unsigned k;
    double unit;
    safeguarded_model model;
    std::vector<double> x;

    term_fit(safeguarded_model const& of, std::vector<double> const& at,
             std::vector<double> const& A, unsigned first, unsigned n, unsigned term)
        : k(first + term), unit(A[term * (n + 1)]), model(of), x(at) {
        std::vector<double> c(of.p);
        for (unsigned l = 0; l < n; ++l)
            if (l != term) c[first + l] = A[term * n + l] / unit;
        if (std::all_of(c.begin(), c.end(), [](double c_l) { return c_l == 0; })) return;
        model = sheared(of, k, c);
        for (unsigned l = 0; l < of.p; ++l)
            x[k] += c[l] * at[l];
    }
    void interval(safeguarded_outcome const& outcome, double quantile, double error, double& lower,
                  double& upper) const {
        profiled_fit const fit{model, outcome, x.data()};
        double const distance = error > 0 ? quantile * error / unit : 2;
        double bound;
        if (profile_bound(fit, k, -1, quantile, distance, bound) == SUCCESS) lower = bound * unit;
        if (profile_bound(fit, k, 1, quantile, distance, bound) == SUCCESS) upper = bound * unit;
    }
};

// The terms of the parameters `sparse` with the penalty on those.
void penalise_terms(fitted_model const& m, safeguarded_settings const& settings,
                    std::vector<double> const& A, std::vector<unsigned> const& sparse,
                    safeguarded_result& result) {
    unsigned const n = m.n_terms(), first = m.first_term(), p = m.model.p;
    safeguarded_model const model = penalised(m.model, sparse);
    std::vector<double> x = m.x, V(std::size_t{p} * p);
    for (unsigned const k : sparse)
        x[k] = start_for_infinite(x[k]);
    safeguarded_outcome const outcome = safeguarded_fit(model, nullptr, x.data());
    if (!outcome.has_succeeded() ||
        safeguarded_covariance(model, outcome, x.data(), V.data()) != SUCCESS)
        return;
    for (unsigned const k : sparse) {
        if (!outcome.is_estimable(k)) continue;
        unsigned const j = k - first;
        fitted_term& term = result.terms[j];
        term_fit const at(model, x, A, first, n, j);
        term.penalised = at.x[k] * at.unit;
        term.penalised_error = error_of(A.data() + std::size_t{j} * n, n, V, p, first);
        double ratio;
        if (profile_ratio({at.model, outcome, at.x.data()}, at.k, ratio) == SUCCESS)
            term.penalised_ratio = ratio;
        at.interval(outcome, settings.quantile, term.penalised_error, term.penalised_lower,
                    term.penalised_upper);
    }
}

void profile_terms(fitted_model const& m, safeguarded_settings const& settings,
                   std::vector<double> const& A, safeguarded_result& result) {
    unsigned const n = m.n_terms(), first = m.first_term();
    std::vector<unsigned> sparse;
    for (unsigned j = 0; j < std::min<std::size_t>(n, settings.requests.size()); ++j) {
        fitted_term& term = result.terms[j];
        if (term.end == term_end::not_identifiable) continue;
        if (settings.requests[j] & PENALISED) sparse.push_back(first + j);
        term_fit const at(m.model, m.x, A, first, n, j);
        if (settings.requests[j] & RATIO) {
            double ratio;
            if (profile_ratio({at.model, m.outcome, at.x.data()}, at.k, ratio) == SUCCESS)
                term.ratio = ratio;
        }
        if (settings.requests[j] & INTERVAL)
            at.interval(m.outcome, settings.quantile, term.standard_error, term.lower, term.upper);
    }
    if (!sparse.empty()) penalise_terms(m, settings, A, sparse, result);
}

void report(fitted_model const& m, safeguarded_settings const& settings,
            std::vector<double> const& A, safeguarded_result& result) {
    std::size_t const p = m.model.p;
    std::vector<double> V(p * p);
    result.log_likelihood = m.outcome.log_likelihood;
    result.end = m.outcome.end;
    result.status = safeguarded_covariance(m.model, m.outcome, m.x.data(), V.data());
    if (result.status != SUCCESS) {
        result.status = NOT_CONVERGED;
        result.end = fit_end::broken_down;
        return;
    }
    report_population(m, V, result);
    report_terms(m, A, V, result);
    profile_terms(m, settings, A, result);
}

} // namespace

int case_control_ggi_safeguarded(case_control_ggi_data& data, safeguarded_settings const& settings,
                                 double const* frequencies, safeguarded_result& result) {
    result = safeguarded_result{};
    result.rho_error = result.rho_score = result.rho_ratio = result.rho_p = QNAN;
    standardised_record const record(data);
    fitted_model equilibrium(record.data, EQUILIBRIUM, settings.mode);
    result.status = equilibrium.status;
    if (equilibrium.status != SUCCESS) return result.status;
    std::vector<double> const A = record.way_back(settings.mode == CODOMINANT ? 2 : 1);
    for (unsigned k = 0; k < equilibrium.n_ratios(); ++k)
        equilibrium.x[k] = equilibrium.start_of(frequencies, k);
    bool const has_succeeded = equilibrium.climb();
    result.end = equilibrium.outcome.end;
    result.iterations = equilibrium.outcome.iterations;
    if (!has_succeeded) return result.status = NOT_CONVERGED;
    if (settings.hw != EQUILIBRIUM) {
        fitted_model disequilibrium(record.data, DISEQUILIBRIUM, settings.mode);
        if (climb_rho(equilibrium, frequencies, disequilibrium, result)) {
            report(disequilibrium, settings, A, result);
            return result.status;
        }
        if (result.status != SUCCESS) return result.status;
    }
    report(equilibrium, settings, A, result);
    return result.status;
}
