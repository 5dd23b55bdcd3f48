// With l(p) the log-likelihood of all subjects at their frequencies, l_0(f) and l_1(q) those of
// controls and cases at their own,
//
//   LRT = 2 (l_0(f) + l_1(q) - l(p))             one degree of freedom per effect
//   beta_h = ln(q_h / f_h) - ln(q_ref / f_ref)   z = beta / se (Wald)
//
// Haplotypes too rare for an effect of their own have the same shares among each other in f and q;
// the reference belongs to them unless they have an effect together.
#include "scan/score/ratio_test.h"

#include "scan/score/tails.h"
#include "scan/score/window.h"

#include <algorithm>
#include <cmath>

namespace scan {

bool ratio_test::run(std::vector<genotype_count> const& genotypes, by_group subjects,
                     std::vector<std::size_t> const& tested, bool rare_has_effect,
                     window_row& row) {
    set_effects(tested, rare_has_effect);
    if (!groups_.run(pooled_, in_class_, subjects)) return false;
    by_group const l = groups_.at_maximum().log_likelihood();
    row.df = static_cast<unsigned>(tested.size() - 1 + rare_has_effect);
    row.chisq = std::max(0.0, 2 * (l[0] + l[1] - pooled_.at_maximum().log_likelihood()));
    row.log_p = log_p_chi_square(row.chisq, row.df);
    row.type = p_type::chi_square;
    errors_.run(pooled_.list(), genotypes, groups_, subjects, effects_,
                tested.size() + rare_has_effect, standard_errors_);
    set_haplotypes(tested, row);
    return true;
}

void ratio_test::set_effects(std::vector<std::size_t> const& tested, bool rare_has_effect) {
    std::size_t const K = pooled_.list().n_haplotypes(), rare = rare_has_effect ? tested.size() : 0;
    effects_.assign(K, rare);
    for (std::size_t e = 0; e < tested.size(); ++e)
        effects_[tested[e]] = e;
    in_class_.assign(K, false);
    for (std::size_t h = 0; h < K; ++h)
        in_class_[h] = effects_[h] == rare;
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

} // namespace scan
