// The distinct genotypes of a window with the sums over their subjects that the tests need.
#ifndef QUILMAR_SCAN_SCORE_GENOTYPE_TABLE_H
#define QUILMAR_SCAN_SCORE_GENOTYPE_TABLE_H

#include "scan/score/genotype_block.h"
#include "scan/score/null_model.h"

#include "ggi/garray.h"

#include <cstdint>
#include <vector>

namespace scan {

// Filled by block_counter. Reused from window to window, so that it does not allocate.
class genotype_table {
  public:
    // Refers to the model.
    explicit genotype_table(null_model const& model) : model_(model) {}

    unsigned n_snps = 0;
    // In the order of their keys, bit n_snps - 1 of the masks standing for the first SNP and allele 1
    // for the first allele of the .bim.
    std::vector<genotype_count> genotypes;
    // Per distinct genotype the sums over its subjects of r, w and w q (see null_model), where there
    // are covariates.
    Eigen::Map<row_major_matrix const> sums() const;
    // The subjects of the genotypes. Those with too many missing SNPs are left out, and listed, by
    // their index in the null model, where there are covariates.
    unsigned n_subjects = 0, n_cases = 0;
    std::vector<std::uint32_t> left_out;
    // The genotype of a subject of the null model, an index in `genotypes`, or NONE for one that is
    // left out; where there are covariates, and until the counter counts anew.
    std::uint32_t genotype_of(std::size_t subject) const {
        return genotype_of_cell_[cell_of_[subject]];
    }

    // For block_counter: makes the table empty, adds a genotype, and sums. `whole` holds the sums of
    // the cells of a block, as the model's to_sum makes them, and `genotype` the index of each cell's
    // genotype in the window, or NONE.
    static constexpr std::uint32_t NONE = ~std::uint32_t{0};
    void clear(unsigned number_of_snps);
    void add(genotype_cell const& cell);
    void sum(double const* whole, std::vector<std::uint32_t> const& genotype);
    // cell_of: by subject the id of its cell. Refers to both.
    void set_cells(std::uint32_t const* cell_of, std::vector<std::uint32_t> const& genotype) {
        cell_of_ = cell_of, genotype_of_cell_ = genotype.data();
    }

  private:
    null_model const& model_;
    std::vector<double> sums_;
    std::uint32_t const* cell_of_ = nullptr;
    std::uint32_t const* genotype_of_cell_ = nullptr;
};

} // namespace scan

#endif
