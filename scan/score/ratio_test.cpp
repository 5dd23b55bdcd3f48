// With l(p) the log-likelihood of all subjects at their frequencies, l_0(f) and l_1(q) those of
// controls and cases at their own,
//
//   LRT = 2 (l_0(f) + l_1(q) - l(p))             one degree of freedom per effect
//   beta_h = ln(q_h / f_h) - ln(q_ref / f_ref)   z = beta / se (Wald)
//
// The own ratio of a haplotype is 2 (l - l'), where l' is the maximum with its beta at 0, which makes it
// one with the reference. It stands where Wald's p-value does not hold.
//
// Haplotypes too rare for an effect of their own have the same shares among each other in f and q;
// the reference belongs to them unless they have an effect together.
#include "scan/score/ratio_test.h"

#include "scan/score/copies.h"
#include "scan/score/tails.h"
#include "scan/score/window.h"

#include <algorithm>
#include <cmath>

namespace scan {

namespace {

// To the maxima of the log-likelihood: the one that betas are taken from, and of own ratios.
constexpr double GAIN = 1e-14, GAIN_OF_RATIO = 1e-9;

} // namespace

bool ratio_test::run(std::vector<genotype_count> const& genotypes, by_group subjects,
                     std::vector<std::size_t> const& tested, bool rare_has_effect,
                     window_row& row) {
    std::size_t const K = pooled_.list().n_haplotypes(),
                      n_effects = tested.size() + rare_has_effect;
    set_effects(tested, rare_has_effect);
    start_.resize(K);
    for (std::size_t h = 0; h < K; ++h)
        start_[h] = by_group{pooled_.frequency(h), pooled_.frequency(h)};
    if (!groups_.run(start_, effects_, n_effects, subjects, GAIN)) return false;
    row.df = static_cast<unsigned>(n_effects - 1);
    log_likelihood_ = groups_.log_likelihood();
    row.chisq = std::max(0.0, 2 * (log_likelihood_ - pooled_.at_maximum().log_likelihood()));
    row.log_p = log_p_chi_square(row.chisq, row.df);
    row.type = p_type::chi_square;
    errors_.run(pooled_.list(), genotypes, groups_, subjects, effects_, n_effects,
                standard_errors_);
    set_haplotypes(tested, row);
    return test_few(tested, n_effects, subjects, row);
}

void ratio_test::set_effects(std::vector<std::size_t> const& tested, bool rare_has_effect) {
    effects_.assign(pooled_.list().n_haplotypes(), rare_has_effect ? tested.size() : 0);
    for (std::size_t e = 0; e < tested.size(); ++e)
        effects_[tested[e]] = e;
}

void ratio_test::set_haplotypes(std::vector<std::size_t> const& tested, window_row& row) const {
    by_group const reference = groups_.frequency(tested[0]);
    for (std::size_t e = 0; e < tested.size(); ++e) {
        haplotype_row& h = row.haplotypes[e];
        by_group const p = groups_.frequency(tested[e]), copies = groups_.copies(tested[e]);
        h.control_freq = p[0], h.case_freq = p[1];
        h.control_count = copies[0], h.case_count = copies[1];
        if (e == 0) continue;
        h.beta = std::log(p[1] / p[0]) - std::log(reference[1] / reference[0]);
        h.se = standard_errors_[e];
        h.z = h.beta / h.se;
        h.log_p = log_p_two_sided(h.z);
        if (!std::isnan(h.log_p)) h.type = p_type::wald;
    }
}

// P of the own ratio, where there are few copies or few of a group, or the effect is infinite.
bool ratio_test::test_few(std::vector<std::size_t> const& tested, std::size_t n_effects,
                          by_group subjects, window_row& row) {
    double const smaller = std::min(subjects[0], subjects[1]), all = subjects[0] + subjects[1];
    for (std::size_t h = 0; h < start_.size(); ++h)
        start_[h] = groups_.frequency(h);
    for (std::size_t e = 1; e < tested.size(); ++e) {
        haplotype_row& h = row.haplotypes[e];
        bool const is_few = takes_ratio(2 * smaller * h.freq, smaller, all);
        if (!std::isinf(h.beta) && (std::isnan(h.log_p) || !is_few)) continue;
        effects_[tested[e]] = 0;
        if (!without_.run(start_, effects_, n_effects, subjects, GAIN_OF_RATIO)) return false;
        effects_[tested[e]] = e;
        double const ratio = 2 * (log_likelihood_ - without_.log_likelihood());
        h.log_p = log_p_chi_square(std::max(0.0, ratio), 1);
        h.type = p_type::likelihood_ratio;
    }
    return true;
}

} // namespace scan
