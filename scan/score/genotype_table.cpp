#include "scan/score/genotype_table.h"

#include <algorithm>
#include <bitset>

namespace scan {

namespace {

constexpr std::uint32_t NONE = ~std::uint32_t{0};
constexpr std::uint64_t LOW_BITS = 0x5555555555555555u; // the lower bit of every code

// Codes of the .bed: 00 two copies of the first allele, 01 missing, 10 one, 11 none.
std::uint64_t missing_codes(std::uint64_t key) {
    return key & ~(key >> 1) & LOW_BITS;
}

std::uint64_t hash(std::uint64_t key) {
    key *= 0x9e3779b97f4a7c15u;
    return key ^ (key >> 32);
}

genotype_count decode(std::uint64_t key, std::size_t n) {
    genotype_count g{};
    for (std::size_t l = 0; l < n; ++l) {
        std::uint32_t const bit = std::uint32_t{1} << l;
        switch ((key >> (2 * l)) & 3) {
        case 0: g.twos |= bit; [[fallthrough]];
        case 2: g.ones |= bit; break;
        case 1: g.missing |= bit; break;
        }
    }
    return g;
}

} // namespace

genotype_table::genotype_table(null_model const& model, std::vector<std::uint32_t> const& sample)
    : model_(model), sample_(sample), keys_(sample.size()), slots_(64, NONE) {}

Eigen::Map<row_major_matrix const> genotype_table::sums() const {
    return {sums_.data(), static_cast<Eigen::Index>(genotypes.size()), model_.subjects.cols()};
}

void genotype_table::read_keys(std::vector<std::uint8_t const*> const& rows) {
    std::fill(keys_.begin(), keys_.end(), 0);
    for (std::uint8_t const* const row : rows)
        for (std::size_t i = 0; i < keys_.size(); ++i) {
            std::uint32_t const s = sample_[i];
            keys_[i] = keys_[i] << 2 | ((row[s / 4] >> (s % 4 * 2)) & 3u);
        }
}

std::uint32_t& genotype_table::slot_of(std::uint64_t key) {
    std::size_t const last = slots_.size() - 1;
    std::size_t s = hash(key) & last;
    while (slots_[s] != NONE && distinct_[slots_[s]] != key)
        s = (s + 1) & last;
    return slots_[s];
}

// Index of a key that is new, at n SNPs.
std::uint32_t genotype_table::add(std::uint64_t key, std::size_t n) {
    auto const index = static_cast<std::uint32_t>(distinct_.size());
    distinct_.push_back(key);
    genotypes.push_back(decode(key, n));
    sums_.resize(sums_.size() + static_cast<std::size_t>(model_.subjects.cols()), 0.0);
    if (2 * distinct_.size() > slots_.size()) {
        slots_.assign(2 * slots_.size(), NONE);
        for (std::uint32_t r = 0; r < index; ++r)
            slot_of(distinct_[r]) = r;
    }
    return slot_of(key) = index;
}

void genotype_table::collapse(std::vector<std::uint8_t const*> const& rows, unsigned max_missing) {
    genotypes.clear();
    distinct_.clear();
    sums_.clear();
    left_out.clear();
    n_subjects = n_cases = 0;
    std::fill(slots_.begin(), slots_.end(), NONE);
    read_keys(rows);

    auto const columns = static_cast<std::size_t>(model_.subjects.cols());
    for (std::size_t i = 0; i < keys_.size(); ++i) {
        std::uint64_t const key = keys_[i];
        if (std::bitset<64>(missing_codes(key)).count() > max_missing) {
            left_out.push_back(static_cast<std::uint32_t>(i));
            continue;
        }
        std::uint32_t index = slot_of(key);
        if (index == NONE) index = add(key, rows.size());
        ++n_subjects;
        n_cases += model_.is_case[i];
        ++(model_.is_case[i] != 0 ? genotypes[index].cases : genotypes[index].controls);
        double const* const subject = model_.subjects.data() + i * columns;
        double* const sum = sums_.data() + index * columns;
        double const weight = subject[null_model::WEIGHT];
        sum[null_model::RESIDUAL] += subject[null_model::RESIDUAL];
        sum[null_model::WEIGHT] += weight;
        for (std::size_t c = null_model::FIRST_COVARIATE; c < columns; ++c)
            sum[c] += weight * subject[c];
    }
}

} // namespace scan
