// The design of the null model: an intercept and the covariates of the used subjects, standardised.
#ifndef QUILMAR_SCAN_SELECTION_DESIGN_H
#define QUILMAR_SCAN_SELECTION_DESIGN_H

#include "scan/input/covariates.h"

#include <Eigen/Core>

#include <cstdint>
#include <string>
#include <vector>

namespace scan {

struct null_design {
    Eigen::MatrixXd columns;        // subjects x (1 + columns of covariates)
    std::vector<std::string> names; // of the columns; "intercept" first, "centre=B" of a category
    std::vector<double> units;      // what a step of 1 in a column is in the covariate's own unit
    std::vector<double> means;      // where a column is 0, in the covariate's own unit
    std::vector<std::string> constant, collinear; // names of columns that were dropped
    std::vector<std::string> levels;              // categories with their counts, a line each
};

// Each number is a column; of a category each level but the most frequent one. Columns that are constant
// or, within rounding, sums of multiples of those before them are dropped.
// Throws no_fit for more than 1,000 columns before that.
null_design make_design(std::vector<covariate> const& covariates,
                        std::vector<std::uint32_t> const& subjects);

} // namespace scan

#endif
