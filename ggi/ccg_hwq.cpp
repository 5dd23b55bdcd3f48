// The equilibrium models under the Newton-Raphson iteration.
#include "ggi/ccg_hwq.h"

#include "ggi/case_control_ggi_hwq.h"
#include "ggi/newton.h"

int ccg_hwq(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res) {
    newton_model const model{case_control_ggi_hwq::f,
                             case_control_ggi_hwq::llh,
                             case_control_ggi_hwq::df,
                             2 * triangle(data.n_haplotypes),
                             2,
                             2 * std::size_t{data.distinct->count},
                             1.0};
    res.rho = 0;
    return newton_fit(data, model, iterations, tolerance, res);
}
