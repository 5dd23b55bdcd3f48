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
    for (planned_row const& p : planned) {
        unsigned const first =
            p.is_interaction ? likelihood.first_interaction() : likelihood.first_effect();
        reported.push_back(
            {first + p.code, p.is_interaction ? input.environment_unit() : 1, p.is_sparse});
        rows.push_back(p.row);
    }
    for (std::size_t j = 1; input.settings.shows_covariates && j < input.design.names.size(); ++j) {
        reported.push_back({likelihood.first_covariate() + static_cast<unsigned>(j),
                            input.design.units[j], false});
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
    for (std::size_t r = 0; r < rows.size(); ++r)
        rows[r].estimate = estimates[r];
    return rows;
}

} // namespace scan
