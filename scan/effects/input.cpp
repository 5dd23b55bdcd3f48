#include "scan/effects/input.h"

#include "scan/error.h"

#include <algorithm>

namespace scan {

namespace {

// The column of a number, or the only one of a category, whose name is followed by "=" and a level.
int column_of(std::string const& name, null_design const& design) {
    std::vector<int> columns;
    for (std::size_t j = 1; j < design.names.size(); ++j)
        if (design.names[j] == name || design.names[j].compare(0, name.size() + 1, name + "=") == 0)
            columns.push_back(static_cast<int>(j));
    if (columns.empty())
        throw failure(no_fit, "--interaction " + name +
                                  ": is no covariate that the run uses. Name one of --covar-name "
                                  "that is neither constant nor determined by others.");
    if (columns.size() > 1)
        throw failure(no_fit,
                      "--interaction " + name + ": has " + std::to_string(columns.size() + 1) +
                          " categories, but an interaction needs a number or two categories.\n"
                          "Give a column of 0 and 1 for the category that matters.");
    return columns[0];
}

double smaller_share(Eigen::VectorXd const& values) {
    double const low = values.minCoeff(), high = values.maxCoeff();
    auto const n_low = (values.array() == low).count(), n_high = (values.array() == high).count();
    if (n_low + n_high != values.size()) return 1;
    return static_cast<double>(std::min(n_low, n_high)) / static_cast<double>(values.size());
}

} // namespace

effect_input::effect_input(effect_settings const& s, window_settings const& t, null_design const& d,
                           std::vector<std::uint32_t> const& sample,
                           std::vector<std::uint8_t> const& is_case)
    : settings(s), test(t), design(d), subjects(sample, is_case, d.columns) {
    if (s.interaction.empty()) return;
    environment = column_of(s.interaction, d);
    environment_share = smaller_share(d.columns.col(environment));
}

std::string effect_input::model_name() const {
    if (settings.model == effect_model::prospective)
        return has_covariates() ? "prospective" : "prospective_unadjusted";
    return std::string("retrospective_") + (has_interaction() ? "independent" : "unadjusted") +
           (settings.hw == EQUILIBRIUM ? "" : "_HWD");
}

std::string effect_input::model_text() const {
    if (settings.model == effect_model::prospective)
        return std::string("Effects: prospective likelihood, ") +
               (has_covariates() ? "adjusted for the covariates"
                                 : "not adjusted for any covariate") +
               "; haplotypes in Hardy-Weinberg equilibrium among all subjects.";
    std::string const controls = settings.hw == EQUILIBRIUM
                                     ? "controls in Hardy-Weinberg equilibrium"
                                     : "controls with inbreeding coefficient rho";
    if (!has_interaction())
        return "Effects: retrospective likelihood, not adjusted for any covariate; " + controls +
               ".";
    return "Effects: retrospective likelihood, which assumes haplotypes and " + environment_name() +
           " independent in the population; other covariates do not adjust it; " + controls + ".";
}

std::string effect_input::interaction_text() const {
    return "Interaction: of each haplotype with " + environment_name() +
           "; the rows of haplotypes alone are the effects where " + environment_name() + " is 0.";
}

} // namespace scan
