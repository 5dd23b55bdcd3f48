// A likelihood model of a record in the parameters of the safeguarded fit, with its fit.
#ifndef QUILMAR_GGI_FITTED_MODEL_H
#define QUILMAR_GGI_FITTED_MODEL_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/engine/safeguarded_fit.h"

#include <vector>

// Set up from its making to its end, which both are the thread's as in case_control_ggi.h. The
// parameters are the log ratios of the haplotypes to the last one, under disequilibrium the one that
// stands for rho, and the terms.
struct fitted_model {
    case_control_ggi_data data; // the record's, but for the number of parameters; nothing is owned
    unsigned hw;
    int status;              // of case_control_ggi_set_model; there is a model after SUCCESS only
    safeguarded_model model; // under disequilibrium in x, until rho_climb.h replaces that
    std::vector<double> x;
    safeguarded_outcome outcome;
    bool is_logarithmic; // rho stands as w, not as t (engine/rho_parameters.h)

    fitted_model(case_control_ggi_data const& record, unsigned hw, unsigned mode);
    ~fitted_model();
    fitted_model(fitted_model const&) = delete;

    // Where the terms begin, how many parameters they have, and how many of them are the effects'.
    unsigned n_ratios() const { return data.n_haplotypes - 1; }
    unsigned first_term() const;
    unsigned n_terms() const { return data.n_parameters - first_term(); }
    unsigned effect_parameters() const;

    // Fits from x; has it succeeded?
    bool climb();
    // Frequencies of the haplotypes at x.
    std::vector<double> frequencies() const;
    // Log ratio of haplotype k to the last one in a table by haplotype code, for a thousandth of a
    // copy at least, so that a haplotype without copies there can get some.
    double start_of(double const* table, unsigned k) const;
};

#endif
