// Counts of genotypes over chosen subjects.
#ifndef QUILMAR_SCAN_SELECTION_GENOTYPE_COUNTS_H
#define QUILMAR_SCAN_SELECTION_GENOTYPE_COUNTS_H

#include "scan/input/bed_file.h"

#include <cstdint>
#include <vector>

namespace scan {

struct genotype_counts {
    std::uint32_t two, one, none; // copies of the .bim's first allele
    std::uint32_t missing;

    std::uint32_t called() const { return two + one + none; }
    std::uint32_t subjects() const { return called() + missing; }
    // Frequency of the rarer allele; 0 without a called genotype.
    double minor_frequency() const;
};

// Counts the genotypes of the SNPs of a .bed, one row at a time.
class genotype_counter {
  public:
    // is_chosen: by subject of the .fam.
    genotype_counter(bed_file const& bed, std::vector<bool> const& is_chosen);

    // Goes to a row of the .bed.
    void read(std::uint32_t row);

    // Over the chosen subjects.
    genotype_counts count() const;
    // Adds 1 for every subject, chosen or not, without a genotype.
    void add_missing(std::vector<std::uint32_t>& counts) const;

  private:
    bed_file const& bed_;
    std::size_t n_subjects_;
    std::vector<std::uint64_t> chosen_; // 01 for a chosen subject, 00 for another
    std::vector<std::uint64_t> row_;
};

} // namespace scan

#endif
