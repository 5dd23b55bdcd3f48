#include "scan/leads.h"

#include "scan/output/numbers.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

namespace scan {

namespace {

constexpr double MOST_P = 1e-4;

// Whoever computes the leads from the table finds the same ones.
bool qualifies(double log_p) {
    return !std::isnan(log_p) && std::stod(p_text(log_p)) <= MOST_P;
}

double printed_neg_log10(double log_p) {
    return std::isnan(log_p) ? 0 : std::stod(neg_log10_text(log_p));
}

} // namespace

void lead_finder::add(std::size_t first, chunk_result const& chunk) {
    for (std::size_t i = 0; i < chunk.outcomes.size(); ++i) {
        window_outcome const& outcome = chunk.outcomes[i];
        if (outcome.code == error_code::none &&
            (qualifies(outcome.log_p) || qualifies(outcome.top_log_p_bonferroni)))
            found_.push_back({first + i, printed_neg_log10(outcome.log_p)});
    }
}

std::vector<std::size_t> lead_finder::by_p() const {
    std::vector<std::size_t> order(found_.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
        return found_[a].neg_log10_p > found_[b].neg_log10_p;
    });
    return order;
}

std::vector<lead> lead_finder::leads(double kb) const {
    double longest = 0;
    for (std::size_t i = 0; i < found_.size(); ++i)
        longest = std::max(longest, static_cast<double>(at(i).to) - at(i).from);
    std::vector<lead> leads;
    std::vector<bool> has_lead(found_.size());
    for (std::size_t const best : by_p()) {
        if (has_lead[best]) continue;
        window const& w = at(best);
        double const from = w.from - 1000 * kb, to = w.to + 1000 * kb;
        lead found{found_[best].window, 0, w.from, w.to, leads.size()};
        auto const take = [&](std::size_t i) {
            if (has_lead[i] || at(i).to < from || at(i).from > to) return;
            has_lead[i] = true;
            ++found.n_windows;
            found.from = std::min(found.from, at(i).from);
            found.to = std::max(found.to, at(i).to);
        };
        auto const is_near = [&](std::size_t i) {
            return at(i).chromosome == w.chromosome && at(i).from <= to &&
                   at(i).from + longest >= from;
        };
        for (std::size_t i = best; i < found_.size() && is_near(i); ++i)
            take(i);
        for (std::size_t i = best; i > 0 && is_near(i - 1); --i)
            take(i - 1);
        leads.push_back(found);
    }
    std::sort(leads.begin(), leads.end(),
              [](lead const& a, lead const& b) { return a.window < b.window; });
    return leads;
}

} // namespace scan
