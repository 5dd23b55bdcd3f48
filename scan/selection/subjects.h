// Which subjects are used, and why the others are not.
#ifndef QUILMAR_SCAN_SELECTION_SUBJECTS_H
#define QUILMAR_SCAN_SELECTION_SUBJECTS_H

#include "scan/input/covariates.h"
#include "scan/input/phenotype.h"
#include "scan/input/subject_table.h"
#include "scan/options.h"
#include "scan/selection/genotype_counts.h"
#include "scan/selection/snps.h"

#include <cstdint>
#include <vector>

namespace scan {

// By subject of the .fam: left by --keep and --remove. Tells the log what is odd about the lists.
std::vector<bool> kept_subjects(subject_table const& subjects, options const& o, run_log& log);

// Takes those with too many missing genotypes at the SNPs (--mind) out of `is_kept`; returns how many.
std::uint32_t filter_by_missing(snp_table const& snps, std::vector<std::uint32_t> const& snps_used,
                                double mind, genotype_counter& counter, std::vector<bool>& is_kept);

// The subjects of the tests. Each subject that is left out counts with the first of its reasons.
struct subject_selection {
    std::vector<std::uint32_t> used;   // index in the .fam
    std::vector<std::uint8_t> is_case; // by used subject
    std::uint32_t without_phenotype = 0, without_covariate = 0;
    // Of the kept ones:
    std::uint32_t not_in_pheno = 0;
    std::vector<std::uint32_t> not_in_covar; // by file of covariates

    std::uint32_t n_cases() const;
};

// Those of the kept subjects that have a status and all covariates. Throws nothing_to_do where there
// is none and no_fit for cases or controls alone.
subject_selection select_subjects(std::vector<bool> const& is_kept, phenotype const& status,
                                  covariate_table const& covariates);

} // namespace scan

#endif
