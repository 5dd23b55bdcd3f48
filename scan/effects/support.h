// How many subjects an effect is estimated from, and what may be printed of it.
//
// Expected in the smaller group, which has N subjects, under equilibrium with the haplotype's frequency
// p in all subjects, q = 1 - p; of a code's two values the rarer one counts:
//
//   ADD      copies        2 N min(p, q)            REC   homozygotes  N min(p^2, 1 - p^2)
//   DOM      carriers      N min(1 - q^2, q^2)
//   codominant: ADD   heterozygotes  N min(2 p q, q^2)    HOMDEV   homozygotes   N min(p^2, q^2)
//
// It does not look at who carries the haplotype, so that the choice says nothing of the effect.
#ifndef QUILMAR_SCAN_EFFECTS_SUPPORT_H
#define QUILMAR_SCAN_EFFECTS_SUPPORT_H

#include "scan/effects/window_sample.h"

#include "ggi/settings.h"

namespace scan {

// Fewest that an estimate without penalty takes.
constexpr double LEAST_FOR_ESTIMATE = 10;

struct term_support {
    bool is_sparse = false;          // the estimate is the penalised one
    bool is_tested_by_ratio = false; // P is that of the likelihood ratio
};

// which: of a code's rows, 1 for HOMDEV. Multiplied by N it is what is expected.
double rarer_share(inheritance mode, unsigned which, double p);

// Of a row of which so many are expected.
term_support support_of(double expected, window_sample const& sample);
// Of a covariate, which all subjects have.
term_support support_of_covariate(window_sample const& sample);

} // namespace scan

#endif
