// The score test of chosen haplotypes of a window.
#ifndef QUILMAR_SCAN_SCORE_SCORE_TEST_H
#define QUILMAR_SCAN_SCORE_SCORE_TEST_H

#include "scan/score/genotype_table.h"
#include "scan/score/haplotypes.h"
#include "scan/score/null_model.h"
#include "scan/score/term_collector.h"
#include "scan/score/window_model.h"

#include <cstddef>
#include <vector>

namespace scan {

struct window_row;
enum class error_code;

// When the p-values of haplotypes come from the saddlepoint approximation, and the omnibus test's from
// their Cauchy combination: automatic is where a group of the run is small beside the other.
enum class saddlepoint_use { automatic, on, off };

// Whether they do with this model.
bool uses_saddlepoint(saddlepoint_use use, null_model const& model);

// Reused from window to window; refers to the model.
class score_test {
  public:
    score_test(null_model const& model, saddlepoint_use use);

    // Expected copies of the tested haplotypes (indices in the estimate's list, the most frequent
    // first) and their tests, into the row's haplotypes, `top` and the omnibus test. one_haplotype
    // where no haplotype but the first has any variance, separated where the window's subjects have no
    // null model.
    error_code run(genotype_table const& table, frequency_estimate const& estimate,
                   std::vector<std::size_t> const& tested, window_row& row);

  private:
    null_model const& model_;
    bool uses_saddlepoint_;
    window_model window_;
    term_collector terms_;
    std::size_t n_tested_ = 0;
    std::vector<double> side_copies_; // sides x tested haplotypes
    std::vector<double> copies_;      // distinct genotypes x tested haplotypes
    // U and V of all tested haplotypes; X'WX's diagonal; X'WQ, or, without covariates, X'1.
    std::vector<double> score_, variance_, total_, covariance_;
    Eigen::MatrixXd explained_;                                 // R C' (see window_model)
    std::vector<double> scale_, scaled_, correlation_, factor_; // of the omnibus test
    std::vector<double> log_p_;                                 // of the haplotypes that have one

    using matrix = Eigen::Map<row_major_matrix>;
    using vector = Eigen::Map<Eigen::VectorXd>;
    vector score() { return {score_.data(), static_cast<Eigen::Index>(n_tested_)}; }
    matrix variance();

    void compute_copies(genotype_table const& table, frequency_estimate const& estimate,
                        std::vector<std::size_t> const& tested);
    void expect_on_sides(frequency_estimate const& estimate,
                         std::vector<std::size_t> const& tested);
    void count_copies(genotype_table const& table, window_row& row) const;
    void add(double const* x, double residual, double weight);
    void sum_without_covariates(genotype_table const& table);
    void sum_with_covariates(genotype_table const& table);
    void subtract_projection();
    void drop_explained();
    void test_haplotypes(window_row& row);
    bool test_window(window_row& row);
    void approximate_tails(genotype_table const& table, window_row& row);
    void combine(window_row& row);
};

} // namespace scan

#endif
