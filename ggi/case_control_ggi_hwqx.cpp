// The equilibrium environment model (docs/methods.md, section 12): pair weights of
// case_control_ggi_hwq, subjects of environment_likelihood.
#include "ggi/case_control_ggi_hwqx.h"

#include "numeric/nutil.h"

#include <algorithm>

thread_local case_control_ggi_hwqx::gmodel* case_control_ggi_hwqx::model = nullptr;

namespace {

using record = case_control_ggi_data;

environment_model view(record const& data) {
    case_control_ggi_hwqx::gmodel const& m = *case_control_ggi_hwqx::model;
    return environment_model_of(data, EQUILIBRIUM, m.code(), m.covariates, m.layout);
}

} // namespace

void case_control_ggi_hwqx::gmodel::init(record const& data) {
    pair_sample const sample = sample_of(data);
    exposures const subjects = exposures_of(data, code());
    covariates.init(subjects, data.n_haplotypes, sample);
    layout.init(subjects, covariates, sample.genotypes.size(), triangle(data.n_haplotypes),
                data.n_parameters - covariates.n_parameters());
}

void case_control_ggi_hwqx::gmodel::etw(record const& data, double const* x, double* w1,
                                        double& a1) {
    double const* const gamma = x + data.n_parameters - covariates.n_codes;
    retrospective::weigh_cases(design_of(data, EQUILIBRIUM, code()), x,
                               covariates.mean_interactions(gamma).data(), w1, nullptr, a1);
}

int case_control_ggi_hwqx::set_model(record& data, unsigned mode) {
    switch (mode) {
    case ADDITIVE: model = new additive_case_control_ggi_hwqx; break;
    case RECESSIVE: model = new recessive_case_control_ggi_hwqx; break;
    case DOMINANT: model = new dominant_case_control_ggi_hwqx; break;
    case CODOMINANT: model = new codominant_case_control_ggi_hwqx; break;
    default: return INVALID_MODEL;
    }
    data.n_parameters = layout_of(data, EQUILIBRIUM, model->code().per_term()).count();
    model->init(data);
    return SUCCESS;
}

work_lengths case_control_ggi_hwqx::lengths(record const& data) {
    return {model->layout.size, data.n_subjects, data.n_subjects};
}

int case_control_ggi_hwqx::f(record const& data, double const* x, double* W, double* a, double* b,
                             double* g) {
    environment_layout const& layout = model->layout;
    double a0, a1;
    case_control_ggi_hwq::etw(data, x, W + layout.control, a0);
    model->etw(data, x, W + layout.cases, a1);
    int const status = view(data).evaluate(a0, x, W, a, b, g);
    // The sums are not complete, and what is made of them must show it.
    if (status != SUCCESS) {
        std::fill(g, g + data.n_parameters, QNAN);
        std::fill(W + layout.a0, W + layout.size, QNAN);
    }
    return status;
}

double case_control_ggi_hwqx::llh(record const& data, double const* a, double const* b) {
    return subjects_llh(data.n_subjects, a, b);
}

void case_control_ggi_hwqx::s(record const& data, double const* W, double const*, double* H) {
    view(data).add_s(W, H);
}

void case_control_ggi_hwqx::t(record const& data, double const* W, double* H) {
    view(data).subtract_t(W, H);
}

void case_control_ggi_hwqx::df(record const& data, double const* W, double const* a, double const*,
                               double* H) {
    std::fill(H, H + static_cast<std::size_t>(data.n_parameters) * data.n_parameters, 0.0);
    s(data, W, a, H);
    t(data, W, H);
}

void case_control_ggi_hwqx::transform(record const& data, double const* x, double* out) {
    case_control_ggi_hwq::transform(data, x, out);
}

int case_control_ggi_hwqx::std_err(record const& data, double const* x, double* out) {
    return likelihood_standard_errors<case_control_ggi_hwqx>(data, EQUILIBRIUM, x, false, out);
}
