// Views of the record for the engines.
#include "ggi/engine_input.h"

#include "ggi/settings.h"

namespace {

term_table terms_of(case_control_ggi_data const& data, unsigned const* const* rows, unsigned n,
                    coding const& code) {
    return {data.n_genes, data.subhaplotypes, rows, n, code};
}

} // namespace

pair_design design_of(case_control_ggi_data const& data, unsigned hw, coding const& code) {
    return {data.n_haplotypes, hw == EQUILIBRIUM, data.n_parameters,
            terms_of(data, data.effects, data.n_effects, code)};
}

pair_sample sample_of(case_control_ggi_data const& data) {
    pair_sample sample{{}, {data.n_controls, data.n_cases}};
    sample.genotypes.reserve(data.distinct->count);
    for (unsigned r = 0; r < data.distinct->count; ++r) {
        genotype const& g = *data.distinct->genotypes[r];
        if (g.pairs == nullptr)
            sample.genotypes.push_back({nullptr, nullptr, {0, 0}});
        else
            sample.genotypes.push_back({g.pairs->data(),
                                        g.pairs->data() + g.pairs->size(),
                                        {g.multiplicity[0], g.multiplicity[1]}});
    }
    return sample;
}

exposures exposures_of(case_control_ggi_data const& data, coding const& code) {
    return {data.n_subjects,
            data.status,
            data.distinct->ranks,
            data.covariates,
            data.environment,
            data.n_environment,
            terms_of(data, data.interactions, data.n_interactions, code)};
}

environment_model environment_model_of(case_control_ggi_data const& data, unsigned hw,
                                       coding const& code, environment const& covariates,
                                       environment_layout const& layout) {
    return {design_of(data, hw, code), sample_of(data), exposures_of(data, code), covariates,
            layout};
}

parameter_layout layout_of(case_control_ggi_data const& data, unsigned hw, unsigned per_term) {
    return {data.n_haplotypes, hw == EQUILIBRIUM,  per_term,
            data.n_effects,    data.n_environment, data.n_interactions};
}

parameter_layout layout_of(case_control_ggi_data const& data, unsigned hw) {
    parameter_layout const plain = layout_of(data, hw, 1);
    return plain.count() == data.n_parameters ? plain : layout_of(data, hw, 2);
}
