// The retrospective likelihood models (docs/methods.md, sections 4, 11 and 12) by the safeguarded
// fit: effects of haplotypes and interactions with covariates that always come with what is true of
// them. All four modes, equilibrium or disequilibrium.
//
// How to: fill a record (from counts, or from subjects with covariates), estimate the frequencies in
// the combined sample by hwq_frequency, select by case_control_ggi_init under EQUILIBRIUM, which puts
// the most frequent haplotype last, pool rare haplotypes, set the terms, and fit:
//
//   data.init(counts, n, 1, &loci);
//   hwq_frequency({data.genotypes, data.distinct}, COMBINED, .., frequency, true);
//   case_control_ggi_init(data, EQUILIBRIUM, nobody_dropped(data), frequency.estimates);
//   unsigned const rare = pool_haplotypes(data, 0, positions_of_rare_ones);
//   set_effects(data, {{label}, .., {rare}});
//   case_control_ggi_safeguarded(data, settings, frequency.estimates, fit);
//   data.free();
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_SAFEGUARDED_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_SAFEGUARDED_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/engine/term_estimates.h"

#include <vector>

struct safeguarded_settings {
    unsigned hw;     // EQUILIBRIUM or DISEQUILIBRIUM
    unsigned mode;   // ADDITIVE to CODOMINANT
    double quantile; // of the normal distribution, for the intervals: 1.959964 for 95%
    // One per term, in the order of `terms` below; empty for none. The penalty is on all terms that
    // ask for it: on an effect beside its interactions it is that at the means of their covariates, on
    // an environment term or interaction that per standard deviation.
    std::vector<unsigned> requests;
};

struct safeguarded_result {
    // SUCCESS; NOT_CONVERGED for a fit that has not ended in a truth, with nothing but `end` to be
    // used; INVALID_MODEL for another mode.
    int status;
    fit_end end;         // of the last fit
    unsigned iterations; // of all fits that led to the estimates, profiles not among them
    double log_likelihood;
    // By position of the modelled haplotype, and their standard errors; 0 and not a number for one
    // that the maximum does without.
    std::vector<double> frequencies, frequency_errors;
    // The inbreeding coefficient, under disequilibrium. Where no fit is above the one under equilibrium
    // it is 0, the rest is that fit, ratio is 0 and p is 1. score: of rho at 0, not above 0 where that
    // is a maximum. p: half of chi-square's with one degree of freedom.
    double rho, rho_error, rho_score, rho_ratio, rho_p;
    // From the first effect on, as parameter_layout puts them: effects, then with covariates kappa,
    // environment terms and interactions; of effects and interactions two each when codominant. Tests
    // and intervals are those of the model of `hw`, also where rho is 0 at the maximum.
    std::vector<fitted_term> terms;
};

// Fits the model of the record, which is as case_control_ggi_init under EQUILIBRIUM and the setters
// below have left it; no model is set up before or after. frequencies: start, by haplotype code.
// Covariates are centred and scaled inside, and estimates and errors are those of the covariates as
// they are. Returns result.status.
int case_control_ggi_safeguarded(case_control_ggi_data& data, safeguarded_settings const& settings,
                                 double const* frequencies, safeguarded_result& result);

// A threshold for case_control_ggi_init that leaves no subject without a pair: a ten-thousandth of a
// copy among all subjects (a genotype would need thousands of pairs to lose them all).
double nobody_dropped(case_control_ggi_data const& data);

// Gives haplotypes at one gene one label, so that terms take them for one class, and returns it; the
// positions are those of modelled haplotypes, at least one.
unsigned pool_haplotypes(case_control_ggi_data& data, unsigned gene,
                         std::vector<unsigned> const& positions);

// Replaces the effects: rows of one label per gene, MAX_UINT where none is asked for.
void set_effects(case_control_ggi_data& data, std::vector<std::vector<unsigned>> const& labels);

// Replaces environment terms and interactions. environment: rows of indices of covariates, whose
// product is the term; interactions: rows of one label per gene, then indices of covariates.
void set_interactions(case_control_ggi_data& data,
                      std::vector<std::vector<unsigned>> const& environment,
                      std::vector<std::vector<unsigned>> const& interactions);

#endif
