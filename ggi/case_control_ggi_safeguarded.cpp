// Equilibrium first, then rho where the data ask for it; estimates, errors, tests and intervals.
#include "ggi/case_control_ggi_safeguarded.h"

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

// V with a row and a column of 0 before those of `at`.
std::vector<double> with_gap(std::vector<double> const& V, std::size_t p, std::size_t at) {
    std::vector<double> wider((p + 1) * (p + 1));
    for (std::size_t i = 0; i < p; ++i)
        for (std::size_t j = 0; j < p; ++j)
            wider[(i + (i >= at)) * (p + 1) + j + (j >= at)] = V[i * p + j];
    return wider;
}

// What is asked of the terms; `first` of them and p parameters.
std::vector<requested_term> requests_of(fitted_model const& m, safeguarded_settings const& settings,
                                        std::vector<double> const& A) {
    std::size_t const n = m.n_terms(), first = m.first_term();
    std::vector<requested_term> terms(n);
    for (std::size_t j = 0; j < n; ++j) {
        terms[j].a.resize(m.model.p);
        std::copy_n(A.begin() + static_cast<std::ptrdiff_t>(j * n), n,
                    terms[j].a.begin() + static_cast<std::ptrdiff_t>(first));
        terms[j].parameter = static_cast<unsigned>(first + j);
        if (j < settings.requests.size()) terms[j].requests = settings.requests[j];
    }
    return terms;
}

// The numbers of m, or of the model `profiled` at m, where rho is 0, if no profile comes above m.
void report(fitted_model& m, fitted_model& profiled, safeguarded_settings const& settings,
            std::vector<double> const& A, safeguarded_result& result) {
    std::size_t const p = m.model.p;
    std::vector<double> V(p * p);
    result.status = safeguarded_covariance(m.model, m.outcome, m.x.data(), V.data());
    if (result.status == SUCCESS) {
        bool const is_at_zero = &m != &profiled;
        restart const other = starts_of_rho(profiled);
        term_estimates const e =
            estimate_terms({profiled.model, profiled.outcome, profiled.x.data(),
                            profiled.hw == EQUILIBRIUM ? nullptr : &other},
                           is_at_zero ? with_gap(V, p, m.n_ratios()) : V,
                           requests_of(profiled, settings, A), settings.quantile);
        double const above = e.outcome.log_likelihood - m.outcome.log_likelihood;
        bool const is_above = e.has_succeeded && above > 0;
        if (is_above) {
            profiled.x = e.x;
            profiled.outcome = e.outcome;
            if (profiled.hw != EQUILIBRIUM) set_rho_ratio(result.rho_ratio + 2 * above, result);
        }
        fitted_model const& reported = is_above ? profiled : m;
        result.log_likelihood = reported.outcome.log_likelihood;
        result.end = reported.outcome.end;
        report_population(reported, is_above ? e.V : V, result);
        result.terms = e.terms;
        if (e.has_succeeded) return;
    }
    result.status = NOT_CONVERGED;
    result.end = fit_end::broken_down;
    result.terms.clear();
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
    if (settings.hw == EQUILIBRIUM) {
        report(equilibrium, equilibrium, settings, A, result);
        return result.status;
    }
    fitted_model disequilibrium(record.data, DISEQUILIBRIUM, settings.mode);
    bool const is_above = climb_rho(equilibrium, frequencies, disequilibrium, result);
    if (result.status == SUCCESS)
        report(is_above ? disequilibrium : equilibrium, disequilibrium, settings, A, result);
    return result.status;
}
