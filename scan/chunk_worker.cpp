#include "scan/chunk_worker.h"

#include <algorithm>
#include <cmath>

namespace scan {

chunk_worker::chunk_worker(scan_input const& input, options const& o)
    : input_(input), options_(o), rows_(input.snps, input.bed, input.list, o.max_snps),
      counter_(input.model, input.subjects), genotypes_(input.model),
      test_(input.model, genotypes_, o.test),
      n_cases_(static_cast<double>(
          std::count(input.model.is_case.begin(), input.model.is_case.end(), 1))),
      n_controls_(static_cast<double>(input.model.is_case.size()) - n_cases_),
      tables_(input.snps, input.list, o.test.test) {
    if (input.effects != nullptr) effects_.emplace(*input.effects, input.model);
}

chunk_result chunk_worker::run(window_run const& windows) {
    auto const [first, end] = windows.windows;
    chunk_result result;
    for (std::size_t w = first, read_end = first; w < end;) {
        if (w == read_end) read_end = rows_.read(w, end);
        std::size_t const begin = w, blocks_end = form_blocks(w, read_end);
        count_blocks();
        for (; w < blocks_end; ++w) {
            compute(input_.list.windows[w], block_of_[w - begin]);
            append(w, windows.has_effects, result);
        }
    }
    return result;
}

window_row const& chunk_worker::compute_one(std::size_t w) {
    rows_.read(w, w + 1);
    form_blocks(w, w + 1);
    count_blocks();
    compute(input_.list.windows[w], block_of_[0]);
    return row_;
}

// Why a window is not computed.
error_code chunk_worker::check(window const& w) const {
    if (w.n_snps == 0) return error_code::one_haplotype;
    if (w.n_snps > options_.max_snps) return error_code::too_many_snps;
    if (w.is_too_long) return error_code::too_long;
    return error_code::none;
}

// Puts windows from `first` on into blocks; returns the first that is in none. A block goes from the
// first SNP of a window as far as there are windows inside.
std::size_t chunk_worker::form_blocks(std::size_t first, std::size_t end) {
    blocks_.clear();
    block_of_.clear();
    for (std::size_t i = first; i < end; ++i) {
        window const& w = input_.list.windows[i];
        std::uint32_t const w_end = w.first + w.n_snps;
        bool const is_computed = check(w) == error_code::none;
        if (is_computed && (blocks_.empty() || w.first < blocks_.back().first ||
                            w_end > blocks_.back().most_end)) {
            if (blocks_.size() == block_counter::MAX_BLOCKS) return i;
            // A long window shares its block with none.
            std::uint32_t const most = w.n_snps > genotype_block::MAX_TABLE_SNPS
                                           ? 0
                                           : std::max(w.n_snps, counter_.best_block());
            blocks_.push_back({w.first, w_end, w.first + most});
        }
        if (is_computed) blocks_.back().end = std::max(blocks_.back().end, w_end);
        block_of_.push_back(blocks_.size() - 1);
    }
    return end;
}

void chunk_worker::count_blocks() {
    block_rows_.resize(blocks_.size());
    for (std::size_t b = 0; b < blocks_.size(); ++b)
        rows_.take(blocks_[b].first, blocks_[b].end - blocks_[b].first, block_rows_[b]);
    counter_.count(block_rows_);
}

void chunk_worker::compute(window const& w, std::size_t block) {
    error_code const code = check(w);
    if (code != error_code::none) {
        row_ = window_row{};
        row_.code = code;
        return;
    }
    counter_.make_window(block, w.first - blocks_[block].first, w.n_snps,
                         static_cast<unsigned>(options_.test.window_mind * w.n_snps), genotypes_);
    test_.run(row_);
}

void chunk_worker::append(std::size_t w, bool has_effects, chunk_result& result) {
    tables_.append_window(w, row_, result.window_rows);
    if (row_.code == error_code::none && row_.log_p <= std::log(options_.pfilter))
        tables_.append_haplotypes(w, row_, result.haplotype_rows);
    if (has_effects && effects_->wants(row_)) estimate_effects(w, result);
    result.outcomes.push_back({row_.code, row_.df, row_.chisq, row_.log_p,
                               row_.top_log_p_bonferroni, row_.n_no_saddle_point,
                               leaves_out_unequally()});
}

// More than a tenth of a group in excess of the other's share.
bool chunk_worker::leaves_out_unequally() const {
    return row_.code == error_code::none &&
           std::abs(row_.cases / n_cases_ - row_.controls / n_controls_) > 0.1;
}

void chunk_worker::estimate_effects(std::size_t w, chunk_result& result) {
    window const& x = input_.list.windows[w];
    rows_.take(x.first, x.n_snps, effect_rows_);
    effects_->run(effect_rows_, row_, effect_result_);
    tables_.append_effects(w, input_.effects->model_name(), effect_result_, result.effect_rows);
    ++result.n_with_effects;
}

double bytes_per_thread(std::size_t n_subjects, std::size_t n_columns, std::size_t row_bytes,
                        std::uint32_t longest) {
    auto const n = static_cast<double>(n_subjects), columns = static_cast<double>(n_columns);
    // 3^k genotypes are complete; those with missing SNPs are fewer.
    auto const most_genotypes = [n](unsigned n_snps) {
        return std::min(n, 2 * std::pow(3, n_snps));
    };
    bool const has_covariates = n_columns > 1;
    unsigned const block_snps = std::max(longest, has_covariates ? block_counter::LONG_BLOCK
                                                                 : genotype_block::MAX_TABLE_SNPS);
    double const rows = static_cast<double>(std::max(window_rows::MOST_BYTES, longest * row_bytes)),
                 places = 2 * n + static_cast<double>(row_bytes),
                 table = 12 * std::pow(4, genotype_block::MAX_TABLE_SNPS);
    // A cell of a block has itself, slots of the hash and sums; a genotype of a window its masks, its
    // sums, those of a model of its own and copies of some 20 haplotypes.
    double const block = table + (has_covariates ? 4 * n : 0) +
                         most_genotypes(block_snps) * (24 + 32 + 8 * (columns + 4)),
                 window = most_genotypes(longest) * (20 + 16 * (columns + 2) + 160);
    return rows + places + block_counter::MAX_BLOCKS * block + window + 32 * std::pow(2, longest) +
           phases::most_bytes(most_genotypes(longest), longest);
}

} // namespace scan
