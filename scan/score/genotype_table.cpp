#include "scan/score/genotype_table.h"

#include <array>

namespace scan {

namespace {

// Masks of the 4 SNPs of a byte of a key. Codes: 00 two copies of the first allele, 01 missing, 10
// one, 11 none.
struct masks {
    std::uint8_t missing = 0, twos = 0, ones = 0;
};

constexpr std::array<masks, 256> make_masks() {
    std::array<masks, 256> result{};
    for (unsigned byte = 0; byte < 256; ++byte)
        for (unsigned l = 0; l < 4; ++l) {
            auto const bit = static_cast<std::uint8_t>(1 << l);
            masks& m = result[byte];
            switch (byte >> 2 * l & 3) {
            case 0: m.twos |= bit; [[fallthrough]];
            case 2: m.ones |= bit; break;
            case 1: m.missing |= bit; break;
            }
        }
    return result;
}

constexpr std::array<masks, 256> masks_of_byte = make_masks();

} // namespace

Eigen::Map<row_major_matrix const> genotype_table::sums() const {
    return {sums_.data(), static_cast<Eigen::Index>(genotypes.size()), model_.subjects.cols()};
}

void genotype_table::clear(unsigned number_of_snps) {
    n_snps = number_of_snps;
    genotypes.clear();
    left_out.clear();
    n_subjects = n_cases = 0;
}

void genotype_table::add(genotype_cell const& cell) {
    genotype_count g{0, 0, 0, cell.controls, cell.cases};
    for (unsigned l = 0; l < n_snps; l += 4) {
        masks const& m = masks_of_byte[cell.key >> 2 * l & 255];
        g.missing |= unsigned{m.missing} << l;
        g.twos |= unsigned{m.twos} << l;
        g.ones |= unsigned{m.ones} << l;
    }
    unsigned const snps = (1u << n_snps) - 1; // the last byte may be of fewer than 4
    g.twos &= snps, g.ones &= snps;
    genotypes.push_back(g);
    n_subjects += cell.controls + cell.cases;
    n_cases += cell.cases;
}

void genotype_table::sum(double const* whole, std::vector<std::uint32_t> const& genotype) {
    auto const columns = static_cast<std::size_t>(model_.subjects.cols());
    sums_.assign(genotypes.size() * columns, 0.0);
    // All columns but the intercept's, which takes the last place until its turn comes.
    score_rows const& rows = model_.to_sum;
    for (std::size_t c = 0; c < genotype.size(); ++c) {
        if (genotype[c] == NONE) continue;
        double* const sum = sums_.data() + genotype[c] * columns;
        for (std::size_t k = 0; k + 1 < columns; ++k)
            sum[k] += whole[c * rows.width() + k];
    }
    double const intercept = model_.subjects(0, null_model::FIRST_COVARIATE);
    for (std::size_t g = 0; g < genotypes.size(); ++g) {
        double* const sum = sums_.data() + g * columns;
        for (std::size_t k = columns - 1; k > null_model::FIRST_COVARIATE; --k)
            sum[k] = sum[k - 1] * rows.unit(k - 1);
        sum[null_model::RESIDUAL] *= rows.unit(null_model::RESIDUAL);
        sum[null_model::WEIGHT] *= rows.unit(null_model::WEIGHT);
        sum[null_model::FIRST_COVARIATE] = sum[null_model::WEIGHT] * intercept;
    }
}

} // namespace scan
