// The four likelihood models behind one set of calls: equilibrium (hw = 0) or disequilibrium,
// without or with environment terms (either environment count of the record non-zero).
//
// Analyses may run in several threads at once, each with a record of its own. The genetic-model
// objects are one per likelihood model and thread, so that a thread has one analysis of a model set
// up at a time, and does all between set_model and clear_model itself. Nothing is per process.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/structures.h"

// Makes the genetic-model object for mode 1 additive, 2 recessive, 3 dominant or 4 codominant and
// sets the number of parameters. Returns SUCCESS, or INVALID_MODEL for another
// mode.
int case_control_ggi_set_model(case_control_ggi_data& data, unsigned hw, unsigned mode);

// Destroys the genetic-model object of the selected likelihood model; to be called while the record
// still holds its terms.
void case_control_ggi_clear_model(case_control_ggi_data& data, unsigned hw);

// Fits the model from res.estimates. Returns the status of the iteration (see ccg_hwq).
int case_control_ggi(case_control_ggi_data const& data, unsigned hw, unsigned iterations,
                     double tolerance, result& res);

// The p + 1 reported quantities for the p estimates: frequencies, then effects.
void case_control_ggi_transform(case_control_ggi_data const& data, unsigned hw,
                                double const* estimates, double* out);

// Their p + 1 standard errors. Returns SUCCESS, or the status of a failed matrix
// inversion.
int case_control_ggi_stderr(case_control_ggi_data const& data, unsigned hw, double const* estimates,
                            double* out);

#endif
