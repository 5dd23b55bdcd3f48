#include "scan/effects/models.h"
#include "scan/effects/prospective.h"

#include <cstddef>

namespace scan {

std::vector<effect_row>
estimate_prospective(effect_input const& input, Eigen::VectorXd const& coefficients,
                     window_sample const& sample, supported_haplotypes const& haplotypes,
                     haplotype_terms const& terms, std::vector<planned_row> const& planned) {
    prospective_likelihood likelihood(sample, haplotypes, terms, input.environment);
    std::vector<effect_row> rows;
    std::vector<reported_parameter> reported;
    std::vector<std::size_t> places; // of their rows
    for (planned_row const& p : planned) {
        rows.push_back(p.row);
        rows.back().estimate.code = effect_code::not_identifiable;
        unsigned const parameter =
            p.is_interaction ? likelihood.interaction(p.code) : likelihood.effect(p.code);
        if (parameter == prospective_likelihood::NO_PARAMETER) continue;
        places.push_back(rows.size() - 1);
        reported.push_back({parameter, p.is_interaction ? input.environment_unit() : 1, p.support});
    }
    term_support const covariate = support_of_covariate(sample);
    for (std::size_t j = 1; input.settings.shows_covariates && j < input.design.names.size(); ++j) {
        reported.push_back({likelihood.first_covariate() + static_cast<unsigned>(j),
                            input.design.units[j], covariate});
        places.push_back(rows.size());
        rows.push_back(covariate_row(input.design.names[j], terms));
    }

    Eigen::VectorXd x = likelihood.start(coefficients);
    safeguarded_model const model = likelihood.model();
    if (input.has_interaction()) {
        // A start near the maximum, found where effects and interactions are least alike.
        safeguarded_fit(model, nullptr, x.data());
        likelihood.move_origin(input.environment_mean() / input.environment_unit(), x.data());
    }
    auto const estimates = estimate_effects(model, reported, input.settings.level, x.data());
    for (std::size_t k = 0; k < estimates.size(); ++k)
        rows[places[k]].estimate = estimates[k];
    return rows;
}

} // namespace scan
