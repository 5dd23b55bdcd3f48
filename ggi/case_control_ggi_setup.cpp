// Frequencies, bounds on the work, selection of haplotypes.
#include "ggi/case_control_ggi_setup.h"

#include "ggi/case_control_ggi_init.h"
#include "ggi/hwd_frequency.h"
#include "ggi/hwq_frequency.h"
#include "ggi/settings.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <cmath>
#include <cstddef>
#include <numeric>

namespace {

// About a minute's work on a machine of 2020, for subjects that count as their completions: visits
// of pairs of haplotypes by the EM algorithm, at 1.2 ns each, and multiplications for the fit's
// Newton systems, at 0.6 ns each.
constexpr double MOST_VISITS = 5e10;
constexpr double MOST_MULTIPLICATIONS = 1e11;

double visits(case_control_ggi_data const& data, setup_settings const& settings) {
    return completion_pairs(*data.distinct, settings.sample) * settings.frequency_iterations;
}

// A subject without any genotype counts as two copies of each haplotype, whose frequency is then at
// least 1 / N.
bool are_all_modelled(garray const& distinct, unsigned sample, double threshold) {
    constexpr double ROUNDING = 1e-9;
    double N = 0, without = 0;
    for (weighted_genotype const& g : distinct.weighted(sample)) {
        N += g.subjects;
        if (g.counts_as_completions && g.masks.missing == low_bits(distinct.nsnp()))
            without += g.subjects;
    }
    return without > (1 + ROUNDING) * threshold * N;
}

void bound(case_control_ggi_data const& data, setup_settings const& settings,
           setup_outcome& outcome) {
    garray const& distinct = *data.distinct;
    outcome.incomplete = distinct.count_incomplete();
    outcome.has_completions =
        outcome.incomplete > 0 && completion_pairs(distinct, settings.sample) > 0;
    outcome.is_too_long = visits(data, settings) > MOST_VISITS;
    outcome.are_all_modelled =
        outcome.has_completions && are_all_modelled(distinct, settings.sample, settings.threshold);
}

int estimate(case_control_ggi_data const& data, setup_settings& settings, result& frequency,
             setup_outcome& outcome, std::function<void(setup_outcome const&)> const& before) {
    struct data const d{data.genotypes, data.distinct};
    int status = SUCCESS;
    if (settings.hw != EQUILIBRIUM) {
        status = hwd_frequency(d, settings.sample, settings.frequency_iterations,
                               settings.frequency_tolerance, frequency, true);
        outcome.is_rho_at_zero = status == RHO_AT_ZERO;
        if (outcome.is_rho_at_zero) settings.hw = EQUILIBRIUM;
    }
    if (settings.hw != EQUILIBRIUM) return status;
    bound(data, settings, outcome);
    if (before) before(outcome);
    if (outcome.is_too_long) return status;
    return hwq_frequency(d, settings.sample, settings.frequency_iterations,
                         settings.frequency_tolerance, frequency, true);
}

} // namespace

int case_control_ggi_setup(case_control_ggi_data& data, setup_settings& settings, result& frequency,
                           setup_outcome& outcome,
                           std::function<void(setup_outcome const&)> const& before) {
    outcome = {false, false, 0, false, false, false, 1};
    int const status = estimate(data, settings, frequency, outcome, before);
    if (outcome.is_too_long) return SUCCESS;
    outcome.is_frequency_limited = status == ITERATIONS_EXCEEDED;
    if (outcome.has_completions) {
        double const* const f = frequency.estimates;
        outcome.frequency_sum =
            std::accumulate(f, f + (std::size_t{1} << data.distinct->nsnp()), 0.0);
    }
    return case_control_ggi_init(data, settings.hw, settings.threshold, frequency.estimates);
}

// By the LU factorisation of the parameters of the haplotypes, in all permitted iterations.
bool is_fit_too_long(double haplotypes, setup_settings const& settings,
                     setup_outcome const& outcome) {
    return outcome.has_completions &&
           std::pow(haplotypes, 3) / 3 * settings.iterations > MOST_MULTIPLICATIONS;
}
