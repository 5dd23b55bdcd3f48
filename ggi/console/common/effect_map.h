// Translation of the effects of the variable specification file into the terms of one analysis.
#ifndef QUILMAR_CONSOLE_EFFECT_MAP_H
#define QUILMAR_CONSOLE_EFFECT_MAP_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/console/common/variable.h"

// Fills the tables of haplotype effects, environment terms and interactions of an analysis whose
// haplotypes have been selected. Returns 1; 3 when an effect names a haplotype that its gene does
// not have, BELOW_THRESHOLD when one names a haplotype that is not modelled. Each such haplotype is
// printed once, and no table is made.
int map_effects(std::string const& name, variable const& v, case_control_ggi_data& ccg);

// Is there anything to fit where all haplotypes are modelled?
bool asks_for_fit(variable const& v);

// Is there anything to fit?
inline bool has_terms(case_control_ggi_data const& ccg) {
    return ccg.n_effects != 0 || has_environment(ccg);
}

#endif
