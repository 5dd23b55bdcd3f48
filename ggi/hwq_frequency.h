// Haplotype frequencies under Hardy-Weinberg equilibrium from unphased genotypes, by the EM
// algorithm.
#ifndef QUILMAR_GGI_HWQ_FREQUENCY_H
#define QUILMAR_GGI_HWQ_FREQUENCY_H

#include "ggi/structures.h"

// Estimates the frequencies of the 2^n haplotypes over the n loci of `d` into res.estimates (2^n
// values that the caller allocates, indexed by haplotype code).
//
// k: which multiplicity weighs the distinct genotypes (0 controls, 1 cases, 2 all).
// start: true begins with uniform frequencies; false goes on from res, whose iterations count
// towards max_iterations. tolerance bounds the max_err of an iteration that ends the run.
//
// Returns and stores SUCCESS when the tolerance is reached, ITERATIONS_EXCEEDED when the iterations
// ran out before; INVALID_SPECIFIER for k > 3, with nothing changed. Stores iterations, error, log-likelihood and rho = 0.
// L. Excoffier, M. Slatkin, Molecular Biology and Evolution 12 (1995) 921-927.
int hwq_frequency(data const& d, unsigned k, unsigned max_iterations, double tolerance, result& res,
                  bool start);

// Pairs of haplotypes that an iteration visits for the genotypes that count as completions and have
// subjects in multiplicity k.
double completion_pairs(garray const& distinct, unsigned k);

// E-step of one genotype, no reader here: adds to acc (2^n values) the expected haplotype counts of m subjects with
// genotype g under the frequencies p, half of them per gamete, so that the genotype adds m in all.
void frequency(genotype const& g, unsigned m, double const* p, double* acc);

#endif
