// The disequilibrium environment model (docs/methods.md, section 12): pair weights of
// case_control_ggi_hwd, subjects of environment_likelihood.
#include "ggi/case_control_ggi_hwdx.h"

#include <algorithm>

thread_local case_control_ggi_hwdx::gmodel* case_control_ggi_hwdx::model = nullptr;

namespace {

using record = case_control_ggi_data;

environment_model view(record const& data) {
    case_control_ggi_hwdx::gmodel const& m = *case_control_ggi_hwdx::model;
    return environment_model_of(data, DISEQUILIBRIUM, m.code(), m.covariates, m.layout);
}

} // namespace

void case_control_ggi_hwdx::gmodel::init(record const& data) {
    pair_sample const sample = sample_of(data);
    exposures const subjects = exposures_of(data, code());
    covariates.init(subjects, data.n_haplotypes, sample);
    layout.init(subjects, covariates, sample.genotypes.size(),
                retrospective::n_terms(design_of(data, DISEQUILIBRIUM, code())),
                data.n_parameters - covariates.n_parameters());
}

int case_control_ggi_hwdx::gmodel::etw(record const& data, double const* x, double* w1, double* h1,
                                       double& a1) {
    double const* const gamma = x + data.n_parameters - covariates.n_codes;
    return retrospective::weigh_cases(design_of(data, DISEQUILIBRIUM, code()), x,
                                      covariates.mean_interactions(gamma).data(), w1, h1, a1);
}

int case_control_ggi_hwdx::set_model(record& data, unsigned mode) {
    int const status =
        make_model<codominant_case_control_ggi_hwdx>(data, DISEQUILIBRIUM, mode, model);
    if (status == SUCCESS) model->init(data);
    return status;
}

work_lengths case_control_ggi_hwdx::lengths(record const& data) {
    return {model->layout.size, data.n_subjects, data.n_subjects};
}

int case_control_ggi_hwdx::f(record const& data, double const* x, double* W, double* a, double* b,
                             double* g) {
    environment_layout const& layout = model->layout;
    unsigned const K = data.n_haplotypes;
    double *const w0 = W + layout.control, *const w1 = W + layout.cases;
    double a0, a1;
    int status = case_control_ggi_hwd::etw(x, K, w0, w0 + triangle(K), a0);
    if (status == SUCCESS) status = model->etw(data, x, w1, w1 + triangle(K), a1);
    if (status == SUCCESS) status = view(data).evaluate(a0, x, W, a, b, g);
    return status;
}

double case_control_ggi_hwdx::llh(record const& data, double const* a, double const* b) {
    return subjects_llh(data.n_subjects, a, b);
}

void case_control_ggi_hwdx::s(record const& data, double const* W, double const*, double* H) {
    view(data).add_s(W, H);
}

void case_control_ggi_hwdx::t(record const& data, double const* W, double* H) {
    view(data).subtract_t(W, H);
}

void case_control_ggi_hwdx::df(record const& data, double const* W, double const* a, double const*,
                               double* H) {
    std::fill(H, H + static_cast<std::size_t>(data.n_parameters) * data.n_parameters, 0.0);
    s(data, W, a, H);
    t(data, W, H);
}

void case_control_ggi_hwdx::transform(record const& data, double const* x, double* out) {
    case_control_ggi_hwd::transform(data, x, out);
}

int case_control_ggi_hwdx::std_err(record const& data, double const* x, double* out) {
    return likelihood_standard_errors<case_control_ggi_hwdx>(data, DISEQUILIBRIUM, x, true, out);
}
