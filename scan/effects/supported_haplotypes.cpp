#include "scan/effects/supported_haplotypes.h"

#include <algorithm>
#include <memory>
#include <set>

namespace scan {

namespace {

// Expected copies of a haplotype among all subjects below which it changes no printed figure. The
// second bound is for a genotype that very many pairs explain, none of them better than another.
constexpr double TRACE = 1e-3, LAST_TRACE = 1e-9;

// False if a genotype is left without a pair.
bool list_pairs(std::vector<genotype_count> const& genotypes, unsigned n_snps,
                supported_haplotypes& s) {
    std::set<unsigned> const chosen(s.bits.begin(), s.bits.end());
    std::vector<unsigned> places(std::size_t{1} << n_snps);
    for (std::size_t h = 0; h < s.size(); ++h)
        places[s.bits[h]] = static_cast<unsigned>(h);
    s.pairs.clear();
    for (genotype_count const& count : genotypes) {
        genotype g{};
        g.init(n_snps, count.missing, count.twos, count.ones);
        g.haplotype_pairs(chosen);
        std::unique_ptr<haplotype_pair_list const> const list(g.pairs);
        if (list->empty()) return false;
        s.pairs.emplace_back();
        for (haplotype_pair const& pair : *list)
            s.pairs.back().emplace_back(places[pair.first.code], places[pair.second.code]);
    }
    return true;
}

} // namespace

supported_haplotypes find_supported(std::vector<genotype_count> const& genotypes,
                                    std::vector<double> const& estimates, unsigned n_snps,
                                    unsigned n_subjects) {
    supported_haplotypes s;
    s.n_snps = n_snps;
    for (double const trace : {TRACE, LAST_TRACE}) {
        s.bits.clear();
        for (std::size_t h = 0; h < estimates.size(); ++h)
            if (2.0 * n_subjects * estimates[h] > trace)
                s.bits.push_back(static_cast<std::uint32_t>(h));
        std::stable_sort(s.bits.begin(), s.bits.end(), [&](std::uint32_t a, std::uint32_t b) {
            return estimates[a] > estimates[b];
        });
        if (list_pairs(genotypes, n_snps, s)) break;
    }
    for (std::uint32_t const h : s.bits)
        s.frequencies.push_back(estimates[h]);
    return s;
}

} // namespace scan
