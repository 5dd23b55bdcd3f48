#include "scan/chunk_worker.h"

#include <algorithm>
#include <cmath>

namespace scan {

window_genotypes::window_genotypes(scan_input const& input, std::uint32_t most_snps)
    : input_(input), most_snps_(most_snps), place_(most_snps, NONE),
      slots_(most_snps * input.bed.row_bytes()) {}

std::vector<std::uint8_t const*> const& window_genotypes::rows(window const& w) {
    rows_.clear();
    for (std::uint32_t m = w.first; m < w.first + w.n_snps; ++m) {
        std::uint32_t const slot = m % most_snps_;
        std::uint8_t* const row = slots_.data() + slot * input_.bed.row_bytes();
        if (place_[slot] != m) input_.bed.read(input_.snps[input_.list.members[m]].row, row);
        place_[slot] = m;
        rows_.push_back(row);
    }
    return rows_;
}

chunk_worker::chunk_worker(scan_input const& input, options const& o)
    : input_(input), options_(o), genotypes_(input, o.max_snps),
      test_(input.model, input.subjects, o.test), tables_(input.snps, input.list, o.test.test) {
    if (input.effects != nullptr) effects_.emplace(*input.effects, input.model);
}

chunk_result chunk_worker::run(std::size_t first, std::size_t end) {
    chunk_result result;
    for (std::size_t w = first; w < end; ++w) {
        compute(input_.list.windows[w]);
        tables_.append_window(w, row_, result.window_rows);
        if (row_.code == error_code::none && row_.log_p <= std::log(options_.pfilter))
            tables_.append_haplotypes(w, row_, result.haplotype_rows);
        if (effects_ && effects_->wants(row_)) estimate_effects(w, result);
        result.log_p.push_back(row_.log_p);
        result.codes.push_back(row_.code);
    }
    return result;
}

void chunk_worker::compute(window const& w) {
    row_ = window_row{};
    if (w.n_snps == 0)
        row_.code = error_code::one_haplotype;
    else if (w.n_snps > options_.max_snps)
        row_.code = error_code::too_many_snps;
    else if (w.is_too_long)
        row_.code = error_code::too_long;
    else
        test_.run(genotypes_.rows(w), row_);
}

void chunk_worker::estimate_effects(std::size_t w, chunk_result& result) {
    effects_->run(genotypes_.rows(input_.list.windows[w]), row_, effect_result_);
    tables_.append_effects(w, input_.effects->model_name(), effect_result_, result.effect_rows);
}

double bytes_per_thread(std::size_t n_subjects, std::size_t n_columns, std::size_t row_bytes,
                        std::uint32_t most_snps) {
    double const rows = static_cast<double>(most_snps * row_bytes),
                 keys = 8.0 * static_cast<double>(n_subjects),
                 genotypes =
                     std::min(static_cast<double>(n_subjects), std::ldexp(1, 2 * most_snps)),
                 haplotypes = std::ldexp(1, most_snps);
    // A distinct genotype has its key, its masks, its sums and copies of some 20 haplotypes.
    return rows + keys + genotypes * (64 + 8.0 * static_cast<double>(n_columns) + 160) +
           32 * haplotypes;
}

} // namespace scan
