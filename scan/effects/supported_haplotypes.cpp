#include "scan/effects/supported_haplotypes.h"

#include "scan/score/group_frequencies.h"
#include "scan/score/haplotypes.h"

#include <algorithm>
#include <memory>
#include <set>

namespace scan {

namespace {

// Expected copies of a haplotype among all subjects below which it changes no printed figure. The
// second bound is for a genotype that very many pairs explain, none of them better than another.
constexpr double TRACE = 1e-3, LAST_TRACE = 1e-9;
// To the maximum of the log-likelihood, near enough to see who is there.
constexpr double GAIN = 1e-9;

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

std::vector<double> start_frequencies(std::vector<genotype_count> const& genotypes,
                                      supported_haplotypes const& haplotypes,
                                      std::vector<unsigned> const& labels, unsigned n_labels,
                                      unsigned label_of_others, by_group subjects) {
    std::size_t const size = std::size_t{1} << haplotypes.n_snps;
    std::vector<double> frequencies(size);
    std::vector<unsigned> label_of(size, label_of_others);
    for (std::size_t h = 0; h < haplotypes.size(); ++h) {
        frequencies[haplotypes.bits[h]] = haplotypes.frequencies[h];
        label_of[haplotypes.bits[h]] = labels[h];
    }
    frequency_estimate pooled;
    if (!pooled.run(genotypes, haplotypes.n_snps)) return frequencies;
    std::vector<std::uint32_t> const& bits = pooled.list().bits;
    std::vector<by_group> start;
    std::vector<std::size_t> effects;
    for (std::size_t h = 0; h < bits.size(); ++h) {
        start.push_back(by_group{pooled.frequency(h), pooled.frequency(h)});
        effects.push_back(label_of[bits[h]]);
    }
    // With all effects, and without one of them.
    group_frequencies groups(pooled.list());
    for (unsigned label = 0; label < n_labels; ++label) {
        std::vector<std::size_t> without = effects;
        std::replace(without.begin(), without.end(), std::size_t{label}, std::size_t{0});
        if (!groups.run(start, without, n_labels, subjects, GAIN)) continue;
        for (std::size_t h = 0; h < bits.size(); ++h) {
            by_group const copies = 2 * subjects * groups.frequency(h);
            double& frequency = frequencies[bits[h]];
            if (frequency == 0 && copies[0] + copies[1] > TRACE)
                frequency = (copies[0] + copies[1]) / (2 * (subjects[0] + subjects[1]));
        }
    }
    return frequencies;
}

} // namespace scan
