// Covariates of the subjects: numbers, and categories.
#ifndef QUILMAR_SCAN_INPUT_COVARIATES_H
#define QUILMAR_SCAN_INPUT_COVARIATES_H

#include "scan/input/subject_table.h"
#include "scan/output/run_log.h"

#include <string>
#include <vector>

namespace scan {

struct covariate {
    std::string name;
    std::vector<std::string> levels; // of categories; none for numbers
    std::vector<double> values;      // by subject of the .fam: number or level; nan where missing
};

struct covariate_file {
    std::string path;
    std::vector<bool> is_listed; // by subject of the .fam: has a line
};

struct covariate_table {
    std::vector<covariate> covariates;
    std::vector<covariate_file> files; // those of which columns are chosen
};

// Reads the columns of these names, where A-B are all columns from A to B of a file; all columns for no
// name. A column holds numbers or words; those of `categories`, which are names like these, hold
// categories. Empty, NA, nan and -9 are missing. The subjects of all files are joined; one that a
// file lacks misses its columns. Throws no_fit for names that are nowhere or in two files and
// malformed for numbers among words.
covariate_table read_covariates(std::vector<std::string> const& paths,
                                std::vector<std::string> const& names,
                                std::vector<std::string> const& categories,
                                subject_table const& subjects, run_log& log);

} // namespace scan

#endif
