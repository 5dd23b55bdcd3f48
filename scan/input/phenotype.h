// The disease status of the subjects.
#ifndef QUILMAR_SCAN_INPUT_PHENOTYPE_H
#define QUILMAR_SCAN_INPUT_PHENOTYPE_H

#include "scan/input/subject_table.h"
#include "scan/output/run_log.h"

#include <cstdint>
#include <string>
#include <vector>

namespace scan {

enum class disease : std::uint8_t { control, present, missing, not_listed };

struct phenotype {
    std::string name;
    std::vector<disease> status; // by subject of the .fam
};

// Column 6 of the .fam. 1 is a control and 2 a case, with `is_01` 0 and 1; NA, nan, -9 and, without
// `is_01`, 0 are missing. Throws malformed for other values, no_fit for 0 and 1 without `is_01`.
phenotype phenotype_of_fam(subject_table const& subjects, bool is_01);

// The same from a column of a file; of its only one where `name` is empty.
phenotype read_phenotype(std::string const& path, std::string const& name,
                         subject_table const& subjects, bool is_01, run_log& log);

} // namespace scan

#endif
