// The distinct genotypes of the subjects at a run of SNPs.
#ifndef QUILMAR_SCAN_SCORE_GENOTYPE_BLOCK_H
#define QUILMAR_SCAN_SCORE_GENOTYPE_BLOCK_H

#include "scan/score/genotype_keys.h"

#include <array>
#include <cstdint>
#include <vector>

namespace scan {

// A genotype and its subjects. The key joins the codes of the SNPs, the first SNP highest.
struct genotype_cell {
    std::uint64_t key;
    std::uint32_t controls, cases;
    std::uint32_t id; // of the cell where subjects know theirs
};

// Up to 7 SNPs and the status are one key, and one count per subject goes into a table of all keys;
// longer runs, and runs whose subjects are to know their cells, go through a hash. Reused from run to
// run, so that it does not allocate.
class genotype_block {
  public:
    static constexpr unsigned MAX_SNPS = 20, MAX_TABLE_SNPS = 7;

    // Refers to places. has_ids: do subjects know their cells?
    genotype_block(sample_places const& places, bool has_ids);

    // Counts the subjects' genotypes at n_snps <= MAX_SNPS SNPs. The rows must stay where they are
    // while `row` is used.
    void count(genotype_row const* rows, unsigned n_snps);

    unsigned n_snps() const { return n_snps_; }
    genotype_row row(unsigned snp) const { return rows_[n_snps_ - 1 - snp]; }
    // By key, in increasing order; none without subjects.
    std::vector<genotype_cell> const& cells() const { return cells_; }
    // By subject the id of its cell.
    std::uint32_t const* ids() const { return ids_.data(); }

  private:
    sample_places const& places_;
    unsigned n_snps_ = 0;
    std::array<genotype_row, MAX_SNPS + 1> rows_{}; // the last SNP first, then the status
    std::vector<genotype_cell> cells_;
    std::vector<std::uint32_t> ids_;    // none, or one per subject
    std::vector<std::uint32_t> counts_; // by status, then key
    std::vector<std::uint32_t> slots_; // of the hash: ids of cells; open addressing, a quarter full

    void count_by_table();
    template <unsigned PARTS> void count_by_hash();
    template <unsigned PARTS, typename Use>
    void for_each_key(std::size_t tile, Use const& use) const;
    std::size_t slot_of(std::uint64_t key) const;
    std::uint32_t add(std::uint64_t key);
};

} // namespace scan

#endif
