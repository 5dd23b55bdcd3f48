// Setters of the haplotypes' labels and of the terms of a record.
#include "ggi/case_control_ggi_safeguarded.h"

#include "numeric/nutil.h"

#include <algorithm>

namespace {

// Rows of one value per entry, with MAX_UINT behind those that list covariates.
void fill(std::vector<std::vector<unsigned>> const& rows, bool has_covariates, unsigned**& table,
          unsigned& count) {
    table = new unsigned* [rows.size()] {};
    for (std::vector<unsigned> const& row : rows) {
        unsigned* const copy = table[count++] = new unsigned[row.size() + 1];
        std::copy(row.begin(), row.end(), copy);
        if (has_covariates) copy[row.size()] = MAX_UINT;
    }
}

} // namespace

double nobody_dropped(case_control_ggi_data const& data) {
    return 1e-4 / (2.0 * data.n_subjects);
}

unsigned pool_haplotypes(case_control_ggi_data& data, unsigned gene,
                         std::vector<unsigned> const& positions) {
    unsigned* const labels = data.subhaplotypes[gene];
    unsigned const label = labels[positions.front()];
    for (unsigned const position : positions)
        labels[position] = label;
    return label;
}

void set_effects(case_control_ggi_data& data, std::vector<std::vector<unsigned>> const& labels) {
    data.effects_free();
    fill(labels, false, data.effects, data.n_effects);
}

void set_interactions(case_control_ggi_data& data,
                      std::vector<std::vector<unsigned>> const& environment,
                      std::vector<std::vector<unsigned>> const& interactions) {
    data.interactions_free();
    fill(environment, true, data.environment, data.n_environment);
    fill(interactions, true, data.interactions, data.n_interactions);
}
