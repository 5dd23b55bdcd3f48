// Haplotype frequencies under Hardy-Weinberg disequilibrium from unphased genotypes, by the EM
// algorithm.
#ifndef QUILMAR_GGI_HWD_FREQUENCY_H
#define QUILMAR_GGI_HWD_FREQUENCY_H

#include "ggi/structures.h"

// As hwq_frequency, with the disequilibrium parameter rho, the probability that a subject's two
// haplotypes are one and the same, in addition: start true begins with rho = 0.01, start false goes
// on from res.rho. The tolerance also bounds the change of rho, relative from 0.01 on.
//
// Returns and stores SUCCESS; RHO_AT_ZERO when the tolerance is reached with rho below five times
// the tolerance; ITERATIONS_EXCEEDED when the iterations ran out before; INVALID_SPECIFIER for k > 3,
// with nothing changed.
int hwd_frequency(data const& d, unsigned k, unsigned max_iterations, double tolerance, result& res,
                  bool start);

#endif
