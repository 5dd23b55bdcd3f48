// The terms of a window's models and the rows that they get.
#ifndef QUILMAR_SCAN_EFFECTS_TERMS_H
#define QUILMAR_SCAN_EFFECTS_TERMS_H

#include "scan/effects/estimates.h"
#include "scan/effects/input.h"
#include "scan/effects/support.h"
#include "scan/effects/supported_haplotypes.h"

#include "ggi/engine/design.h"

#include <cstdint>
#include <string>
#include <vector>

namespace scan {

// What HAP and REF_HAP name.
struct haplotype_name {
    enum kind_of { nothing, one, rare, rest } kind = nothing;
    std::uint32_t bits = 0; // of one
};

struct effect_row {
    haplotype_name haplotype, reference;
    std::string test;
    double frequency = effect_estimate::NONE; // of the haplotype, in all subjects
    bool is_log_ratio = true;                 // beta is the logarithm of an odds ratio
    effect_estimate estimate;
};

// Which haplotypes of a model have effects.
struct haplotype_terms {
    std::vector<unsigned> labels; // by supported haplotype its term, from 1 on; 0 for the base
    coding code;
    haplotype_name reference;
    std::vector<haplotype_name> names; // by term
    std::vector<double> frequencies;

    unsigned n_terms() const { return static_cast<unsigned>(names.size()); }
    unsigned n_codes() const { return n_terms() * code.per_term(); }
};

// The models of a window with the tested haplotypes: one with all of them against the most frequent
// one, in which all others are a class if they have as many copies as a tested haplotype must have;
// or, against the rest, one for each.
std::vector<haplotype_terms> make_models(effect_input const& input,
                                         supported_haplotypes const& haplotypes,
                                         window_row const& tested);

// The row of an effect or of an interaction; of a code's two rows the effect's comes first.
struct planned_row {
    effect_row row;
    unsigned code; // among the n_codes() of the terms
    bool is_interaction;
    term_support support;
};

std::vector<planned_row> plan_rows(effect_input const& input, haplotype_terms const& terms,
                                   window_sample const& sample);

// The row of a covariate; it names the haplotype if the model has but one.
effect_row covariate_row(std::string const& covariate, haplotype_terms const& terms);

} // namespace scan

#endif
