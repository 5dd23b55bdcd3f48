#include "scan/score/phases.h"

#include "numeric/available_memory.h"
#include "numeric/subsets.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace scan {

namespace {

constexpr std::uint64_t NO_KEY = 0; // a key's missing loci are never none
constexpr std::uint32_t NO_PLACE = ~std::uint32_t{0};

std::uint64_t hash(std::uint64_t key) {
    key *= 0x9e3779b97f4a7c15u;
    return key ^ (key >> 32);
}

// A haplotype has its counts, frequencies and places in the ascent's history; a sum its terms,
// slots of the hash, values and derivatives; both the copies of every tested haplotype.
double bytes(double n_haplotypes, double n_pairs, double n_sums, double n_tested) {
    return 400 * n_haplotypes + 12 * n_pairs + 160 * n_sums +
           8 * n_tested * (n_haplotypes + n_sums);
}

} // namespace

// A locus of a pair of sides is homozygous in two ways, heterozygous in two, or missing; one of a
// sum is of one allele or the other, or missing. Few windows have more than 20 tested haplotypes.
double phases::most_bytes(double n_genotypes, unsigned n_snps) {
    double const all = std::pow(2, n_snps);
    return std::min(MOST_BYTES, bytes(all, std::min(n_genotypes * all, std::pow(5, n_snps)) / 2,
                                      std::min(n_genotypes * all, std::pow(3, n_snps)), 20));
}

bool phases::has_room(std::size_t n_tested) const {
    return bytes(static_cast<double>(bits.size()), static_cast<double>(pairs.size()),
                 static_cast<double>(sums.size()), static_cast<double>(n_tested)) <= MOST_BYTES;
}

// The limits of a job may end the process without a word, so they are asked, each time for twice as
// much as before.
void phases::ask_for_memory() {
    while (bytes(static_cast<double>(bits.size()), static_cast<double>(pairs.size()),
                 static_cast<double>(sums.size()), 0) > granted_) {
        if (available_memory("") < granted_) throw std::bad_alloc();
        granted_ *= 2;
    }
}

void phases::build(std::vector<genotype_count> const& genotypes, unsigned n_snps) {
    clear(n_snps);
    is_open_ = true;
    list(genotypes);
}

void phases::build(std::vector<genotype_count> const& genotypes, unsigned n_snps,
                   std::vector<std::uint32_t> const& haplotypes) {
    clear(n_snps);
    for (std::uint32_t const h : haplotypes)
        haplotype_of(h);
    is_open_ = false;
    list(genotypes);
}

void phases::clear(unsigned n_snps) {
    if (n_snps != n_snps_)
        index_.assign(std::size_t{1} << n_snps, NONE);
    else
        for (std::uint32_t const h : bits)
            index_[h] = NONE;
    n_snps_ = n_snps;
    if (slots_.empty()) slots_.assign(256, {NO_KEY, NONE});
    for (std::size_t const s : used_slots_)
        slots_[s].key = NO_KEY;
    used_slots_.clear();
    bits.clear(), sums.clear(), pairs.clear(), begin.assign(1, 0);
    certain.clear(), place_.clear(), marginal.clear(), marginal_counts.clear();
    for (int size = TWO; size < N_SIZES; ++size)
        ambiguous[size].clear(), ambiguous_counts[size].clear();
    is_open_ = true;
    is_too_long_ = false;
}

void phases::list(std::vector<genotype_count> const& genotypes) {
    for (genotype_count const& g : genotypes) {
        list_pairs(g);
        begin.push_back(static_cast<std::uint32_t>(pairs.size()));
        ask_for_memory();
        if (has_room(0)) continue;
        clear(static_cast<unsigned>(n_snps_));
        is_too_long_ = true;
        return;
    }
    certain.resize(bits.size(), by_group{});
    place_.resize(sums.size(), NO_PLACE);
    for (std::size_t g = 0; g < genotypes.size(); ++g)
        classify(g, by_group{double(genotypes[g].controls), double(genotypes[g].cases)});
}

void phases::list_pairs(genotype_count const& g) {
    std::uint32_t const heterozygous = g.ones & ~g.twos, low = heterozygous & (~heterozygous + 1);
    for_each_subset(heterozygous ^ low, [&](unsigned s) {
        side const first = side_of(g.twos | low | s, g.missing);
        if (first == NONE) return;
        side const second =
            heterozygous == 0 ? first : side_of(g.twos | (heterozygous ^ low ^ s), g.missing);
        if (second != NONE) pairs.push_back({first, second});
    });
}

void phases::classify(std::size_t g, by_group count) {
    std::uint32_t const n = begin[g + 1] - begin[g];
    if (n == 0) return;
    if (n == 1) {
        observe(pairs[begin[g]].first, count);
        observe(pairs[begin[g]].second, count);
        return;
    }
    int const size = n == 2 ? TWO : n == 4 ? FOUR : n == 8 ? EIGHT : OTHER;
    ambiguous[size].push_back(static_cast<std::uint32_t>(g));
    ambiguous_counts[size].push_back(count);
}

void phases::observe(side s, by_group count) {
    if (s >= 0) {
        certain[static_cast<std::size_t>(s)] += count;
        return;
    }
    std::uint32_t& place = place_[static_cast<std::size_t>(-1 - s)];
    if (place == NO_PLACE) {
        place = static_cast<std::uint32_t>(marginal.size());
        marginal.push_back(s);
        marginal_counts.push_back(by_group{});
    }
    marginal_counts[place] += count;
}

phases::side phases::haplotype_of(std::uint32_t c) {
    side& index = index_[c];
    if (index == NONE && is_open_) {
        index = static_cast<side>(bits.size());
        bits.push_back(c);
    }
    return index;
}

phases::side phases::side_of(std::uint32_t c, std::uint32_t missing) {
    if (missing == 0) return haplotype_of(c);
    std::uint64_t const key = std::uint64_t{missing} << 32 | c;
    if (slot const& known = slot_of(key); known.key == key) return known.value;
    std::uint32_t const low = missing & (~missing + 1);
    side const first = side_of(c, missing ^ low), second = side_of(c | low, missing ^ low);
    if (first == NONE) return second;
    if (second == NONE) return first;
    sums.push_back({first, second});
    slot& added = slot_of(key);
    added = {key, -static_cast<side>(sums.size())};
    used_slots_.push_back(static_cast<std::size_t>(&added - slots_.data()));
    side const value = added.value;
    if (2 * used_slots_.size() > slots_.size()) grow();
    return value;
}

phases::slot& phases::slot_of(std::uint64_t key) {
    std::size_t const last = slots_.size() - 1;
    std::size_t s = hash(key) & last;
    while (slots_[s].key != NO_KEY && slots_[s].key != key)
        s = (s + 1) & last;
    return slots_[s];
}

void phases::grow() {
    std::vector<slot> const old = slots_;
    slots_.assign(2 * old.size(), {NO_KEY, NONE});
    for (std::size_t& s : used_slots_) {
        slot& moved = slot_of(old[s].key);
        moved = old[s];
        s = static_cast<std::size_t>(&moved - slots_.data());
    }
}

} // namespace scan
