// Covariates of the subjects: numbers, and words that name categories.
#ifndef QUILMAR_SCAN_INPUT_COVARIATES_H
#define QUILMAR_SCAN_INPUT_COVARIATES_H

#include "scan/input/subject_table.h"

#include <string>
#include <vector>

namespace scan {

struct covariate {
    std::string name;
    std::vector<std::string> levels; // of categories; none for numbers
    std::vector<double> values;      // by subject of the .fam: number or level; nan where missing
};

struct covariate_table {
    std::vector<covariate> covariates;
    std::vector<bool> is_listed; // by subject of the .fam: has a line
};

// Reads the columns of these names, where A-B are all columns from A to B; all columns for no name.
// A column holds numbers or words; empty, NA, nan and -9 are missing. Throws no_fit for unknown names
// and malformed for numbers among words.
covariate_table read_covariates(std::string const& path, std::vector<std::string> const& names,
                                subject_table const& subjects);

} // namespace scan

#endif
