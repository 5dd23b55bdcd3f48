// Plain records that pass between the estimators, the fitting loop, the statistics and the report.
#ifndef QUILMAR_GGI_STRUCTURES_H
#define QUILMAR_GGI_STRUCTURES_H

#include "ggi/garray.h"

// What a frequency estimator reads; nothing is owned.
struct data {
    genotype* const* genotypes; // one per subject; null for no subject
    garray const* distinct;     // their distinct genotypes

    // Number of loci; 0 without subjects.
    unsigned nsnp() const { return genotypes == nullptr ? 0 : genotypes[0]->nsnp; }
};

// Outcome of one iterative fit. Whoever sets the estimates hands them over: free releases them.
struct result {
    int status;
    unsigned count; // number of estimates of a model fit
    unsigned iterations;
    double error; // last convergence measure
    double log_likelihood;
    double rho;        // disequilibrium parameter, 0 under equilibrium
    double* estimates; // owned

    // Zeroes the numbers; the estimates stay.
    void clear();
    // Zeroes the numbers and releases the estimates.
    void free();
};

// Reported statistics of a fit, one value per quantity that the model's transform yields. Each
// array is owned, or null when it could not be computed.
struct statistics {
    double* estimates;
    double* standard_errors;
    double* z;
    double* p;

    void free();
};

#endif
