// What the tests of the built quilmar-scan share: a copy of the example study, small studies, tables.
#ifndef QUILMAR_TESTS_SCAN_SUPPORT_H
#define QUILMAR_TESTS_SCAN_SUPPORT_H

#include "tests/support.h"

#include <map>
#include <string>
#include <vector>

// A directory with a copy of examples/scan.
struct example_study : scratch {
    example_study();
    // Runs a shell command there, in which "quilmar-scan" is the built program.
    outcome run(std::string const& command) const;
    // Runs quilmar-scan on the study with its phenotype and two covariates, to the prefix t; an option
    // of `arguments` takes the place of these.
    outcome scan(std::string const& arguments) const;
};

// Writes s.bed, s.bim and s.fam. A SNP is its .bim line and a digit a subject, the copies of its first
// allele, 9 for missing; statuses are the sixth column of the .fam, subject k being "F<k> P<k>".
struct snp_text {
    std::string line, copies;
};
void write_study(scratch const& files, std::vector<snp_text> const& snps,
                 std::vector<std::string> const& statuses);

// A tab-separated table by its header.
struct table {
    std::vector<std::string> columns;
    std::vector<std::map<std::string, std::string>> rows;
    explicit table(std::string const& text);
    // The values of a column, a blank after each.
    std::string column(std::string const& name) const;
};

#endif
