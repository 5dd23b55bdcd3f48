// The two-sided tail of a score by the saddlepoint approximation, for few cases among many controls.
#ifndef QUILMAR_SCAN_SCORE_SADDLEPOINT_H
#define QUILMAR_SCAN_SCORE_SADDLEPOINT_H

#include <cstddef>
#include <optional>
#include <vector>

namespace scan {

// The score T = sum of g_i (y_i - mu_i) of a haplotype. Subjects who carry it have their own terms,
// those who do not are normal together. Reused from haplotype to haplotype.
struct score_terms {
    std::vector<double> mu, g, subjects; // of the carriers: mu, adjusted copies, how many have both
    double rest = 0;                     // variance of all others; exactly 0 where there is none

    void resize(std::size_t n) { mu.resize(n), g.resize(n), subjects.resize(n); }
    void set(std::size_t k, double mu_k, double g_k, double subjects_k) {
        mu[k] = mu_k, g[k] = g_k, subjects[k] = subjects_k;
    }
    std::size_t size() const { return g.size(); }
};

// ln P(|T| >= |score|), each side by its own saddle point; `variance` is that of T. Nothing where a
// side has no saddle point: its score is the largest possible one.
std::optional<double> saddlepoint_log_p(score_terms const& terms, double score, double variance);

} // namespace scan

#endif
