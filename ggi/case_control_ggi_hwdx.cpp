// The disequilibrium environment model: pair weights of case_control_ggi_hwd, subjects of
// environment_likelihood.
#include "ggi/case_control_ggi_hwdx.h"

#include "ggi/environment_likelihood.h"
#include "ggi/hwd_designs.h"
#include "ggi/standard_errors.h"

case_control_ggi_hwdx::gmodel* case_control_ggi_hwdx::model = nullptr;

namespace {

using record = case_control_ggi_data;
using sums = environment_likelihood<hwd_designs<case_control_ggi_hwdx>>;

} // namespace

void case_control_ggi_hwdx::gmodel::init(record const& data, unsigned per_term) {
    covariates.init(data, per_term, [&](unsigned i, unsigned j, design_vector& codes) {
        code(data, data.interactions, data.n_interactions, 0, i, j, codes);
    });
    layout.init(data, covariates, sums::plain::terms(data.n_haplotypes));
}

int case_control_ggi_hwdx::gmodel::etw(record const& data, double const* x, double* w1, double* h1,
                                       double& a1) {
    double const* const gamma = x + data.n_parameters - covariates.n_codes;
    std::vector<double> const offset = covariates.mean_interactions(gamma);
    a1 = 0;
    for (unsigned i = 0; i < data.n_haplotypes; ++i) {
        unsigned const* const of_pair = &covariates.of_pair[triangle(i)];
        for (unsigned j = 0; j <= i; ++j, ++w1) {
            double const exponent = list(data, false, i, j).times(x) + offset[of_pair[j]];
            *w1 = (i == j ? 1 : 2) * std::exp(exponent);
            a1 += *w1;
        }
        h1[i] = std::exp(list(data, true, i, i).times(x) + offset[of_pair[i]]);
        a1 += h1[i];
    }
    return std::isnan(a1) ? 114 : std::isinf(a1) ? 115 : 1;
}

void codominant_case_control_ggi_hwdx::code(record const& data, unsigned const* const* rows,
                                            unsigned n, unsigned first, unsigned i, unsigned j,
                                            design_vector& out) const {
    add_codominant_codes(data, rows, n, first, i, j, out);
}

int case_control_ggi_hwdx::set_model(record& data, unsigned mode) {
    switch (mode) {
    case 1: model = new gmodel(1, 2, 1); break;
    case 2: model = new gmodel(2, 1, 0); break;
    case 3: model = new gmodel(3, 1, 1); break;
    case 4: model = new codominant_case_control_ggi_hwdx; break;
    default: return 108;
    }
    unsigned const per_term = mode == 4 ? 2 : 1;
    data.n_parameters = data.n_haplotypes + data.n_environment + 1 +
                        per_term * (data.n_effects + data.n_interactions);
    model->init(data, per_term);
    return 1;
}

int case_control_ggi_hwdx::f(record const& data, double const* x, double* W, double* a, double* b,
                             double* g) {
    environment_layout const& layout = model->layout;
    unsigned const K = data.n_haplotypes;
    double *const w0 = W + layout.control, *const w1 = W + layout.cases;
    double a0, a1;
    int status = case_control_ggi_hwd::etw(x, K, w0, w0 + triangle(K), a0);
    if (status == 1) status = model->etw(data, x, w1, w1 + triangle(K), a1);
    if (status != 1) return status;
    return sums::evaluate(data, model->covariates, layout, a0, x, W, a, b, g);
}

double case_control_ggi_hwdx::llh(record const& data, double const* a, double const* b) {
    return subjects_llh(data, a, b);
}

void case_control_ggi_hwdx::df(record const& data, double const* W, double const*, double const*,
                               double* H) {
    sums::information(data, model->covariates, model->layout, W, H);
}

int case_control_ggi_hwdx::std_err(record const& data, double const* x, double* out) {
    return model_standard_errors<case_control_ggi_hwdx>(data, x, case_control_ggi_hwd::jacobian,
                                                        n_weights(), data.n_subjects,
                                                        data.n_subjects, true, out);
}
