// The distinct genotypes of a window with the sums over their subjects that the tests need.
#ifndef QUILMAR_SCAN_SCORE_GENOTYPE_TABLE_H
#define QUILMAR_SCAN_SCORE_GENOTYPE_TABLE_H

#include "scan/score/null_model.h"

#include "ggi/garray.h"

#include <cstdint>
#include <vector>

namespace scan {

// Reused from window to window, so that it does not allocate.
class genotype_table {
  public:
    // sample: index of every subject of the null model in the .bed's order. Both are referred to.
    genotype_table(null_model const& model, std::vector<std::uint32_t> const& sample);

    // Collapses the subjects to their genotypes at n = rows.size() <= MAX_SNPS SNPs; rows[l] holds
    // the codes of SNP l, four subjects a byte. Those with more than max_missing missing SNPs are
    // left out.
    void collapse(std::vector<std::uint8_t const*> const& rows, unsigned max_missing);

    static constexpr unsigned MAX_SNPS = 20;

    // After collapse, bit n - 1 of the masks standing for the first SNP and allele 1 for the first
    // allele of the .bim:
    std::vector<genotype_count> genotypes;
    // Per distinct genotype the sums over its subjects of r, w and w q (see null_model).
    Eigen::Map<row_major_matrix const> sums() const;
    // Subjects (indices in the null model) that were left out.
    std::vector<std::uint32_t> left_out;
    unsigned n_subjects, n_cases;

  private:
    null_model const& model_;
    std::vector<std::uint32_t> const& sample_;
    std::vector<std::uint64_t> keys_;     // per subject: the codes, the first SNP highest
    std::vector<std::uint64_t> distinct_; // per distinct genotype: its key
    std::vector<std::uint32_t> slots_;    // open addressing, at most half full
    std::vector<double> sums_;

    void read_keys(std::vector<std::uint8_t const*> const& rows);
    std::uint32_t& slot_of(std::uint64_t key);
    std::uint32_t add(std::uint64_t key, std::size_t n);
};

} // namespace scan

#endif
