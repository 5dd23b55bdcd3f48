// The record of one case-control analysis: the multi-gene design with the subjects' disease status.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_DATA_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_DATA_H

#include "ggi/ggi.h"

// Several analyses may run at once, one per thread, each with a record of its own. An analysis stays
// on one thread from its set_model to its clear_model (see case_control_ggi.h).
struct case_control_ggi_data : ggi_data {
    unsigned n_subjects; // n: rows of the data file
    unsigned cases_read; // cases and controls in the data file, for the report
    unsigned controls_read;
    unsigned* status; // owned, n values: 0 control, else case; null for a record from counts
    unsigned n_cases; // cases and controls whose genotype keeps a pair
    unsigned n_controls;

    // Genotypes with more missing loci count once per completion under equilibrium and take no part
    // in the fit.
    static constexpr int MAX_MISSING = 10;

    // Sets every member to zero or null.
    void init();
    // As ggi_data::init, with the status array (unset) in addition.
    void init(unsigned n, unsigned m, unsigned k);
    // The record of an analysis without covariates from the counts of n distinct genotypes of k
    // genes, which takes the place of subjects (see garray::init): one genotype object each, grouped
    // already. Does nothing when n or k is 0.
    void init(genotype_count const* counts, unsigned n, unsigned k, unsigned const* loci);
    // As ggi_data::clear; subjects, status and covariates stay.
    void clear();
    // Collapses the subjects, which have been read with their status, into distinct genotypes of k
    // genes with the given numbers of loci, and counts those read.
    void collapse(unsigned k, unsigned const* loci);
    // Releases everything, the subjects' genotype objects included.
    void free();
};

#endif
