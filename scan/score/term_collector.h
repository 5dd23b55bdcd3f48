// What the score of a haplotype is made of, subject by subject.
#ifndef QUILMAR_SCAN_SCORE_TERM_COLLECTOR_H
#define QUILMAR_SCAN_SCORE_TERM_COLLECTOR_H

#include "scan/score/genotype_table.h"
#include "scan/score/saddlepoint.h"
#include "scan/score/window_model.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace scan {

// The expected copies of a haplotype by genotype: copies[g * stride].
struct genotype_copies {
    double const* copies;
    std::size_t stride;
    double operator[](std::size_t g) const { return copies[g * stride]; }
};

// Reused from haplotype to haplotype; refers to the run's model and the window's.
class term_collector {
  public:
    term_collector(null_model const& run, window_model const& window)
        : run_(run), window_(window) {}

    // The terms of a haplotype in the window that table and model are of. covariance: with x its
    // copies, sum of w q x over the subjects, or sum of x without covariates; variance: that of its
    // score. The terms last until the next call.
    score_terms const& collect(genotype_table const& table, genotype_copies x,
                               double const* covariance, double variance);

  private:
    struct carrier {
        std::uint32_t subject, genotype;
    };

    null_model const& run_;
    window_model const& window_;
    std::vector<carrier> carriers_;
    Eigen::VectorXd whitened_, slopes_;
    score_terms terms_;

    void collect_genotypes(genotype_table const& table, genotype_copies x, double total);
    void collect_subjects(genotype_table const& table, genotype_copies x, double variance);
    void list_carriers(genotype_table const& table, genotype_copies x);
    void set_slopes(double const* covariance);
};

} // namespace scan

#endif
