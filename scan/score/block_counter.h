// Genotypes of windows: one pass over the subjects counts those of a block of SNPs, which gives every
// window inside.
#ifndef QUILMAR_SCAN_SCORE_BLOCK_COUNTER_H
#define QUILMAR_SCAN_SCORE_BLOCK_COUNTER_H

#include "scan/score/genotype_block.h"
#include "scan/score/genotype_table.h"
#include "scan/score/null_model.h"

#include <cstdint>
#include <vector>

namespace scan {

// One per thread; owns all work arrays, and refers to the model.
class block_counter {
  public:
    // Blocks that share a pass over the subjects' score rows.
    static constexpr std::size_t MAX_BLOCKS = 4;
    // SNPs of a block where there are covariates.
    static constexpr unsigned LONG_BLOCK = 10;

    // sample: the index in the .fam of every subject of the null model, increasing.
    block_counter(null_model const& model, std::vector<std::uint32_t> const& sample);

    // SNPs of a block that take the least time per window of up to as many SNPs: more windows inside
    // against larger tables.
    unsigned best_block() const { return best_block_; }

    // Counts up to MAX_BLOCKS blocks, each the rows of up to genotype_block::MAX_SNPS SNPs. The rows
    // must stay where they are until the last window.
    void count(std::vector<std::vector<genotype_row>> const& blocks);

    // The window of n_snps SNPs from the SNP `first` of a block on: the whole block, or a part of one
    // of up to genotype_block::MAX_TABLE_SNPS SNPs. Subjects with more than max_missing missing SNPs
    // are left out.
    void make_window(std::size_t block, unsigned first, unsigned n_snps, unsigned max_missing,
                     genotype_table& table);

  private:
    null_model const& model_;
    std::vector<std::uint32_t> const& sample_;
    sample_places places_;
    unsigned best_block_;
    std::vector<genotype_block> blocks_;
    std::vector<std::vector<double>> sums_; // by block: cells by id x width of the model's rows
    struct part_cell {
        std::uint32_t controls, cases, genotype;
    };
    std::vector<part_cell> part_;         // by key of a window
    std::vector<std::uint32_t> genotype_; // of the window, by the id of the block's cells

    void sum_rows(std::size_t n_blocks);
    void take_whole(genotype_block const& block, unsigned max_missing, genotype_table& table);
    void take_part(genotype_block const& block, unsigned first, unsigned max_missing,
                   genotype_table& table);
    void list_left_out(genotype_block const& block, unsigned first, unsigned max_missing,
                       genotype_table& table) const;
};

} // namespace scan

#endif
