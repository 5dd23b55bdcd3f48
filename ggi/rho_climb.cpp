// Climbs from the best of a grid of rho, from three starts.
#include "ggi/rho_climb.h"

#include "ggi/engine/rho_parameters.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr double SAME = 1e-6;    // twice a difference of log-likelihoods that is rounding
constexpr double SMALL_S = 1e-6; // s below which rho may be on a way to 0
constexpr double RHO_GRID[] = {.3, .1, .03, .01, .003, .001, .0003, .0001};

// Begins at the equilibrium fit with a share of its effects. With all of them the frequencies are the
// fit's, but what runs away starts anew because it need not do so with rho; with less they are those
// of both groups. An excess of homozygotes among cases can come from effects, from rho or from both,
// and the likelihood may have a maximum for each.
bool start_rho(double share, fitted_model const& equilibrium, double const* frequencies,
               fitted_model& m) {
    unsigned const n = m.n_ratios(), effects = m.effect_parameters();
    auto const is_estimable = [&](unsigned k) { return equilibrium.outcome.is_estimable(k); };
    for (unsigned k = 0; k < n; ++k)
        m.x[k] = share == 1 && is_estimable(k) ? equilibrium.x[k] : m.start_of(frequencies, k);
    for (unsigned e = 0; e < m.n_terms(); ++e) {
        double const b = equilibrium.x[n + e];
        m.x[n + 1 + e] =
            (e < effects ? share : 1) * (is_estimable(n + e) ? b : start_for_infinite(b));
    }
    return go_to_best(starts_of_rho(m), m.model, m.x.data());
}

// Climbs in t, and where that has no end or an end at s = 0 with more than the equilibrium's
// log-likelihood, from there in w. `plain` is the model in x.
bool climb_from(double share, safeguarded_model const& plain, fitted_model const& equilibrium,
                double const* frequencies, fitted_model& m) {
    unsigned const K = m.data.n_haplotypes;
    m.is_logarithmic = false;
    m.model = regular_at_zero(plain, K);
    m.outcome.log_likelihood = -INF;
    if (!start_rho(share, equilibrium, frequencies, m)) return false;
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

// The outcome of an equilibrium fit with a parameter more, which is held.
safeguarded_outcome with_rho_at_zero(safeguarded_outcome out, std::ptrdiff_t at) {
    out.score.insert(out.score.begin() + at, 0);
    out.direction.insert(out.direction.begin() + at, 0);
    out.unidentified.insert(out.unidentified.begin() + at, 0);
    out.held.insert(out.held.begin() + at, 1);
    return out;
}

} // namespace

restart starts_of_rho(fitted_model const& m) {
    double const f = m.frequencies().back();
    restart starts{m.n_ratios(), {}};
    for (double const rho : RHO_GRID) {
        double const t = t_of_rho(rho, f);
        starts.values.push_back(m.is_logarithmic ? -std::log(s_of_t(t)) : t);
    }
    return starts;
}

void set_rho_ratio(double ratio, safeguarded_result& result) {
    result.rho_ratio = ratio;
    result.rho_p = std::erfc(std::sqrt(ratio / 2)) / 2;
}

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
    for (double const share : {1.0, 0.5, 0.0}) {
        bool const has_succeeded = climb_from(share, plain, equilibrium, frequencies, m);
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
    bool const is_above = !best_x.empty();
    m.x = is_above ? best_x : at;
    m.outcome = is_above ? best_outcome : with_rho_at_zero(equilibrium.outcome, K - 1);
    m.is_logarithmic = is_logarithmic;
    m.model = is_logarithmic ? logarithmic_in_s(plain, K) : regular_at_zero(plain, K);
    if (!is_above) return false;
    set_rho_ratio(2 * (best - at_equilibrium), result);
    return true;
}
