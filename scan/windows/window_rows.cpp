#include "scan/windows/window_rows.h"

#include <algorithm>

namespace scan {

window_rows::window_rows(snp_table const& snps, bed_file const& bed, window_list const& list,
                         std::uint32_t most_snps)
    : snps_(snps), bed_(bed), list_(list), most_snps_(most_snps),
      most_rows_(std::max<std::size_t>(most_snps, MOST_BYTES / bed.row_bytes())) {}

std::size_t window_rows::read(std::size_t first, std::size_t end) {
    rows_.clear();
    std::size_t w = first;
    for (; w < end; ++w) {
        window const& next = list_.windows[w];
        if (next.n_snps > most_snps_ || next.is_too_long) continue;
        if (!rows_.empty() && rows_.size() + next.n_snps > most_rows_) break;
        want(next);
    }
    read_rows();
    return w;
}

void window_rows::want(window const& w) {
    for (std::uint32_t place = w.first; place < w.first + w.n_snps; ++place) {
        std::uint32_t const row = bed_row(place);
        auto const at = std::lower_bound(rows_.begin(), rows_.end(), row);
        if (at == rows_.end() || *at != row) rows_.insert(at, row);
    }
}

void window_rows::read_rows() {
    if (rows_.empty()) return;
    if (genotypes_.size() < rows_.size() * bed_.row_bytes())
        genotypes_.resize(rows_.size() * bed_.row_bytes());
    for (std::size_t begin = 0, end; begin < rows_.size(); begin = end) {
        end = begin + 1;
        while (end < rows_.size() && rows_[end] == rows_[end - 1] + 1)
            ++end;
        bed_.read(rows_[begin], genotypes_.data() + begin * bed_.row_bytes(),
                  static_cast<std::uint32_t>(end - begin));
    }
    bed_.expect(rows_.back() + 1, static_cast<std::uint32_t>(rows_.size()));
}

void window_rows::take(std::uint32_t first, std::uint32_t n,
                       std::vector<std::uint8_t const*>& rows) const {
    rows.clear();
    for (std::uint32_t place = first; place < first + n; ++place) {
        auto const at = std::lower_bound(rows_.begin(), rows_.end(), bed_row(place));
        rows.push_back(genotypes_.data() +
                       static_cast<std::size_t>(at - rows_.begin()) * bed_.row_bytes());
    }
}

} // namespace scan
