// The disequilibrium models under the Newton-Raphson iteration.
#include "ggi/ccg_hwd.h"

#include "ggi/case_control_ggi_hwd.h"
#include "ggi/case_control_ggi_hwdx.h"
#include "numeric/nutil.h"

int ccg_hwd(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res) {
    auto* const fit = has_environment(data) ? fit_likelihood<case_control_ggi_hwdx>
                                            : fit_likelihood<case_control_ggi_hwd>;
    fit(data, MAX_DOUBLE, true, iterations, tolerance, res);
    res.rho = case_control_ggi_hwd::rho(data, res.estimates);
    return res.status;
}
