// Wald statistics.
#ifndef QUILMAR_GGI_ZSTAT_H
#define QUILMAR_GGI_ZSTAT_H

// z[i] = est[i] / se[i] for n values, from the last to the first. Returns 1, or 4 at the first
// standard error that is 0 or not a number, with the later values of z written.
int zstat(unsigned n, double const* est, double const* se, double* z);

#endif
