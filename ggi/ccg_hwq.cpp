// The equilibrium models under the Newton-Raphson iteration.
#include "ggi/ccg_hwq.h"

#include "ggi/case_control_ggi_hwq.h"
#include "ggi/case_control_ggi_hwqx.h"

int ccg_hwq(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res) {
    auto* const fit = has_environment(data) ? fit_likelihood<case_control_ggi_hwqx>
                                            : fit_likelihood<case_control_ggi_hwq>;
    res.rho = 0;
    // A failed evaluation ends the fit by what it leaves in log-likelihood and score.
    return fit(data, 1.0, false, iterations, tolerance, res);
}
