// 32 genotypes of two bits each stand in a word; masks of the form 0101... select the lower bits.
#include "scan/selection/genotype_counts.h"

#include <algorithm>
#include <bitset>

namespace scan {

namespace {

constexpr std::uint64_t LOWER = 0x5555555555555555;
constexpr std::size_t PER_WORD = 32;

unsigned count_bits(std::uint64_t word) {
    return static_cast<unsigned>(std::bitset<64>(word).count());
}

} // namespace

double genotype_counts::minor_frequency() const {
    if (called() == 0) return 0;
    double const copies = 2.0 * two + one;
    return std::min(copies, 2.0 * called() - copies) / (2.0 * called());
}

genotype_counter::genotype_counter(bed_file const& bed, std::vector<bool> const& is_chosen)
    : bed_(bed), n_subjects_(is_chosen.size()), chosen_((n_subjects_ + PER_WORD - 1) / PER_WORD),
      row_(chosen_.size()) {
    for (std::size_t s = 0; s < n_subjects_; ++s)
        if (is_chosen[s]) chosen_[s / PER_WORD] |= std::uint64_t{1} << 2 * (s % PER_WORD);
}

void genotype_counter::read(std::uint32_t row) {
    bed_.read(row, reinterpret_cast<std::uint8_t*>(row_.data()));
}

genotype_counts genotype_counter::count() const {
    genotype_counts n{};
    for (std::size_t w = 0; w < row_.size(); ++w) {
        std::uint64_t const low = row_[w] & chosen_[w], high = (row_[w] >> 1) & chosen_[w];
        n.two += count_bits(chosen_[w] & ~low & ~high);
        n.one += count_bits(high & ~low);
        n.none += count_bits(high & low);
        n.missing += count_bits(low & ~high);
    }
    return n;
}

void genotype_counter::add_missing(std::vector<std::uint32_t>& counts) const {
    for (std::size_t w = 0; w < row_.size(); ++w)
        for (std::uint64_t left = row_[w] & ~(row_[w] >> 1) & LOWER; left != 0; left &= left - 1) {
            std::size_t const s =
                w * PER_WORD + static_cast<std::size_t>(__builtin_ctzll(left)) / 2;
            if (s < n_subjects_) ++counts[s];
        }
}

} // namespace scan
