#include "scan/effects/terms.h"

#include "scan/score/copies.h"

#include <algorithm>

namespace scan {

namespace {

haplotype_terms no_terms(effect_input const& input, supported_haplotypes const& haplotypes) {
    haplotype_terms t;
    t.labels.resize(haplotypes.size(), 0);
    coding_of(input.settings.mode, t.code);
    return t;
}

void add(haplotype_name name, double frequency, haplotype_terms& t) {
    t.names.push_back(name);
    t.frequencies.push_back(frequency);
}

// Adds the term of a tested haplotype; none for one that no genotype supports, which bounds of 0 test.
void add(haplotype_row const& row, supported_haplotypes const& haplotypes, haplotype_terms& t) {
    auto const found = std::find(haplotypes.bits.begin(), haplotypes.bits.end(), row.bits);
    if (found == haplotypes.bits.end()) return;
    add({haplotype_name::one, row.bits}, row.freq, t);
    t.labels[static_cast<std::size_t>(found - haplotypes.bits.begin())] = t.n_terms();
}

haplotype_terms against_reference(effect_input const& input, supported_haplotypes const& haplotypes,
                                  window_row const& tested) {
    haplotype_terms t = no_terms(input, haplotypes);
    t.reference = {haplotype_name::one, tested.haplotypes[0].bits};
    auto const is_rare = [&](std::size_t h) {
        return std::none_of(tested.haplotypes.begin(), tested.haplotypes.end(),
                            [&](auto const& row) { return row.bits == haplotypes.bits[h]; });
    };
    for (std::size_t k = 1; k < tested.haplotypes.size(); ++k)
        add(tested.haplotypes[k], haplotypes, t);
    double frequency = 0;
    for (std::size_t h = 0; h < haplotypes.size(); ++h)
        if (is_rare(h)) frequency += haplotypes.frequencies[h];
    double const copies = 2.0 * std::min(tested.cases, tested.controls) * frequency;
    if (!is_enough(copies, input.test.min_hap_copies) || copies == 0) return t;
    add({haplotype_name::rare, 0}, frequency, t);
    for (std::size_t h = 0; h < haplotypes.size(); ++h)
        if (is_rare(h)) t.labels[h] = t.n_terms();
    return t;
}

haplotype_terms against_rest(effect_input const& input, supported_haplotypes const& haplotypes,
                             haplotype_row const& h) {
    haplotype_terms t = no_terms(input, haplotypes);
    t.reference = {haplotype_name::rest, 0};
    add(h, haplotypes, t);
    return t;
}

std::string test_name(inheritance mode, unsigned which) {
    switch (mode) {
    case RECESSIVE: return "REC";
    case DOMINANT: return "DOM";
    default: return which == 0 ? "ADD" : "HOMDEV";
    }
}

} // namespace

std::vector<haplotype_terms> make_models(effect_input const& input,
                                         supported_haplotypes const& haplotypes,
                                         window_row const& tested) {
    std::vector<haplotype_terms> models;
    if (!input.settings.is_vs_rest)
        models.push_back(against_reference(input, haplotypes, tested));
    else
        for (haplotype_row const& h : tested.haplotypes)
            models.push_back(against_rest(input, haplotypes, h));
    models.erase(std::remove_if(models.begin(), models.end(),
                                [](haplotype_terms const& t) { return t.n_terms() == 0; }),
                 models.end());
    return models;
}

std::vector<planned_row> plan_rows(effect_input const& input, haplotype_terms const& terms,
                                   window_sample const& sample) {
    std::vector<planned_row> rows;
    unsigned const per_term = terms.code.per_term();
    for (unsigned t = 0; t < terms.n_terms(); ++t)
        for (unsigned which = 0; which < per_term; ++which) {
            std::string const test = test_name(input.settings.mode, which);
            double const frequency = terms.frequencies[t];
            double const expected =
                sample.n_smaller() * rarer_share(input.settings.mode, which, frequency);
            effect_row row{terms.names[t], terms.reference, test, frequency, true, {}};
            unsigned const code = t * per_term + which;
            rows.push_back({row, code, false, support_of(expected, sample)});
            if (!input.has_interaction()) continue;
            row.test += "x" + input.environment_name();
            rows.push_back(
                {row, code, true, support_of(expected * input.environment_share, sample)});
        }
    return rows;
}

effect_row covariate_row(std::string const& covariate, haplotype_terms const& terms) {
    effect_row row;
    row.test = covariate;
    if (terms.reference.kind != haplotype_name::rest) return row;
    row.haplotype = terms.names[0];
    row.reference = terms.reference;
    return row;
}

} // namespace scan
