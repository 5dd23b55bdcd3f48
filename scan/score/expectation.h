// The E-step over the listed genotypes of a window: for all subjects together (numbers are double) or
// for controls and cases side by side (by_group).
//
// It yields, by haplotype, the derivative of the log-likelihood
//
//   D_h = sum over genotypes of  m_g (d P(g) / d p_h) / P(g),
//
// so that p_h D_h is the expected count of chromosomes with haplotype h, of 2N in all.
#ifndef QUILMAR_SCAN_SCORE_EXPECTATION_H
#define QUILMAR_SCAN_SCORE_EXPECTATION_H

#include "scan/score/phases.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace scan {

inline void convert(by_group count, double& all) {
    all = count[0] + count[1];
}
inline void convert(by_group count, by_group& both) {
    both = count;
}

// Refers to the phases; reused from window to window.
template <typename number> class expectation {
  public:
    explicit expectation(phases const& list) : list_(list) {}

    // Takes the counts of newly listed phases.
    void prepare();

    // By haplotype: frequencies, to be set before a step; D after it; chromosomes that certainly
    // carry it.
    number* frequencies() { return values_.data() + list_.n_sums(); }
    number const* derivatives() const { return ratios_.data() + list_.n_sums(); }
    number const* certain() const { return certain_.data(); }

    void step();
    // Of the last step's frequencies, without the constants ln 2.
    number log_likelihood() const;

    // v of a side at the last step's frequencies.
    number value(phases::side s) const { return at(values_, s); }

  private:
    // Keeps 0 / 0 away: groups have no subjects of some genotypes that are impossible for them.
    static constexpr double TINY = 1e-290;

    phases const& list_;
    std::vector<number> values_, ratios_; // sums from the last one on, then haplotypes
    std::vector<number> certain_, marginal_, ambiguous_[phases::N_SIZES];

    number const& at(std::vector<number> const& numbers, phases::side s) const {
        return *(numbers.data() + static_cast<std::ptrdiff_t>(list_.n_sums()) + s);
    }
    static void convert_all(std::vector<by_group> const& counts, std::vector<number>& result);
    template <unsigned n> void add_genotypes(int size, number const* v, number* r) const;
    number probability(std::uint32_t g) const;
};

template <typename number>
void expectation<number>::convert_all(std::vector<by_group> const& counts,
                                      std::vector<number>& result) {
    result.resize(counts.size());
    for (std::size_t i = 0; i < counts.size(); ++i)
        convert(counts[i], result[i]);
}

template <typename number> void expectation<number>::prepare() {
    values_.assign(list_.n_sums() + list_.n_haplotypes(), number{});
    ratios_.assign(values_.size(), number{});
    convert_all(list_.certain, certain_);
    convert_all(list_.marginal_counts, marginal_);
    for (int size = 0; size < phases::N_SIZES; ++size)
        convert_all(list_.ambiguous_counts[size], ambiguous_[size]);
}

// Genotypes with n pairs; any number of them for n = 0.
template <typename number>
template <unsigned n>
void expectation<number>::add_genotypes(int size, number const* v, number* r) const {
    std::vector<std::uint32_t> const& genotypes = list_.ambiguous[size];
    for (std::size_t i = 0; i < genotypes.size(); ++i) {
        std::uint32_t const begin = list_.begin[genotypes[i]];
        std::uint32_t const n_pairs = n > 0 ? n : list_.begin[genotypes[i] + 1] - begin;
        phases::side_pair const* const pairs = list_.pairs.data() + begin;
        number sum{};
        for (std::uint32_t k = 0; k < n_pairs; ++k)
            sum += v[pairs[k].first] * v[pairs[k].second];
        number const factor = ambiguous_[size][i] / (sum + TINY);
        for (std::uint32_t k = 0; k < n_pairs; ++k) {
            auto const [a, b] = pairs[k];
            r[a] += factor * v[b];
            r[b] += factor * v[a];
        }
    }
}

template <typename number> void expectation<number>::step() {
    auto const n_sums = static_cast<std::ptrdiff_t>(list_.n_sums());
    number* const v = values_.data() + n_sums;
    number* const r = ratios_.data() + n_sums;
    for (std::ptrdiff_t i = 0; i < n_sums; ++i)
        v[-1 - i] = v[list_.sums[static_cast<std::size_t>(i)].first] +
                    v[list_.sums[static_cast<std::size_t>(i)].second];
    std::fill(ratios_.begin(), ratios_.begin() + n_sums, number{});
    for (std::size_t h = 0; h < list_.n_haplotypes(); ++h)
        r[h] = certain_[h] / (v[h] + TINY);
    for (std::size_t i = 0; i < marginal_.size(); ++i)
        r[list_.marginal[i]] += marginal_[i] / (v[list_.marginal[i]] + TINY);
    add_genotypes<2>(phases::TWO, v, r);
    add_genotypes<4>(phases::FOUR, v, r);
    add_genotypes<8>(phases::EIGHT, v, r);
    add_genotypes<0>(phases::OTHER, v, r);
    for (std::ptrdiff_t i = n_sums - 1; i >= 0; --i) {
        r[list_.sums[static_cast<std::size_t>(i)].first] += r[-1 - i];
        r[list_.sums[static_cast<std::size_t>(i)].second] += r[-1 - i];
    }
}

inline double weighted_log(double count, double p) {
    return count > 0 ? count * std::log(p) : 0;
}
inline by_group weighted_log(by_group count, by_group p) {
    return by_group{weighted_log(count[0], p[0]), weighted_log(count[1], p[1])};
}

template <typename number> number expectation<number>::probability(std::uint32_t g) const {
    number sum{};
    for (std::uint32_t k = list_.begin[g]; k < list_.begin[g + 1]; ++k)
        sum += at(values_, list_.pairs[k].first) * at(values_, list_.pairs[k].second);
    return sum;
}

template <typename number> number expectation<number>::log_likelihood() const {
    number sum{};
    for (std::size_t h = 0; h < list_.n_haplotypes(); ++h)
        sum += weighted_log(certain_[h], at(values_, static_cast<phases::side>(h)));
    for (std::size_t i = 0; i < marginal_.size(); ++i)
        sum += weighted_log(marginal_[i], at(values_, list_.marginal[i]));
    for (int size = 0; size < phases::N_SIZES; ++size)
        for (std::size_t i = 0; i < ambiguous_[size].size(); ++i)
            sum += weighted_log(ambiguous_[size][i], probability(list_.ambiguous[size][i]));
    return sum;
}

} // namespace scan

#endif
