// The disequilibrium models under the Newton-Raphson iteration.
#include "ggi/ccg_hwd.h"

#include "ggi/case_control_ggi_hwd.h"
#include "ggi/newton.h"
#include "numeric/nutil.h"

int ccg_hwd(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res) {
    std::size_t const K = data.n_haplotypes;
    newton_model const model{case_control_ggi_hwd::f,
                             case_control_ggi_hwd::llh,
                             case_control_ggi_hwd::df,
                             K * (K + 3),
                             2,
                             data.n_subjects,
                             MAX_DOUBLE};
    newton_fit(data, model, iterations, tolerance, res);
    res.rho = case_control_ggi_hwd::rho(data, res.estimates);
    return res.status;
}
