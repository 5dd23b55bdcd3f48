// The rows of one model, by either likelihood.
#ifndef QUILMAR_SCAN_EFFECTS_MODELS_H
#define QUILMAR_SCAN_EFFECTS_MODELS_H

#include "scan/effects/terms.h"

#include <Eigen/Core>

#include <vector>

namespace scan {

// The planned rows with their estimates, then those of the covariates where they are shown.
// coefficients: of the null model.
std::vector<effect_row>
estimate_prospective(effect_input const& input, Eigen::VectorXd const& coefficients,
                     window_sample const& sample, supported_haplotypes const& haplotypes,
                     haplotype_terms const& terms, std::vector<planned_row> const& planned);

// The same; then, under disequilibrium, that of rho.
std::vector<effect_row> estimate_retrospective(effect_input const& input,
                                               window_sample const& sample,
                                               supported_haplotypes const& haplotypes,
                                               haplotype_terms const& terms,
                                               std::vector<planned_row> const& planned);

} // namespace scan

#endif
