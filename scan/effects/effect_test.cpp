#include "scan/effects/effect_test.h"

#include "scan/effects/models.h"
#include "scan/score/haplotypes.h"

#include <cmath>

namespace scan {

namespace {

// A model with more haplotypes would take minutes.
constexpr std::size_t MOST_HAPLOTYPES = 1000;

} // namespace

bool effect_test::wants(window_row const& tested) const {
    double const most = std::log(input_.settings.most_p);
    return tested.code == error_code::none &&
           (tested.log_p <= most || tested.top_log_p_bonferroni <= most);
}

void effect_test::run(std::vector<std::uint8_t const*> const& rows, window_row const& tested,
                      effect_result& result) {
    auto const n_snps = static_cast<unsigned>(rows.size());
    window_sample const sample(input_.subjects, rows,
                               static_cast<unsigned>(input_.test.window_mind * n_snps));
    result = {sample.n_subjects, sample.n_cases, {}};
    bool const has_frequencies = estimate_frequencies(sample.genotypes, n_snps, frequencies_);
    supported_haplotypes const haplotypes =
        find_supported(sample.genotypes, frequencies_, n_snps, sample.n_subjects);
    for (haplotype_terms const& terms : make_models(input_, haplotypes, tested)) {
        effect_code const code = !has_frequencies ? effect_code::no_convergence
                                 : haplotypes.size() > MOST_HAPLOTYPES
                                     ? effect_code::too_many_haplotypes
                                     : effect_code::none;
        if (code == effect_code::none)
            estimate(sample, haplotypes, terms, result.rows);
        else
            for (planned_row& planned : plan_rows(input_, terms, sample)) {
                planned.row.estimate.code = code;
                result.rows.push_back(planned.row);
            }
    }
}

void effect_test::estimate(window_sample const& sample, supported_haplotypes const& haplotypes,
                           haplotype_terms const& terms, std::vector<effect_row>& rows) const {
    std::vector<planned_row> planned = plan_rows(input_, terms, sample);
    auto const estimated =
        input_.settings.model == effect_model::prospective
            ? estimate_prospective(input_, model_.coefficients, sample, haplotypes, terms, planned)
            : estimate_retrospective(input_, sample, haplotypes, terms, planned);
    rows.insert(rows.end(), estimated.begin(), estimated.end());
}

} // namespace scan
