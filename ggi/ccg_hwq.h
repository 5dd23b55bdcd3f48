// Newton-Raphson fit of the equilibrium models.
#ifndef QUILMAR_GGI_CCG_HWQ_H
#define QUILMAR_GGI_CCG_HWQ_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/structures.h"

// Maximises the log-likelihood of the model of `data` from res.estimates (p values, updated in
// place) until the last step, the change of the log-likelihood and the norm of the score are all
// within the tolerance. Fills status, iterations, error (max_err of the last step), log-likelihood
// and rho = 0.
//
// Returns the status: 1 converged; 5 iterations ran out; 113 parameters still run away although the
// score is small; 114 not a number or 115 infinite in the log-likelihood or the score, 115 also
// when the Newton system cannot be solved.
int ccg_hwq(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res);

#endif
