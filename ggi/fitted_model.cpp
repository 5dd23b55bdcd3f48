// Set-up of a likelihood model for the safeguarded fit.
#include "ggi/fitted_model.h"

#include "ggi/case_control_ggi.h"
#include "ggi/case_control_ggi_hwd.h"
#include "ggi/case_control_ggi_hwdx.h"
#include "ggi/case_control_ggi_hwq.h"
#include "ggi/case_control_ggi_hwqx.h"
#include "ggi/settings.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace {

constexpr double SMALLEST_START = 1e-3; // copies among all subjects

template <typename likelihood> safeguarded_model model_of(case_control_ggi_data const& data) {
    auto const work = std::make_shared<likelihood_work<likelihood>>(data);
    return {data.n_parameters,
            [work](double const* x, double& L, double* g) { return work->evaluate(x, L, g); },
            [work](double* H) { work->information(H); }, nullptr};
}

} // namespace

fitted_model::fitted_model(case_control_ggi_data const& record, unsigned hardy_weinberg,
                           unsigned mode)
    : data(record), hw(hardy_weinberg), model{}, outcome{}, is_logarithmic(false) {
    status = case_control_ggi_set_model(data, hw, mode);
    if (status != SUCCESS) return;
    if (has_environment(data))
        model = hw == EQUILIBRIUM ? model_of<case_control_ggi_hwqx>(data)
                                  : model_of<case_control_ggi_hwdx>(data);
    else
        model = hw == EQUILIBRIUM ? model_of<case_control_ggi_hwq>(data)
                                  : model_of<case_control_ggi_hwd>(data);
    x.resize(data.n_parameters);
}

fitted_model::~fitted_model() {
    if (status == SUCCESS) case_control_ggi_clear_model(data, hw);
}

unsigned fitted_model::first_term() const {
    return layout_of(data, hw).effect(0);
}

unsigned fitted_model::effect_parameters() const {
    parameter_layout const where = layout_of(data, hw);
    return where.kappa() - where.effect(0);
}

bool fitted_model::climb() {
    outcome = safeguarded_fit(model, nullptr, x.data());
    return outcome.has_succeeded();
}

std::vector<double> fitted_model::frequencies() const {
    std::vector<double> f(data.n_haplotypes, 1.0);
    double sum = 1;
    for (unsigned k = 0; k < n_ratios(); ++k)
        sum += f[k] = std::exp(x[k]);
    for (double& f_k : f)
        f_k /= sum;
    return f;
}

double fitted_model::start_of(double const* table, unsigned k) const {
    double const ratio = table[data.haplotypes[k]] / table[data.haplotypes[n_ratios()]];
    return std::log(std::max(ratio, SMALLEST_START / (2.0 * data.n_informative)));
}
