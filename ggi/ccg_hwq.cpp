// The equilibrium models under the Newton-Raphson iteration.
#include "ggi/ccg_hwq.h"

#include "ggi/case_control_ggi_hwq.h"
#include "ggi/case_control_ggi_hwqx.h"
#include "ggi/newton.h"

namespace {

newton_model select(case_control_ggi_data const& data) {
    if (has_environment(data))
        return {case_control_ggi_hwqx::f,
                case_control_ggi_hwqx::llh,
                case_control_ggi_hwqx::df,
                case_control_ggi_hwqx::n_weights(),
                data.n_subjects,
                data.n_subjects,
                1.0};
    return {case_control_ggi_hwq::f,
            case_control_ggi_hwq::llh,
            case_control_ggi_hwq::df,
            2 * triangle(data.n_haplotypes),
            2,
            2 * std::size_t{data.distinct->count},
            1.0};
}

} // namespace

int ccg_hwq(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res) {
    res.rho = 0;
    return newton_fit(data, select(data), iterations, tolerance, res);
}
