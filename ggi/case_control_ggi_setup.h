// First half of an analysis, without a word on the console: from subjects, or counts, to the
// haplotypes that are modelled. What follows is the terms, set_model, start and the fit.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_SETUP_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_SETUP_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/structures.h"

#include <functional>

// How an analysis is set up; the values of ggi/settings.h.
struct setup_settings {
    unsigned hw;
    unsigned sample;               // whose frequencies are estimated
    unsigned frequency_iterations; // at most
    double frequency_tolerance;
    unsigned iterations; // of the fit, at most
    double threshold;    // haplotypes with a frequency above it are modelled
};

// What came of it, for whoever words it.
struct setup_outcome {
    bool is_rho_at_zero;       // disequilibrium was given up, settings.hw is EQUILIBRIUM
    bool is_frequency_limited; // the frequencies' iterations ran out
    unsigned incomplete;       // subjects that count once per completion of their genotype
    bool has_completions;      // of them there are some in the sample
    bool is_too_long;          // the frequencies because of them; the analysis was not gone on with
    bool are_all_modelled;     // all haplotypes for sure, as is known before the frequencies
    double frequency_sum;      // which they make more than 1; 1 without them
};

// Estimates the frequencies of all haplotypes into frequency.estimates (2^L values that the caller
// allocates) and selects those that are modelled, for a record that has been collapsed or filled
// from counts. Calls `before` with what is known of the outcome before the work that completions
// make. Returns the status of case_control_ggi_init; that stays SUCCESS, with nothing selected,
// when the outcome is too long.
int case_control_ggi_setup(case_control_ggi_data& data, setup_settings& settings, result& frequency,
                           setup_outcome& outcome,
                           std::function<void(setup_outcome const&)> const& before = nullptr);

// Would the fit of so many modelled haplotypes take too long, because subjects count as their
// completions?
bool is_fit_too_long(double haplotypes, setup_settings const& settings,
                     setup_outcome const& outcome);

#endif
