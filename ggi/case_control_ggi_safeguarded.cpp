// Equilibrium first, then rho where the data ask for it; estimates, errors, tests and intervals.
#include "ggi/case_control_ggi_safeguarded.h"

#include "ggi/case_control_ggi.h"
#include "ggi/case_control_ggi_hwd.h"
#include "ggi/case_control_ggi_hwdx.h"
#include "ggi/case_control_ggi_hwq.h"
#include "ggi/case_control_ggi_hwqx.h"
#include "ggi/engine/profile.h"
#include "ggi/engine/rho_parameters.h"
#include "ggi/settings.h"
#include "ggi/standardised_record.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>

namespace {

constexpr double SMALLEST_START = 1e-3; // copies among all subjects that a haplotype starts with
constexpr double INFINITE_START = 4;    // in place of an infinite estimate
constexpr double SAME = 1e-6;           // twice a difference of log-likelihoods that is rounding
constexpr double SMALL_S = 1e-6; // rho over the reference's frequency that may be on a way to 0
constexpr double LARGEST_FREQUENCY_RUN = 1e-6;
constexpr double RHO_GRID[] = {.3, .1, .03, .01, .003, .001, .0003, .0001};

template <typename likelihood> safeguarded_model model_of(case_control_ggi_data const& data) {
    auto const work = std::make_shared<likelihood_work<likelihood>>(data);
    return {data.n_parameters,
            [work](double const* x, double& L, double* g) { return work->evaluate(x, L, g); },
            [work](double* H) { work->information(H); }, nullptr};
}

// A likelihood model of the thread while it is set up, in the parameters of the fit: the log ratios
// of the haplotypes to the last one, under disequilibrium t (rho_parameters.h), and the terms.
struct fitted_model {
    case_control_ggi_data data;
    unsigned hw;
    int status;
    safeguarded_model model;
    std::vector<double> x;
    safeguarded_outcome outcome;
    bool is_logarithmic; // w, not t

    fitted_model(case_control_ggi_data const& record, unsigned hardy_weinberg, unsigned mode)
        : data(record), hw(hardy_weinberg), model{}, is_logarithmic(false) {
        status = case_control_ggi_set_model(data, hw, mode);
        if (status != SUCCESS) return;
        if (has_environment(data))
            model = hw == EQUILIBRIUM ? model_of<case_control_ggi_hwqx>(data)
                                      : model_of<case_control_ggi_hwdx>(data);
        else
            model = hw == EQUILIBRIUM ? model_of<case_control_ggi_hwq>(data)
                                      : model_of<case_control_ggi_hwd>(data);
        x.resize(data.n_parameters);
    }
    ~fitted_model() {
        if (status == SUCCESS) case_control_ggi_clear_model(data, hw);
    }
    fitted_model(fitted_model const&) = delete;

    unsigned n_ratios() const { return data.n_haplotypes - 1; }
    unsigned first_term() const { return n_ratios() + (hw == EQUILIBRIUM ? 0 : 1); }
    unsigned effect_parameters() const {
        parameter_layout const where = layout_of(data, hw);
        return where.kappa() - where.effect(0);
    }
    unsigned n_terms() const { return data.n_parameters - first_term(); }
    bool climb() {
        outcome = safeguarded_fit(model, nullptr, x.data());
        return outcome.has_succeeded();
    }
};

double start_of(double const* frequencies, fitted_model const& m, unsigned k) {
    double const reference = frequencies[m.data.haplotypes[m.n_ratios()]];
    double const smallest = SMALLEST_START / (2.0 * m.data.n_informative);
    return std::log(std::max(frequencies[m.data.haplotypes[k]] / reference, smallest));
}

std::vector<double> frequencies_of(fitted_model const& m) {
    std::vector<double> f(m.n_ratios() + 1, 1.0);
    double sum = 1;
    for (unsigned k = 0; k < m.n_ratios(); ++k)
        sum += f[k] = std::exp(m.x[k]);
    for (double& f_k : f)
        f_k /= sum;
    return f;
}

// Where a climb in rho begins: at the equilibrium fit, of which what runs away starts anew because it
// need not do so with rho, or at the frequencies of both groups without effects. An excess of
// homozygotes among cases can come from either, and the likelihood may have a maximum for each.
enum class rho_start { at_equilibrium, without_effects };

bool start_rho(rho_start from, fitted_model const& equilibrium, double const* frequencies,
               fitted_model& m) {
    unsigned const n = m.n_ratios(), effects = m.effect_parameters();
    auto const is_kept = [&](unsigned k) {
        return equilibrium.outcome.is_estimable(k) &&
               (from == rho_start::at_equilibrium || k >= n + effects);
    };
    for (unsigned k = 0; k < n; ++k)
        m.x[k] = is_kept(k) ? equilibrium.x[k] : start_of(frequencies, m, k);
    for (unsigned e = 0; e < m.n_terms(); ++e) {
        double const b = equilibrium.x[n + e];
        double const cut = std::max(-INFINITE_START, std::min(b, INFINITE_START));
        m.x[n + 1 + e] = is_kept(n + e) ? b : from == rho_start::at_equilibrium ? cut : 0;
    }
    double const f = frequencies_of(m).back();
    std::vector<double> g(m.model.p);
    double best = -INF, best_t = 0;
    for (double const rho : RHO_GRID) {
        double L;
        m.x[n] = t_of_rho(rho, f);
        if (m.model.evaluate(m.x.data(), L, g.data()) != SUCCESS || !(L > best)) continue;
        best = L;
        best_t = m.x[n];
    }
    m.x[n] = best_t;
    return best > -INF;
}

// Climbs in t, and where that has no end or an end at s = 0 with more than the equilibrium's
// log-likelihood, from there in w. `plain` is the model in x.
bool climb_from(rho_start from, safeguarded_model const& plain, fitted_model const& equilibrium,
                double const* frequencies, fitted_model& m) {
    unsigned const K = m.data.n_haplotypes;
    m.is_logarithmic = false;
    m.model = regular_at_zero(plain, K);
    m.outcome.log_likelihood = -INF;
    if (!start_rho(from, equilibrium, frequencies, m)) return false;
    bool has_succeeded = m.climb();
    double const s = s_of_t(m.x[K - 1]);
    bool const is_more = m.outcome.log_likelihood > equilibrium.outcome.log_likelihood + SAME / 2;
    if (has_succeeded && (s > SMALL_S || !is_more)) return true;
    unsigned const iterations = m.outcome.iterations;
    m.is_logarithmic = true;
    m.model = logarithmic_in_s(plain, K);
    m.x[K - 1] = -std::log(s);
    has_succeeded = m.climb();
    m.outcome.iterations += iterations;
    return has_succeeded;
}

// Is rho above 0, with the best fit for it in m? If not, the result says that rho is 0, or that it
// has not been found out.
bool climb_rho(fitted_model const& equilibrium, double const* frequencies, fitted_model& m,
               safeguarded_result& result) {
    safeguarded_model const plain = m.model;
    unsigned const K = m.data.n_haplotypes;
    double const at_equilibrium = equilibrium.outcome.log_likelihood;
    std::vector<double> at(m.x);
    std::copy(equilibrium.x.begin(), equilibrium.x.begin() + K - 1, at.begin());
    std::copy(equilibrium.x.begin() + K - 1, equilibrium.x.end(), at.begin() + K);
    result.rho = result.rho_ratio = 0;
    result.rho_p = 1;
    bool const is_scored = rho_score(plain, K, at.data(), result.rho_score) == SUCCESS;
    bool const is_maximum = is_scored && result.rho_score <= 0;
    double best = at_equilibrium + (is_maximum ? SAME / 2 : 0), seen = best;
    safeguarded_outcome best_outcome{};
    std::vector<double> best_x;
    bool is_logarithmic = false;
    for (rho_start const from : {rho_start::at_equilibrium, rho_start::without_effects}) {
        bool const has_succeeded = climb_from(from, plain, equilibrium, frequencies, m);
        result.iterations += m.outcome.iterations;
        double const L = m.outcome.log_likelihood;
        seen = std::max(seen, L);
        if (!has_succeeded || !(L > best)) continue;
        best = L;
        best_outcome = m.outcome;
        best_x = m.x;
        is_logarithmic = m.is_logarithmic;
    }
    // Where a climb without an end has seen more than the others have reached, nothing is known.
    if (seen > best + SAME / 2 || (best_x.empty() && !is_maximum)) {
        result.status = NOT_CONVERGED;
        result.end = m.outcome.has_succeeded() ? fit_end::broken_down : m.outcome.end;
        return false;
    }
    if (best_x.empty()) return false;
    m.x = best_x;
    m.outcome = best_outcome;
    m.is_logarithmic = is_logarithmic;
    m.model = is_logarithmic ? logarithmic_in_s(plain, K) : regular_at_zero(plain, K);
    result.rho_ratio = 2 * (best - at_equilibrium);
    result.rho_p = std::erfc(std::sqrt(result.rho_ratio / 2)) / 2;
    return true;
}

// Frequencies, rho and their errors by the delta method from the covariance V.
void report_population(fitted_model const& m, std::vector<double> const& V,
                       safeguarded_result& result) {
    std::size_t const p = m.model.p, n = m.n_ratios();
    std::vector<double> const f = frequencies_of(m);
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
        else if (f[k] < LARGEST_FREQUENCY_RUN)
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

void report_terms(fitted_model const& m, std::vector<double> const& A, std::vector<double> const& V,
                  safeguarded_result& result) {
    std::size_t const p = m.model.p, n = m.n_terms(), first = m.first_term();
    result.terms.assign(n, {term_end::finite, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN, QNAN});
    for (unsigned j = 0; j < n; ++j) {
        double const* const a = A.data() + j * n;
        double estimate = 0, variance = 0;
        for (std::size_t l = 0; l < n; ++l) {
            estimate += a[l] * m.x[first + l];
            for (std::size_t k = 0; k < n; ++k)
                variance += a[l] * a[k] * V[(first + l) * p + first + k];
        }
        fitted_term& term = result.terms[j];
        term.end = end_of(m, A, j, estimate);
        if (term.end == term_end::finite) {
            term.estimate = estimate;
            term.standard_error = std::sqrt(variance);
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

void profile_terms(fitted_model const& m, safeguarded_settings const& settings,
                   std::vector<double> const& A, safeguarded_result& result) {
    unsigned const n = m.n_terms(), first = m.first_term();
    std::vector<unsigned> sparse;
    for (unsigned j = 0; j < std::min<std::size_t>(n, settings.requests.size()); ++j) {
        fitted_term& term = result.terms[j];
        if (term.end == term_end::not_identifiable) continue;
        if (settings.requests[j] & PENALISED_INTERVAL) sparse.push_back(first + j);
        term_fit const at(m.model, m.x, A, first, n, j);
        if (settings.requests[j] & RATIO) {
            double ratio;
            if (profile_ratio({at.model, m.outcome, at.x.data()}, at.k, ratio) == SUCCESS)
                term.ratio = ratio;
        }
        if (settings.requests[j] & INTERVAL)
            at.interval(m.outcome, settings.quantile, term.standard_error, term.lower, term.upper);
    }
    if (sparse.empty()) return;
    safeguarded_model const model = penalised(m.model, sparse);
    std::vector<double> x = m.x;
    for (unsigned const k : sparse)
        x[k] = std::max(-INFINITE_START, std::min(x[k], INFINITE_START));
    safeguarded_outcome const outcome = safeguarded_fit(model, nullptr, x.data());
    if (!outcome.has_succeeded()) return;
    for (unsigned const k : sparse) {
        if (!outcome.is_estimable(k)) continue;
        fitted_term& term = result.terms[k - first];
        term_fit const at(model, x, A, first, n, k - first);
        term.penalised = at.x[k] * at.unit;
        at.interval(outcome, settings.quantile, QNAN, term.penalised_lower, term.penalised_upper);
    }
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
        equilibrium.x[k] = start_of(frequencies, equilibrium, k);
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
