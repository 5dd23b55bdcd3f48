#include "scan/score/genotype_block.h"

#include <algorithm>

namespace scan {

namespace {

constexpr std::uint32_t NONE = ~std::uint32_t{0};
constexpr std::size_t LEAST_SLOTS = 64;

std::size_t hash(std::uint64_t key) {
    key *= 0x9e3779b97f4a7c15u;
    return key ^ (key >> 32);
}

} // namespace

genotype_block::genotype_block(sample_places const& places, bool has_ids)
    : places_(places), ids_(has_ids ? places.n_subjects() : 0) {}

void genotype_block::count_by_table() {
    std::size_t const n_keys = std::size_t{1} << 2 * n_snps_;
    counts_.assign(3 * n_keys, 0);
    tile_keys keys;
    for (std::size_t tile = 0; tile < places_.n_tiles(); ++tile) {
        std::size_t const n = form_keys(rows_.data(), n_snps_ + 1, places_.row_bytes(), tile, keys);
        for (std::size_t i = 0; i < n; ++i)
            ++counts_[keys[i]];
    }
    std::uint32_t const *const controls = counts_.data(), *const cases = controls + n_keys;
    for (std::size_t key = 0; key < n_keys; ++key)
        if ((controls[key] | cases[key]) != 0)
            cells_.push_back({key, controls[key], cases[key], 0});
}

// use(i, key) for every subject i of a tile.
template <unsigned PARTS, typename Use>
void genotype_block::for_each_key(std::size_t tile, Use const& use) const {
    tile_keys keys[PARTS];
    for (unsigned p = 0; p < PARTS; ++p)
        form_keys(rows_.data() + p * SNPS_PER_KEY,
                  std::min(n_snps_ - p * SNPS_PER_KEY, SNPS_PER_KEY), places_.row_bytes(), tile,
                  keys[p]);
    for (std::size_t i = places_.first(tile); i < places_.first(tile + 1); ++i) {
        std::size_t const place = places_.place(i);
        std::uint64_t key = 0;
        for (unsigned p = 0; p < PARTS; ++p)
            key |= std::uint64_t{keys[p][place]} << 16 * p;
        use(i, key);
    }
}

std::size_t genotype_block::slot_of(std::uint64_t key) const {
    std::size_t const last = slots_.size() - 1;
    std::size_t s = hash(key) & last;
    while (slots_[s] != NONE && cells_[slots_[s]].key != key)
        s = (s + 1) & last;
    return s;
}

std::uint32_t genotype_block::add(std::uint64_t key) {
    auto const id = static_cast<std::uint32_t>(cells_.size());
    slots_[slot_of(key)] = id;
    cells_.push_back({key, 0, 0, id});
    if (4 * cells_.size() > slots_.size()) {
        slots_.assign(2 * slots_.size(), NONE);
        for (genotype_cell const& cell : cells_)
            slots_[slot_of(cell.key)] = cell.id;
    }
    return id;
}

template <unsigned PARTS> void genotype_block::count_by_hash() {
    slots_.assign(std::max(slots_.size(), LEAST_SLOTS), NONE);
    for (std::size_t tile = 0; tile < places_.n_tiles(); ++tile)
        for_each_key<PARTS>(tile, [this](std::size_t subject, std::uint64_t key) {
            std::uint32_t id = slots_[slot_of(key)];
            if (id == NONE) id = add(key);
            ++(places_.is_case(subject) ? cells_[id].cases : cells_[id].controls);
            if (!ids_.empty()) ids_[subject] = id;
        });
    std::sort(cells_.begin(), cells_.end(),
              [](genotype_cell const& a, genotype_cell const& b) { return a.key < b.key; });
}

void genotype_block::count(genotype_row const* rows, unsigned n_snps) {
    n_snps_ = n_snps;
    std::reverse_copy(rows, rows + n_snps, rows_.begin());
    rows_[n_snps] = places_.status();
    cells_.clear();
    if (n_snps <= MAX_TABLE_SNPS && ids_.empty())
        count_by_table();
    else if (n_snps <= SNPS_PER_KEY)
        count_by_hash<1>();
    else if (n_snps <= 2 * SNPS_PER_KEY)
        count_by_hash<2>();
    else
        count_by_hash<3>();
}

} // namespace scan
