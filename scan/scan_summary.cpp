#include "scan/scan_summary.h"

#include "scan/output/numbers.h"
#include "scan/score/tails.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace scan {

namespace {

// Median of the chi-squares of 1 degree of freedom that the p-values stand for, over its expectation.
double lambda(std::vector<double> log_p) {
    std::sort(log_p.begin(), log_p.end());
    std::size_t const n = log_p.size();
    double const median = (chi_square_1(log_p[(n - 1) / 2]) + chi_square_1(log_p[n / 2])) / 2;
    return median / chi_square_1(std::log(0.5));
}

} // namespace

void scan_summary::add(std::size_t first, chunk_result const& chunk) {
    n_no_saddle_point_ += chunk.n_no_saddle_point;
    n_unequal_ += chunk.n_unequal;
    for (std::size_t i = 0; i < chunk.codes.size(); ++i) {
        ++by_code_[static_cast<std::size_t>(chunk.codes[i])];
        if (chunk.codes[i] != error_code::none || std::isnan(chunk.log_p[i])) continue;
        log_p_.push_back(chunk.log_p[i]);
        if (chunk.log_p[i] >= smallest_log_p_) continue;
        smallest_ = first + i;
        smallest_log_p_ = chunk.log_p[i];
    }
}

void scan_summary::note(window_list const& list, run_log& log) const {
    for (std::size_t code = 1; code < N_CODES; ++code)
        if (by_code_[code] > 0)
            log.note(std::to_string(by_code_[code]) +
                     " windows failed: " + text(static_cast<error_code>(code)));
    if (n_no_saddle_point_ > 0)
        log.note(std::to_string(n_no_saddle_point_) +
                 " haplotypes have no saddle point: their P is the normal one.");
    if (n_unequal_ > 0)
        log.warn(std::to_string(n_unequal_) +
                 " windows leave out over a tenth more of one group than of the other: compare "
                 "CASE_CT and CTRL_CT.");
    if (log_p_.empty()) return log.warn("No window has a P.");
    log.note("Lambda " + number_text(lambda(log_p_)) + " over " + std::to_string(log_p_.size()) +
             " windows.");
    window const& best = list.windows[smallest_];
    log.note("Smallest P " + p_text(smallest_log_p_) + ": window " + list.name(smallest_) +
             ", chromosome " + std::to_string(best.chromosome) + ":" + std::to_string(best.from) +
             "-" + std::to_string(best.to) + ".");
    log.note("Bonferroni level for them: " +
             number_text(0.05 / static_cast<double>(log_p_.size())) + ".");
}

} // namespace scan
