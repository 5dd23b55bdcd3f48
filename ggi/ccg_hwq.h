// Fit of the equilibrium models.
#ifndef QUILMAR_GGI_CCG_HWQ_H
#define QUILMAR_GGI_CCG_HWQ_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/structures.h"

// Fits the model of `data` by newton_fit, whose statuses it returns; rho becomes 0.
int ccg_hwq(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res);

#endif
