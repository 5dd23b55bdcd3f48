// The disequilibrium models under the Newton-Raphson iteration.
#include "ggi/ccg_hwd.h"

#include "ggi/case_control_ggi_hwd.h"
#include "ggi/case_control_ggi_hwdx.h"
#include "ggi/newton.h"
#include "numeric/nutil.h"

namespace {

newton_model select(case_control_ggi_data const& data) {
    if (has_environment(data))
        return {case_control_ggi_hwdx::f,
                case_control_ggi_hwdx::llh,
                case_control_ggi_hwdx::df,
                case_control_ggi_hwdx::n_weights(),
                data.n_subjects,
                data.n_subjects,
                MAX_DOUBLE};
    std::size_t const K = data.n_haplotypes;
    return {case_control_ggi_hwd::f,
            case_control_ggi_hwd::llh,
            case_control_ggi_hwd::df,
            K * (K + 3),
            2,
            data.n_subjects,
            MAX_DOUBLE};
}

} // namespace

int ccg_hwd(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res) {
    newton_fit(data, select(data), iterations, tolerance, res);
    res.rho = case_control_ggi_hwd::rho(data, res.estimates);
    return res.status;
}
