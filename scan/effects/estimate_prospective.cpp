#include "scan/effects/models.h"
#include "scan/effects/prospective.h"
#include "scan/score/tails.h"

#include "numeric/status_code.h"

#include <cstddef>

namespace scan {

namespace {

// Share of what seen haplotypes would tell of an effect below which it is not identifiable.
constexpr double LEAST_KNOWN = 0.01;

// The terms of a likelihood with their rows.
struct row_list {
    prospective_likelihood const& likelihood;
    std::vector<effect_row> rows;
    std::vector<requested_term> terms;
    std::vector<std::size_t> places; // of their rows
    std::vector<term_support> supports;

    // A row for the parameter divided by its unit, or for one that there is not. Returns the term.
    std::vector<double>* add(effect_row const& row, unsigned parameter, double unit,
                             term_support support) {
        rows.push_back(row);
        rows.back().estimate.code = effect_code::not_identifiable;
        if (parameter == prospective_likelihood::NO_PARAMETER) return nullptr;
        places.push_back(rows.size() - 1);
        supports.push_back(support);
        terms.push_back(
            {std::vector<double>(likelihood.n_parameters()), parameter, requests_of(support)});
        terms.back().a[parameter] = 1 / unit;
        return &terms.back().a;
    }
};

row_list list_rows(effect_input const& input, prospective_likelihood const& likelihood,
                   window_sample const& sample, haplotype_terms const& terms,
                   std::vector<planned_row> const& planned, Eigen::ArrayXd const& known) {
    row_list list{likelihood, {}, {}, {}, {}};
    for (planned_row const& p : planned) {
        unsigned const effect = likelihood.effect(p.code);
        bool const is_known = effect != prospective_likelihood::NO_PARAMETER &&
                              known[effect - likelihood.first_effect()] >= LEAST_KNOWN;
        unsigned const parameter = !is_known          ? prospective_likelihood::NO_PARAMETER
                                   : p.is_interaction ? likelihood.interaction(p.code)
                                                      : effect;
        std::vector<double>* const a =
            list.add(p.row, parameter, p.is_interaction ? input.environment_unit() : 1, p.support);
        // The effect at covariate 0, of a fit to the standardised covariate.
        if (a != nullptr && !p.is_interaction && input.has_interaction())
            (*a)[likelihood.interaction(p.code)] =
                -input.environment_mean() / input.environment_unit();
    }
    for (std::size_t j = 1; input.settings.shows_covariates && j < input.design.names.size(); ++j)
        list.add(covariate_row(input.design.names[j], terms),
                 likelihood.first_covariate() + static_cast<unsigned>(j), input.design.units[j],
                 support_of_covariate(sample));
    return list;
}

} // namespace

std::vector<effect_row>
estimate_prospective(effect_input const& input, Eigen::VectorXd const& coefficients,
                     window_sample const& sample, supported_haplotypes const& haplotypes,
                     haplotype_terms const& terms, std::vector<planned_row> const& planned) {
    prospective_likelihood likelihood(sample, haplotypes, terms, input.environment);
    Eigen::VectorXd x = likelihood.start(coefficients);
    row_list list =
        list_rows(input, likelihood, sample, terms, planned, likelihood.known_shares(x.data()));
    safeguarded_model const model = likelihood.model();
    safeguarded_outcome const outcome = safeguarded_fit(model, nullptr, x.data());
    std::vector<double> V(std::size_t{model.p} * model.p);
    bool const has_succeeded =
        outcome.has_succeeded() &&
        safeguarded_covariance(model, outcome, x.data(), V.data()) == SUCCESS;
    double const quantile = normal_quantile((1 + input.settings.level) / 2);
    std::vector<fitted_term> fitted;
    if (has_succeeded)
        fitted = estimate_terms({model, outcome, x.data()}, V, list.terms, quantile).terms;
    bool const has_all = fitted.size() == list.terms.size();
    for (std::size_t k = 0; k < list.places.size(); ++k)
        list.rows[list.places[k]].estimate =
            has_all ? estimate_of(fitted[k], list.supports[k], quantile)
                    : failed_estimate(effect_code::no_convergence);
    return list.rows;
}

} // namespace scan
