// Selection of the likelihood model.
#include "ggi/case_control_ggi.h"

#include "ggi/case_control_ggi_hwd.h"
#include "ggi/case_control_ggi_hwdx.h"
#include "ggi/case_control_ggi_hwq.h"
#include "ggi/case_control_ggi_hwqx.h"
#include "ggi/ccg_hwd.h"
#include "ggi/ccg_hwq.h"
#include "ggi/settings.h"
#include "numeric/memory.h"
#include "numeric/status_code.h"

namespace {

enum class likelihood { hwq, hwd, hwqx, hwdx };

likelihood select(case_control_ggi_data const& data, unsigned hw) {
    if (has_environment(data)) return hw == EQUILIBRIUM ? likelihood::hwqx : likelihood::hwdx;
    return hw == EQUILIBRIUM ? likelihood::hwq : likelihood::hwd;
}

template <typename gmodel> void destroy(gmodel*& model) {
    delete model;
    model = nullptr;
}

// Pair weights twice, the Newton matrix and its copies while it is solved or inverted.
double fit_bytes(case_control_ggi_data const& data) {
    double const terms = data.n_effects + data.n_environment + data.n_interactions;
    double const p = data.n_haplotypes + 2 * terms;
    return sizeof(double) * (2.0 * data.n_haplotypes * data.n_haplotypes + 4 * p * p);
}

} // namespace

int case_control_ggi_set_model(case_control_ggi_data& data, unsigned hw, unsigned mode) {
    require_memory(fit_bytes(data));
    switch (select(data, hw)) {
    case likelihood::hwq: return case_control_ggi_hwq::set_model(data, mode);
    case likelihood::hwd: return case_control_ggi_hwd::set_model(data, mode);
    case likelihood::hwqx: return case_control_ggi_hwqx::set_model(data, mode);
    case likelihood::hwdx: return case_control_ggi_hwdx::set_model(data, mode);
    }
    return INVALID_MODEL;
}

void case_control_ggi_clear_model(case_control_ggi_data& data, unsigned hw) {
    switch (select(data, hw)) {
    case likelihood::hwq: destroy(case_control_ggi_hwq::model); break;
    case likelihood::hwd: destroy(case_control_ggi_hwd::model); break;
    case likelihood::hwqx: destroy(case_control_ggi_hwqx::model); break;
    case likelihood::hwdx: destroy(case_control_ggi_hwdx::model); break;
    }
}

int case_control_ggi(case_control_ggi_data const& data, unsigned hw, unsigned iterations,
                     double tolerance, result& res) {
    return hw == EQUILIBRIUM ? ccg_hwq(data, iterations, tolerance, res)
                             : ccg_hwd(data, iterations, tolerance, res);
}

void case_control_ggi_transform(case_control_ggi_data const& data, unsigned hw,
                                double const* estimates, double* out) {
    if (hw == EQUILIBRIUM)
        case_control_ggi_hwq::transform(data, estimates, out);
    else
        case_control_ggi_hwd::transform(data, estimates, out);
}

int case_control_ggi_stderr(case_control_ggi_data const& data, unsigned hw, double const* estimates,
                            double* out) {
    switch (select(data, hw)) {
    case likelihood::hwq: return case_control_ggi_hwq::std_err(data, estimates, out);
    case likelihood::hwd: return case_control_ggi_hwd::std_err(data, estimates, out);
    case likelihood::hwqx: return case_control_ggi_hwqx::std_err(data, estimates, out);
    case likelihood::hwdx: return case_control_ggi_hwdx::std_err(data, estimates, out);
    }
    return INVALID_MODEL;
}
