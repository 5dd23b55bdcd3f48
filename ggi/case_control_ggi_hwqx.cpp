// The equilibrium environment model: pair weights of case_control_ggi_hwq, subjects of
// environment_likelihood.
#include "ggi/case_control_ggi_hwqx.h"

#include "ggi/environment_likelihood.h"
#include "ggi/hwq_designs.h"
#include "ggi/standard_errors.h"

case_control_ggi_hwqx::gmodel* case_control_ggi_hwqx::model = nullptr;

namespace {

using record = case_control_ggi_data;
using sums = environment_likelihood<hwq_designs<case_control_ggi_hwqx>>;

} // namespace

void case_control_ggi_hwqx::gmodel::init(record const& data, unsigned per_term) {
    covariates.init(data, per_term, [&](unsigned i, unsigned j, design_vector& codes) {
        code(data, data.interactions, data.n_interactions, 0, i, j, codes);
    });
    layout.init(data, covariates, sums::plain::terms(data.n_haplotypes));
}

void case_control_ggi_hwqx::gmodel::etw(record const& data, double const* x, double* w1,
                                        double& a1) {
    double const* const gamma = x + data.n_parameters - covariates.n_codes;
    std::vector<double> const offset = covariates.mean_interactions(gamma);
    unsigned const* of_pair = covariates.of_pair.data();
    a1 = 0;
    for (unsigned i = 0; i < data.n_haplotypes; ++i)
        for (unsigned j = 0; j <= i; ++j, ++w1) {
            double const exponent = list(data, i, j).times(x) + offset[*of_pair++];
            *w1 = (i == j ? 1 : 2) * std::exp(exponent);
            a1 += *w1;
        }
}

void codominant_case_control_ggi_hwqx::code(record const& data, unsigned const* const* rows,
                                            unsigned n, unsigned first, unsigned i, unsigned j,
                                            design_vector& out) const {
    add_codominant_codes(data, rows, n, first, i, j, out);
}

int case_control_ggi_hwqx::set_model(record& data, unsigned mode) {
    switch (mode) {
    case 1: model = new additive_case_control_ggi_hwqx; break;
    case 2: model = new recessive_case_control_ggi_hwqx; break;
    case 3: model = new dominant_case_control_ggi_hwqx; break;
    case 4: model = new codominant_case_control_ggi_hwqx; break;
    default: return 108;
    }
    unsigned const per_term = mode == 4 ? 2 : 1;
    data.n_parameters =
        data.n_haplotypes + data.n_environment + per_term * (data.n_effects + data.n_interactions);
    model->init(data, per_term);
    return 1;
}

int case_control_ggi_hwqx::f(record const& data, double const* x, double* W, double* a, double* b,
                             double* g) {
    environment_layout const& layout = model->layout;
    double a0, a1;
    case_control_ggi_hwq::etw(data, x, W + layout.control, a0);
    model->etw(data, x, W + layout.cases, a1);
    return sums::evaluate(data, model->covariates, layout, a0, x, W, a, b, g);
}

double case_control_ggi_hwqx::llh(record const& data, double const* a, double const* b) {
    return subjects_llh(data, a, b);
}

void case_control_ggi_hwqx::df(record const& data, double const* W, double const*, double const*,
                               double* H) {
    sums::information(data, model->covariates, model->layout, W, H);
}

int case_control_ggi_hwqx::std_err(record const& data, double const* x, double* out) {
    return model_standard_errors<case_control_ggi_hwqx>(data, x, case_control_ggi_hwq::jacobian,
                                                        n_weights(), data.n_subjects,
                                                        data.n_subjects, false, out);
}
