#include "scan/score/block_counter.h"

#include <algorithm>
#include <cstring>

namespace scan {

namespace {

constexpr std::uint32_t NONE = genotype_table::NONE;
constexpr std::uint64_t LOW_BITS = 0x5555555555555555; // the lower bit of every code

// Measured on windows of 5 SNPs.
unsigned best_block_of(std::size_t n_places, bool has_covariates) {
    if (has_covariates) return block_counter::LONG_BLOCK;
    return n_places < 4000 ? 5 : n_places < 60000 ? 6 : 7;
}

using codes = std::uint64_t __attribute__((vector_size(16))); // of 64 subjects

// Codes from a byte of a row on; 0 behind the row's end.
codes load(genotype_row row, std::size_t byte, std::size_t end) {
    codes result{};
    if (byte + sizeof result <= end)
        std::memcpy(&result, row + byte, sizeof result);
    else
        std::memcpy(&result, row + byte, end - byte);
    return result;
}

bool has_more_missing(std::uint64_t key, unsigned max_missing) {
    std::uint64_t missing = key & ~(key >> 1) & LOW_BITS;
    for (; missing != 0 && max_missing > 0; --max_missing)
        missing &= missing - 1;
    return missing != 0;
}

} // namespace

block_counter::block_counter(null_model const& model, std::vector<std::uint32_t> const& sample)
    : model_(model), sample_(sample), places_(model.is_case, sample),
      best_block_(best_block_of(4 * places_.row_bytes(), model.has_covariates())),
      blocks_(MAX_BLOCKS, genotype_block(places_, model.has_covariates())), sums_(MAX_BLOCKS) {}

void block_counter::count(std::vector<std::vector<genotype_row>> const& blocks) {
    for (std::size_t b = 0; b < blocks.size(); ++b)
        blocks_[b].count(blocks[b].data(), static_cast<unsigned>(blocks[b].size()));
    if (model_.has_covariates()) sum_rows(blocks.size());
}

void block_counter::sum_rows(std::size_t n_blocks) {
    for (std::size_t b = 0; b < n_blocks; ++b)
        sums_[b].assign(blocks_[b].cells().size() * model_.to_sum.width(), 0.0);
    for (std::size_t tile = 0; tile < places_.n_tiles(); ++tile)
        for (std::size_t b = 0; b < n_blocks; ++b) {
            std::size_t const first = places_.first(tile);
            model_.to_sum.add(first, places_.first(tile + 1) - first, blocks_[b].ids() + first,
                              sums_[b].data());
        }
}

void block_counter::make_window(std::size_t b, unsigned first, unsigned n_snps,
                                unsigned max_missing, genotype_table& table) {
    genotype_block const& block = blocks_[b];
    table.clear(n_snps);
    genotype_.resize(block.cells().size());
    if (n_snps == block.n_snps())
        take_whole(block, max_missing, table);
    else
        take_part(block, first, max_missing, table);
    if (!model_.has_covariates()) return;
    table.sum(sums_[b].data(), genotype_);
    table.set_cells(block.ids(), genotype_);
    if (std::find(genotype_.begin(), genotype_.end(), NONE) != genotype_.end())
        list_left_out(block, first, max_missing, table);
}

void block_counter::take_whole(genotype_block const& block, unsigned max_missing,
                               genotype_table& table) {
    for (genotype_cell const& cell : block.cells()) {
        genotype_[cell.id] = NONE;
        if (has_more_missing(cell.key, max_missing)) continue;
        genotype_[cell.id] = static_cast<std::uint32_t>(table.genotypes.size());
        table.add(cell);
    }
}

void block_counter::take_part(genotype_block const& block, unsigned first, unsigned max_missing,
                              genotype_table& table) {
    unsigned const shift = 2 * (block.n_snps() - first - table.n_snps);
    std::uint64_t const n_keys = std::uint64_t{1} << 2 * table.n_snps;
    auto const key_of = [&](genotype_cell const& cell) { return cell.key >> shift & (n_keys - 1); };
    part_.assign(n_keys, {0, 0, NONE});
    for (genotype_cell const& cell : block.cells()) {
        part_cell& part = part_[key_of(cell)];
        part.controls += cell.controls;
        part.cases += cell.cases;
    }
    for (std::uint64_t key = 0; key < n_keys; ++key) {
        part_cell& part = part_[key];
        if ((part.controls | part.cases) == 0 || has_more_missing(key, max_missing)) continue;
        part.genotype = static_cast<std::uint32_t>(table.genotypes.size());
        table.add({key, part.controls, part.cases, 0});
    }
    for (genotype_cell const& cell : block.cells())
        genotype_[cell.id] = part_[key_of(cell)].genotype;
}

// more[k] marks the subjects with more than k missing SNPs so far.
void block_counter::list_left_out(genotype_block const& block, unsigned first, unsigned max_missing,
                                  genotype_table& table) const {
    std::size_t const end = places_.row_bytes();
    for (std::size_t byte = 0; byte < end; byte += sizeof(codes)) {
        codes more[genotype_block::MAX_SNPS] = {};
        for (unsigned l = first; l < first + table.n_snps; ++l) {
            codes const row = load(block.row(l), byte, end), missing = row & ~(row >> 1) & LOW_BITS;
            for (unsigned k = max_missing; k > 0; --k)
                more[k] |= more[k - 1] & missing;
            more[0] |= missing;
        }
        codes const left_out =
            more[max_missing] & ~(load(places_.status(), byte, end) >> 1); // 2 is no subject
        for (std::size_t w = 0; w < 2; ++w)
            for (std::uint64_t left = left_out[w]; left != 0; left &= left - 1) {
                std::size_t const place =
                    4 * byte + 32 * w + static_cast<std::size_t>(__builtin_ctzll(left)) / 2;
                auto const subject = std::lower_bound(sample_.begin(), sample_.end(), place);
                table.left_out.push_back(static_cast<std::uint32_t>(subject - sample_.begin()));
            }
    }
}

} // namespace scan
