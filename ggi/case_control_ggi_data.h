// The record of one case-control analysis: the multi-gene design with the subjects' disease status.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_DATA_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_DATA_H

#include "ggi/ggi.h"

struct case_control_ggi_data : ggi_data {
    unsigned n_subjects; // n: rows of the data file
    unsigned cases_read; // cases and controls in the data file, for the report
    unsigned controls_read;
    unsigned* status; // owned, n values: 0 control, else case
    unsigned n_cases; // cases and controls whose genotype keeps a pair
    unsigned n_controls;

    // Sets every member to zero or null.
    void init();
    // As ggi_data::init, with the status array (unset) in addition.
    void init(unsigned n, unsigned m, unsigned k);
    // As ggi_data::clear; subjects, status and covariates stay.
    void clear();
    // Releases everything, the subjects' genotype objects included.
    void free();
};

#endif
