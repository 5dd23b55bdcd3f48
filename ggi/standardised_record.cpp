// Centred and scaled covariate products.
#include "ggi/standardised_record.h"

#include "ggi/engine/parameter_layout.h"
#include "ggi/engine_input.h"
#include "ggi/settings.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

bool keeps_pair(case_control_ggi_data const& data, unsigned subject) {
    return data.distinct->genotypes[data.distinct->ranks[subject]]->multiplicity[2] != 0;
}

// The effect with the labels of an interaction.
unsigned same_haplotypes(case_control_ggi_data const& data, unsigned const* labels) {
    for (unsigned e = 0; e < data.n_effects; ++e)
        if (std::equal(labels, labels + data.n_genes, data.effects[e])) return e;
    return MAX_UINT;
}

} // namespace

void standardised_record::add(unsigned const* covariates, bool is_centred) {
    unsigned const n = data.n_subjects;
    std::vector<double> x(n, 1.0);
    for (; *covariates != MAX_UINT; ++covariates)
        for (unsigned s = 0; s < n; ++s)
            x[s] *= data.covariates[*covariates][s];
    auto const mean = [&](auto value) {
        long double sum = 0, subjects = 0;
        for (unsigned s = 0; s < n; ++s) {
            if (!keeps_pair(data, s)) continue;
            sum += value(x[s]);
            subjects += 1;
        }
        return sum / subjects;
    };
    long double m = mean([](long double v) { return v; });
    long double deviation = std::sqrt(mean([m](long double v) { return (v - m) * (v - m); }));
    // A constant, but for the rounding of its mean: it has no deviation to be measured in.
    bool const is_constant = deviation <= 1e-17L * std::fabs(m);
    if (!is_centred || is_constant) {
        m = 0;
        deviation = std::sqrt(mean([](long double v) { return v * v; }));
    }
    if (!(deviation > 0)) deviation = 1;
    for (double& v : x)
        v = static_cast<double>((v - m) / deviation);
    products.push_back({x, static_cast<double>(m), static_cast<double>(deviation)});
}

standardised_record::standardised_record(case_control_ggi_data const& original) : data(original) {
    unsigned const genes = data.n_genes;
    for (unsigned r = 0; r < data.n_environment; ++r) {
        add(original.environment[r], true);
        rows.push_back({r, MAX_UINT});
    }
    for (unsigned r = 0; r < data.n_interactions; ++r) {
        unsigned const* const row = original.interactions[r];
        effect_of.push_back(same_haplotypes(data, row));
        add(row + genes, effect_of.back() != MAX_UINT);
        std::vector<unsigned> changed(row, row + genes);
        changed.push_back(data.n_environment + r);
        changed.push_back(MAX_UINT);
        rows.push_back(changed);
    }
    for (product& p : products)
        columns.push_back(p.values.data());
    for (std::size_t r = 0; r < rows.size(); ++r)
        (r < data.n_environment ? environment : interactions).push_back(rows[r].data());
    data.covariates = columns.data();
    data.n_covariates = static_cast<unsigned>(columns.size());
    data.environment = environment.data();
    data.interactions = interactions.data();
}

std::vector<double> standardised_record::way_back(unsigned per_term) const {
    parameter_layout const where = layout_of(data, EQUILIBRIUM, per_term);
    std::size_t const first = where.effect(0), n = where.count() - first;
    std::vector<double> A(n * n);
    auto const at = [&](unsigned row, unsigned column) -> double& {
        return A[(row - first) * n + (column - first)];
    };
    for (std::size_t i = 0; i < n; ++i)
        A[i * (n + 1)] = 1;
    for (unsigned r = 0; r < data.n_environment; ++r) {
        product const& p = products[r];
        at(where.environment(r), where.environment(r)) = 1 / p.deviation;
        at(where.kappa(), where.environment(r)) = -p.mean / p.deviation;
    }
    for (unsigned r = 0; r < data.n_interactions; ++r) {
        product const& p = products[data.n_environment + r];
        for (unsigned code = 0; code < per_term; ++code) {
            unsigned const delta = where.interaction(r) + code;
            at(delta, delta) = 1 / p.deviation;
            if (effect_of[r] != MAX_UINT)
                at(where.effect(effect_of[r]) + code, delta) = -p.mean / p.deviation;
        }
    }
    return A;
}
