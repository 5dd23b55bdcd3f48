// Fit of the disequilibrium models.
#ifndef QUILMAR_GGI_CCG_HWD_H
#define QUILMAR_GGI_CCG_HWD_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/structures.h"

// Fits the model of `data` by newton_fit, whose statuses it returns; rho becomes that of the final
// estimates.
int ccg_hwd(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res);

#endif
