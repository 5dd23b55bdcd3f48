// The subjects of one window: those that are alike in genotype, status and covariates stand as one row.
#ifndef QUILMAR_SCAN_EFFECTS_WINDOW_SAMPLE_H
#define QUILMAR_SCAN_EFFECTS_WINDOW_SAMPLE_H

#include "scan/score/null_model.h"

#include "ggi/garray.h"

#include <Eigen/Core>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace scan {

// The subjects of a run, whatever the window.
struct run_subjects {
    std::vector<std::uint32_t> places; // index in the .fam
    std::vector<std::uint8_t> is_case;
    row_major_matrix covariates;           // subjects x columns of the design
    std::vector<std::uint32_t> row_number; // equal for subjects with equal covariates

    run_subjects(std::vector<std::uint32_t> const& fam_places,
                 std::vector<std::uint8_t> const& status, Eigen::MatrixXd const& design);
};

struct window_sample {
    unsigned n_subjects = 0, n_cases = 0;
    std::vector<genotype_count> genotypes; // distinct; bit n - 1 is the first SNP
    std::vector<std::size_t> first;        // per genotype its first row, and the end of the last
    // By row, those of a genotype together:
    std::vector<double> subjects; // how many
    std::vector<double> signs;    // 1 for cases, -1 for controls
    row_major_matrix covariates;

    // Of the smaller group.
    unsigned n_smaller() const { return std::min(n_cases, n_subjects - n_cases); }
    std::size_t n_rows() const { return subjects.size(); }

    // rows[l] holds the .bed's codes of SNP l; subjects with more than max_missing missing SNPs are
    // left out.
    window_sample(run_subjects const& run, std::vector<std::uint8_t const*> const& rows,
                  unsigned max_missing);
};

} // namespace scan

#endif
