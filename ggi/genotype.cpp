// Genotype masks and the enumeration of haplotype pairs.
//
// For a complete genotype with heterozygous mask H and highest heterozygous locus t, the first
// haplotypes are  twos + t + s  for every subset s of H - t, in decreasing order of s, and the
// partner of h is  twos + (H - h). A missing locus stands for each of its three values in turn.
#include "ggi/genotype.h"

#include "numeric/memory.h"
#include "numeric/subsets.h"

#include <algorithm>
#include <utility>

namespace {

// Calls visit(g) for the three values of the highest missing locus of `which`; g keeps only the
// missing loci below it.
template <typename visitor>
void expand_highest(genotype const& parent, unsigned which, visitor visit) {
    unsigned const m = highest_bit(which);
    unsigned const twos[] = {0, 0, m}, ones[] = {0, m, m};
    for (int value = 0; value < 3; ++value) {
        genotype g;
        g.clear();
        g.init(parent.nsnp, parent.missing & (m - 1), parent.twos | twos[value],
               parent.ones | ones[value]);
        visit(g);
    }
}

// Calls visit(pair) for the pairs that find_pairs lists, in its order.
template <typename visitor>
void for_each_pair(genotype const& g, int locus, unsigned h, visitor& visit) {
    unsigned const below = locus < 0 ? 0u : low_bits(static_cast<unsigned>(locus) + 1);
    if (unsigned const which = g.missing & below) {
        expand_highest(g, which, [&](genotype const& complete) {
            for_each_pair(complete, static_cast<int>(g.nsnp) - 1, 0, visit);
        });
        return;
    }
    unsigned const H = g.heterozygous(), t = highest_bit(H) & below;
    unsigned const fixed = h | (g.twos & below) | t;
    for_each_subset(H & below & ~t, [&](unsigned s) { visit(g.make_pair(fixed | s)); });
}

void fill_subdivision(genotype const& g, std::vector<genotype>& complete) {
    if (g.missing == 0)
        complete.push_back(g);
    else
        expand_highest(g, g.missing,
                       [&](genotype const& part) { fill_subdivision(part, complete); });
}

} // namespace

unsigned genotype::count_missing() const {
    return count_bits(missing & low_bits(nsnp));
}

unsigned genotype::count_ones() const {
    return count_bits(heterozygous() & low_bits(nsnp));
}

unsigned long long genotype::count_pairs() const {
    // A heterozygous locus has two ordered resolutions, a missing one four, two of them homozygous.
    unsigned const k = count_ones(), m = count_missing();
    if (k + 2 * m == 64) return 1ull << 63;
    unsigned long long const ordered = 1ull << (k + 2 * m), same = k == 0 ? 1ull << m : 0;
    return (ordered + same) / 2;
}

haplotype_pair genotype::make_pair(unsigned h) const {
    return make_pair(haplotype{h, 0});
}

haplotype_pair genotype::make_pair(haplotype h) const {
    return {h, {(twos | (ones & ~h.code)) & low_bits(nsnp), 0}};
}

int genotype::haplotype_pairs() {
    if (pairs != nullptr) return 0;
    pairs = new haplotype_pair_list;
    pairs->reserve(std::min<unsigned long long>(count_pairs(), pairs->max_size()));
    find_pairs(static_cast<int>(nsnp) - 1, 0, *pairs);
    return 1;
}

int genotype::haplotype_pairs(std::set<unsigned> const& set) {
    if (pairs != nullptr) return 0;
    pairs = new haplotype_pair_list;
    if (count_pairs() <= set.size()) {
        find_pairs(static_cast<int>(nsnp) - 1, 0, *pairs, set);
        return 1;
    }
    // A haplotype fits when it carries allele 1 at every homozygous-1 locus and at no homozygous-0
    // locus; two of them make a pair when they also are partners at the loci that are known.
    unsigned const known = low_bits(nsnp) & ~missing;
    std::vector<unsigned> fitting;
    std::copy_if(set.rbegin(), set.rend(), std::back_inserter(fitting),
                 [&](unsigned h) { return (h & ~(ones | missing)) == 0 && (twos & ~h) == 0; });
    std::vector<std::pair<unsigned, std::size_t>> places; // by the alleles at the known loci
    for (std::size_t i = 0; i < fitting.size(); ++i)
        places.emplace_back(fitting[i] & known, i);
    std::sort(places.begin(), places.end());
    // Places of the haplotypes from the i-th on that are partners of the i-th.
    auto const partners = [&](std::size_t i) {
        unsigned const partner = make_pair(fitting[i]).second.code & known;
        return std::make_pair(
            std::lower_bound(places.begin(), places.end(), std::make_pair(partner, i)),
            std::upper_bound(places.begin(), places.end(),
                             std::make_pair(partner, fitting.size())));
    };
    std::size_t count = 0;
    for (std::size_t i = 0; i < fitting.size(); ++i) {
        auto const range = partners(i);
        count += static_cast<std::size_t>(range.second - range.first);
    }
    require_memory(static_cast<double>(count) * sizeof(haplotype_pair));
    pairs->reserve(count);
    for (std::size_t i = 0; i < fitting.size(); ++i) {
        auto const range = partners(i);
        for (auto place = range.first; place != range.second; ++place)
            pairs->push_back({{fitting[i], 0}, {fitting[place->second], 0}});
    }
    return 1;
}

void genotype::find_pairs(int locus, unsigned h, haplotype_pair_list& list) const {
    auto append = [&list](haplotype_pair const& pair) { list.push_back(pair); };
    for_each_pair(*this, locus, h, append);
}

void genotype::find_pairs(int locus, unsigned h, haplotype_pair_list& list,
                          std::set<unsigned> const& set) const {
    auto append = [&](haplotype_pair const& pair) {
        if (set.count(pair.first.code) != 0 && set.count(pair.second.code) != 0)
            list.push_back(pair);
    };
    for_each_pair(*this, locus, h, append);
}

void genotype::subdivide(unsigned) {
    if (subdivision != nullptr) return;
    subdivision = new std::vector<genotype>;
    if (missing != 0) fill_subdivision(*this, *subdivision);
}

std::string genotype::str() const {
    std::string text(nsnp, '0');
    for (unsigned i = 0; i < nsnp; ++i) {
        unsigned const bit = 1u << (nsnp - 1 - i);
        if (missing & bit)
            text[i] = '9';
        else if (ones & bit)
            text[i] = twos & bit ? '2' : '1';
    }
    return text;
}
