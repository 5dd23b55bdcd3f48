// Frequencies, bounds on the work, selection of haplotypes.
#include "ggi/case_control_ggi_setup.h"

#include "ggi/case_control_ggi_init.h"
#include "ggi/hwd_frequency.h"
#include "ggi/hwq_frequency.h"
#include "ggi/settings.h"
#include "numeric/status_code.h"

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

// Of the LU factorisation of the K parameters of the haplotypes, in all permitted iterations.
double multiplications(double K, setup_settings const& settings) {
    return K * K * K / 3 * settings.iterations;
}

int estimate(case_control_ggi_data const& data, setup_settings& settings, result& frequency,
             setup_outcome& outcome) {
    struct data const d{data.genotypes, data.distinct};
    int status = SUCCESS;
    if (settings.hw != EQUILIBRIUM) {
        status = hwd_frequency(d, settings.sample, settings.frequency_iterations,
                               settings.frequency_tolerance, frequency, true);
        outcome.is_rho_at_zero = status == RHO_AT_ZERO;
        if (outcome.is_rho_at_zero) settings.hw = EQUILIBRIUM;
    }
    if (settings.hw != EQUILIBRIUM) return status;
    outcome.incomplete = data.distinct->count_incomplete();
    outcome.is_too_long = visits(data, settings) > MOST_VISITS;
    if (outcome.is_too_long) return status;
    return hwq_frequency(d, settings.sample, settings.frequency_iterations,
                         settings.frequency_tolerance, frequency, true);
}

} // namespace

int case_control_ggi_setup(case_control_ggi_data& data, setup_settings& settings, result& frequency,
                           setup_outcome& outcome) {
    outcome = {false, false, 0, false, 1};
    int const status = estimate(data, settings, frequency, outcome);
    if (outcome.is_too_long) return SUCCESS;
    outcome.is_frequency_limited = status == ITERATIONS_EXCEEDED;
    if (outcome.incomplete > 0) {
        double const* const f = frequency.estimates;
        std::size_t const size = std::size_t{1} << data.distinct->nsnp();
        if (completion_pairs(*data.distinct, settings.sample) > 0)
            outcome.frequency_sum = std::accumulate(f, f + size, 0.0);
        unsigned const K = count_selected(settings.threshold, f, size);
        outcome.is_too_long = multiplications(K, settings) > MOST_MULTIPLICATIONS;
        if (outcome.is_too_long) return SUCCESS;
    }
    return case_control_ggi_init(data, settings.hw, settings.threshold, frequency.estimates);
}
