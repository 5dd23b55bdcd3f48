// P-values of Wald statistics.
#ifndef QUILMAR_GGI_PVALUES_H
#define QUILMAR_GGI_PVALUES_H

// p[i] = P(chi-square with df degrees of freedom > z[i]^2) for n values, from the last to the
// first; for df = 1 the two-sided normal p-value of z[i]. Returns 1, or at the first value that
// fails 104 (argument out of range), 112 (answer out of range), 106 (tails do not sum to 1), 120
// (gamma distribution not evaluated) or 0.
int pvalues(unsigned const& n, unsigned const& df, double const* z, double* p);

#endif
