// What the effects of all windows of a run are estimated from.
#ifndef QUILMAR_SCAN_EFFECTS_INPUT_H
#define QUILMAR_SCAN_EFFECTS_INPUT_H

#include "scan/effects/settings.h"
#include "scan/effects/window_sample.h"
#include "scan/score/window.h"
#include "scan/selection/design.h"

#include <cstdint>
#include <string>
#include <vector>

namespace scan {

struct effect_input {
    effect_settings settings;
    window_settings test;
    null_design const& design;
    run_subjects subjects;
    // The covariate that interacts:
    int environment = -1; // column of the design, or -1 for none
    // Share of its rarer value where it has two, else 1.
    double environment_share = 1;

    // sample: the index in the .fam of every subject of the design, which is referred to. Throws
    // no_fit when the covariate that shall interact has no column or several.
    effect_input(effect_settings const& s, window_settings const& t, null_design const& d,
                 std::vector<std::uint32_t> const& sample,
                 std::vector<std::uint8_t> const& is_case);

    bool has_interaction() const { return environment >= 0; }
    std::string const& environment_name() const {
        return design.names[static_cast<std::size_t>(environment)];
    }
    double environment_unit() const { return design.units[static_cast<std::size_t>(environment)]; }
    double environment_mean() const { return design.means[static_cast<std::size_t>(environment)]; }

    // MODEL of the rows, and what it assumes in a sentence.
    std::string model_name() const;
    std::string model_text() const;
    // What the interaction, which must be there, adds to the model.
    std::string interaction_text() const;

  private:
    bool has_covariates() const { return design.names.size() > 1; }
};

} // namespace scan

#endif
