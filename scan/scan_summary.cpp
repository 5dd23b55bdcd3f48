#include "scan/scan_summary.h"

#include "scan/output/numbers.h"
#include "scan/score/tails.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

namespace scan {

namespace {

constexpr std::size_t LEAST_LAMBDA = 100;   // windows; fewer have no lambda worth the name
constexpr std::size_t LEAST_WARNING = 1000; // windows
constexpr double HIGH_LAMBDA = 1.2;

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    std::size_t const n = values.size();
    return (values[(n - 1) / 2] + values[n / 2]) / 2;
}

// What may be done about windows of this code, after a colon.
std::string advice(error_code code) {
    switch (code) {
    case error_code::too_many_snps:
        return ": --window slides smaller ones inside regions and genes, --max-snps takes up to 20";
    case error_code::too_many_phases:
        return ": a smaller --window-mind leaves out who misses many of the SNPs";
    case error_code::too_long: return ": --window-kb is the longest";
    default: return "";
    }
}

} // namespace

double scan_summary::inflation(window_outcome const& outcome) {
    while (medians_.size() <= outcome.df)
        medians_.push_back(chi_square_median(static_cast<unsigned>(medians_.size())));
    return outcome.chisq / medians_[outcome.df];
}

void scan_summary::add(std::size_t first, chunk_result const& chunk) {
    for (std::size_t i = 0; i < chunk.outcomes.size(); ++i) {
        window_outcome const& outcome = chunk.outcomes[i];
        ++by_code_[static_cast<std::size_t>(outcome.code)];
        n_no_saddle_point_ += outcome.n_no_saddle_point;
        n_unequal_ += outcome.is_unequal;
        if (outcome.code != error_code::none || std::isnan(outcome.log_p)) continue;
        ++n_tested_;
        if (outcome.df > 0) inflations_.push_back(inflation(outcome));
        if (outcome.log_p >= smallest_log_p_) continue;
        smallest_ = first + i;
        smallest_log_p_ = outcome.log_p;
    }
}

// The median over the windows of the chi-square by its median without association.
void scan_summary::note_lambda(run_log& log) const {
    std::size_t const n = inflations_.size();
    if (n < LEAST_LAMBDA) return;
    double const lambda = median(inflations_);
    char text[16];
    std::snprintf(text, sizeof text, "%.4g", lambda);
    log.note("Lambda " + std::string(text) + " over " + std::to_string(n) + " windows.");
    if (lambda > HIGH_LAMBDA && n >= LEAST_WARNING)
        log.warn("Lambda is above 1.2: the p-values are too small, or very many windows have an "
                 "effect.\nConfounding? Give principal components as covariates, see who is "
                 "related, and look at the QQ plot.");
}

void scan_summary::note(window_list const& list, run_log& log) const {
    for (std::size_t code = 1; code < N_ERROR_CODES; ++code)
        if (by_code_[code] > 0)
            log.note(counted(by_code_[code], "window") +
                     " failed: " + text(static_cast<error_code>(code)) +
                     advice(static_cast<error_code>(code)) + ".");
    if (n_no_saddle_point_ > 0)
        log.note(counted(n_no_saddle_point_, "haplotype") +
                 " without a saddle point: P is the normal one.");
    if (n_unequal_ > 0)
        log.warn(counted(n_unequal_, "window") +
                 " with over a tenth more of one group left out than of the other: compare "
                 "CASE_CT and CTRL_CT.");
    if (n_tested_ == 0) return log.warn("No window has a P.");
    note_lambda(log);
    window const& best = list.windows[smallest_];
    log.note("Smallest P " + p_text(smallest_log_p_) + ": window " + list.name(smallest_) +
             ", chromosome " + std::to_string(best.chromosome) + ":" + std::to_string(best.from) +
             "-" + std::to_string(best.to) + ".");
    log.note("Bonferroni level for them: " + number_text(0.05 / static_cast<double>(n_tested_)) +
             ".");
}

} // namespace scan
