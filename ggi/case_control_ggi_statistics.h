// Reported statistics of a fitted model.
#ifndef QUILMAR_GGI_CASE_CONTROL_GGI_STATISTICS_H
#define QUILMAR_GGI_CASE_CONTROL_GGI_STATISTICS_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/structures.h"

// Fills the freshly initialised (all null) s with p + 1 estimates on the reported scale, standard
// errors, z statistics and p-values for the p fitted parameters; s owns the arrays. hw
// selects the model as everywhere. Returns 1; otherwise the status of the step that failed (see
// case_control_ggi_stderr, zstat, pvalues), and s holds the estimates alone.
int case_control_ggi_statistics(case_control_ggi_data const& data, unsigned hw,
                                double const* parameters, statistics& s);

#endif
