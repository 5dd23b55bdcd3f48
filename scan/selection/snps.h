// Which SNPs are used.
#ifndef QUILMAR_SCAN_SELECTION_SNPS_H
#define QUILMAR_SCAN_SELECTION_SNPS_H

#include "scan/input/snp_table.h"
#include "scan/options.h"
#include "scan/selection/genotype_counts.h"

#include <cstdint>
#include <vector>

namespace scan {

// Indices of SNPs in the table, in genome order, with how many each step left out.
struct snp_selection {
    std::vector<std::uint32_t> used;
    std::uint32_t by_place = 0; // --chr --from-bp --to-bp
    std::uint32_t by_list = 0;  // --extract --exclude
    std::uint32_t by_geno = 0;
    std::uint32_t by_maf = 0;
};

// The SNPs left by the filters that ask for no genotypes.
snp_selection select_snps(snp_table const& snps, options const& o);

// Applies --geno and --maf, counted over the counter's subjects.
void filter_by_genotypes(snp_table const& snps, options const& o, genotype_counter& counter,
                         snp_selection& selection);

// Whether a share of `count` in `total` is above `limit`, rounding errors of the limit aside.
bool is_above(double count, double total, double limit);

} // namespace scan

#endif
