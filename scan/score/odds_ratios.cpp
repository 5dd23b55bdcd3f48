// With eta the logarithms of the frequencies of a group d of N_d subjects, x(g) = E(n | g) the
// expected copies of the haplotypes and sums over the group's subjects,
//
//   J_d = diag(2 N_d f) - sum of Cov(n | g)
//
// is the information on eta, of which a common constant is free. Controls have eta_h, cases
// eta_h + beta_e(h), and with X = [e(h) = e] the effects' information, eta taken out, is
//
//   X'J_1 X - X'J_1 (J_0 + J_1)^- J_1 X          (X'(J_0^-1 + J_1^-1)^-1 X where both exist)
//
// The reference's "effect" is that constant: se_e^2 = V_ee + V_00 - 2 V_e0, V the inverse. With one
// effect per haplotype V is J_0^-1 + J_1^-1.
#include "scan/score/odds_ratios.h"

#include "scan/score/window.h"

#include "numeric/cholesky.h"
#include "numeric/status_code.h"

#include <cmath>

namespace scan {

namespace {

// Share of a pivot that is rounding.
constexpr double FLAT = 1e-10;
// Keeps 0 / 0 away, where a group has no subjects of a genotype that is impossible for it.
constexpr double TINY = 1e-290;

} // namespace

void odds_ratio_errors::run(phases const& list, std::vector<genotype_count> const& genotypes,
                            group_frequencies const& groups, by_group subjects,
                            std::vector<std::size_t> const& effects, std::size_t n_effects,
                            std::vector<double>& errors) {
    errors.assign(n_effects, NOT_COMPUTED);
    place_haplotypes(list, groups);
    list_leaves(list);
    information_.assign(n_ * n_, by_group{});
    for (std::size_t h = 0; h < place_.size(); ++h)
        if (place_[h] != ABSENT)
            information(place_[h], place_[h]) = 2 * subjects * groups.frequency(h);
    subtract_covariances(list, genotypes, groups);
    factorise();
    std::size_t const m = find_finite(groups, effects, n_effects);
    if (finite_[0] == ABSENT) return;
    collect(effects, m);
    auto const size = static_cast<unsigned>(m);
    if (cholesky_decomp(by_effect_.data(), size) != CHOLESKY_SUCCESS) return;
    cholesky_invert_factor(by_effect_.data(), size);
    for (std::size_t e = 1; e < n_effects; ++e) {
        if (finite_[e] == ABSENT) continue;
        double variance = 0;
        for (std::size_t i = 0; i < m; ++i) {
            double const* const row = by_effect_.data() + i * m;
            double const of_effect = finite_[e] <= i ? row[finite_[e]] : 0;
            variance += std::pow(of_effect - row[0], 2);
        }
        errors[e] = std::sqrt(variance);
    }
}

void odds_ratio_errors::place_haplotypes(phases const& list, group_frequencies const& groups) {
    place_.assign(list.n_haplotypes(), ABSENT);
    n_ = 0;
    for (std::size_t h = 0; h < place_.size(); ++h)
        if (by_group const p = groups.frequency(h); p[0] + p[1] > 0)
            place_[h] = static_cast<std::uint32_t>(n_++);
}

void odds_ratio_errors::list_leaves(phases const& list) {
    leaves_.clear();
    first_leaf_.assign(1, 0);
    for (phases::side_pair const& sum : list.sums) {
        for (phases::side const term : {sum.first, sum.second}) {
            if (term >= 0) {
                leaves_.push_back(static_cast<std::uint32_t>(term));
                continue;
            }
            auto const inner = static_cast<std::size_t>(-1 - term);
            for (std::size_t i = first_leaf_[inner]; i < first_leaf_[inner + 1]; ++i)
                leaves_.push_back(leaves_[i]);
        }
        first_leaf_.push_back(leaves_.size());
    }
}

by_group& odds_ratio_errors::information(std::uint32_t i, std::uint32_t j) {
    return i > j ? information_[i * n_ + j] : information_[j * n_ + i];
}

void odds_ratio_errors::subtract_covariances(phases const& list,
                                             std::vector<genotype_count> const& genotypes,
                                             group_frequencies const& groups) {
    for (std::size_t g = 0; g < genotypes.size(); ++g) {
        by_group const count{double(genotypes[g].controls), double(genotypes[g].cases)};
        phases::side_pair const* const pairs = list.pairs.data() + list.begin[g];
        std::size_t const n_pairs = list.begin[g + 1] - list.begin[g];
        if (n_pairs == 1)
            for (phases::side const s : {pairs->first, pairs->second})
                subtract_side(s, count, groups);
        else
            subtract_pairs(pairs, n_pairs, count, groups);
    }
}

// A chromosome of which the side is known.
void odds_ratio_errors::subtract_side(phases::side s, by_group count,
                                      group_frequencies const& groups) {
    if (s >= 0) return;
    local_.clear();
    add_leaves(s, by_group{1, 1}, groups);
    subtract_local(count);
}

void odds_ratio_errors::subtract_pairs(phases::side_pair const* pairs, std::size_t n_pairs,
                                       by_group count, group_frequencies const& groups) {
    auto const value = [&](phases::side s) { return groups.at_maximum().value(s); };
    by_group total{TINY, TINY};
    for (std::size_t k = 0; k < n_pairs; ++k)
        total += value(pairs[k].first) * value(pairs[k].second);
    local_.clear();
    for (std::size_t k = 0; k < n_pairs; ++k) {
        auto const [a, b] = pairs[k];
        by_group const share = value(a) * value(b) / total;
        std::size_t const first = local_.size();
        add_leaves(a, share, groups);
        std::size_t const second = local_.size();
        add_leaves(b, share, groups);
        // Both haplotypes of a pair.
        for (std::size_t i = first; i < second; ++i)
            for (std::size_t j = second; j < local_.size(); ++j)
                information(local_[i].place, local_[j].place) -=
                    count * local_[i].copies * local_[j].copies / (share + TINY);
    }
    subtract_local(count);
}

// Haplotypes of a side that is expected `copies` times.
void odds_ratio_errors::add_leaves(phases::side s, by_group copies,
                                   group_frequencies const& groups) {
    by_group const scale = copies / (groups.at_maximum().value(s) + TINY);
    auto const add = [&](std::uint32_t h) {
        if (place_[h] != ABSENT) local_.push_back({place_[h], scale * groups.frequency(h)});
    };
    if (s >= 0) return add(static_cast<std::uint32_t>(s));
    auto const sum = static_cast<std::size_t>(-1 - s);
    for (std::size_t i = first_leaf_[sum]; i < first_leaf_[sum + 1]; ++i)
        add(leaves_[i]);
}

// diag(x) - x x' of the local haplotypes.
void odds_ratio_errors::subtract_local(by_group count) {
    for (std::size_t i = 0; i < local_.size(); ++i) {
        by_group const scaled = count * local_[i].copies;
        information(local_[i].place, local_[i].place) -= scaled;
        for (std::size_t j = 0; j <= i; ++j)
            information(local_[i].place, local_[j].place) += scaled * local_[j].copies;
    }
}

// J_0 + J_1 = L L'. Where genotypes do not tell haplotypes apart a pivot is 0 and its column left out.
void odds_ratio_errors::factorise() {
    factor_.resize(n_ * n_);
    for (std::size_t i = 0; i < n_; ++i) {
        double* const row = factor_.data() + i * n_;
        for (std::size_t j = 0; j <= i; ++j) {
            by_group const both = information_[i * n_ + j];
            double const* const other = factor_.data() + j * n_;
            double sum = both[0] + both[1];
            for (std::size_t k = 0; k < j; ++k)
                sum -= row[k] * other[k];
            if (j < i)
                row[j] = other[j] > 0 ? sum / other[j] : 0;
            else
                row[i] = sum > FLAT * (both[0] + both[1]) ? std::sqrt(sum) : 0;
        }
    }
}

// Places of the finite effects in by_effect_, the reference first. An effect is finite if both groups
// have it.
std::size_t odds_ratio_errors::find_finite(group_frequencies const& groups,
                                           std::vector<std::size_t> const& effects,
                                           std::size_t n_effects) {
    totals_.assign(n_effects, by_group{});
    for (std::size_t h = 0; h < effects.size(); ++h)
        totals_[effects[h]] += groups.frequency(h);
    finite_.assign(n_effects, ABSENT);
    std::size_t m = 0;
    for (std::size_t e = 0; e < n_effects; ++e)
        if (totals_[e][0] > 0 && totals_[e][1] > 0) finite_[e] = static_cast<std::uint32_t>(m++);
    return m;
}

// The effects' information, m x m.
void odds_ratio_errors::collect(std::vector<std::size_t> const& effects, std::size_t m) {
    column_.resize(n_);
    for (std::size_t h = 0; h < place_.size(); ++h)
        if (place_[h] != ABSENT) column_[place_[h]] = finite_[effects[h]];
    cases_.assign(n_ * m, 0.0);
    by_effect_.assign(m * m, 0.0);
    for (std::uint32_t i = 0; i < n_; ++i)
        for (std::uint32_t k = 0; k < n_; ++k)
            if (column_[k] != ABSENT) {
                double const J = information(i, k)[1];
                cases_[i * m + column_[k]] += J;
                if (column_[i] != ABSENT) by_effect_[column_[i] * m + column_[k]] += J;
            }
    for (std::size_t i = 0; i < n_; ++i) {
        double* const row = cases_.data() + i * m;
        double const pivot = factor_[i * n_ + i];
        for (std::size_t k = 0; k < i; ++k)
            for (std::size_t e = 0; e < m; ++e)
                row[e] -= factor_[i * n_ + k] * cases_[k * m + e];
        for (std::size_t e = 0; e < m; ++e)
            row[e] = pivot > 0 ? row[e] / pivot : 0;
        for (std::size_t e = 0; e < m; ++e)
            for (std::size_t f = 0; f <= e; ++f)
                by_effect_[e * m + f] -= row[e] * row[f];
    }
}

} // namespace scan
