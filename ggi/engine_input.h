// What the engines read of an analysis. Nothing is owned: all of it points into the record, and is
// good until the haplotypes or the terms change.
#ifndef QUILMAR_GGI_ENGINE_INPUT_H
#define QUILMAR_GGI_ENGINE_INPUT_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/engine/environment_likelihood.h"
#include "ggi/engine/parameter_layout.h"
#include "ggi/engine/retrospective.h"

// Design of the haplotypes and effects; hw as everywhere, 0 for equilibrium.
pair_design design_of(case_control_ggi_data const& data, unsigned hw, coding const& code);

// The distinct genotypes with their pairs.
pair_sample sample_of(case_control_ggi_data const& data);

// The subjects with their covariates, and the environment terms and interactions.
exposures exposures_of(case_control_ggi_data const& data, coding const& code);

// All of it for the environment likelihoods, with what they have prepared.
environment_model environment_model_of(case_control_ggi_data const& data, unsigned hw,
                                       coding const& code, environment const& covariates,
                                       environment_layout const& layout);

// Where the parameters stand; per_term is the coding's.
parameter_layout layout_of(case_control_ggi_data const& data, unsigned hw, unsigned per_term);

// The same for a model that has been set up, whose number of parameters tells the coding.
parameter_layout layout_of(case_control_ggi_data const& data, unsigned hw);

#endif
