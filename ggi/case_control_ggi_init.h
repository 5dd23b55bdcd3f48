// Set-up of one analysis: which haplotypes are modelled, and where the fit starts.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_INIT_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_INIT_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/structures.h"

#include <cstddef>

// Selects the haplotypes whose frequency exceeds the threshold (one that is not a number counts as
// above), lists the genotypes' pairs of them and counts the subjects that keep a pair.
//
// hw: 0 equilibrium, where the most frequent haplotype (of equals the lowest code) comes last as
// the reference; else disequilibrium, all in order of their codes. frequencies: 2^L values for the
// L loci of the subjects. Fills haplotypes, K, the pairs' positions (larger first), the counts of
// informative subjects, cases and controls, and the subhaplotypes.
//
// Returns SUCCESS; NO_HAPLOTYPE without a haplotype above the threshold (nothing else is touched);
// NO_CASES or NO_CONTROLS without such subjects that keep a pair, with pairs and subhaplotypes not
// to be used.
int case_control_ggi_init(case_control_ggi_data& data, unsigned hw, double threshold,
                          double const* frequencies);

// How many of so many candidates it would select.
unsigned count_selected(double threshold, double const* frequencies, std::size_t candidates);

// Starting values of a fit whose model has been set up: the estimated frequencies (a table by
// haplotype code) and rho, and 0 for every other parameter. Gives `fit` its array of p estimates.
void case_control_ggi_start(case_control_ggi_data const& data, unsigned hw, result const& frequency,
                            result& fit);

#endif
