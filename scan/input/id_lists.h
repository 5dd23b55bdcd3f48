// Lists of subjects and of SNPs.
#ifndef QUILMAR_SCAN_INPUT_ID_LISTS_H
#define QUILMAR_SCAN_INPUT_ID_LISTS_H

#include "scan/input/snp_table.h"
#include "scan/input/subject_table.h"
#include "scan/output/run_log.h"

#include <string>
#include <vector>

namespace scan {

// Reads a list of subjects, FID and IID or IID alone on a line, with or without a header line that
// begins with #; true for every subject of the .fam that is on it.
// Where none is, throws no_fit if one must match, else warns.
std::vector<bool> read_subject_list(std::string const& path, subject_table const& subjects,
                                    bool must_match, run_log& log);

// Reads a list of identifiers, separated by blanks or lines; true for every SNP that is on it.
std::vector<bool> read_snp_list(std::string const& path, snp_table const& snps);

} // namespace scan

#endif
