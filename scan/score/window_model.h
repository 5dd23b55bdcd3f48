// The null model of the subjects of a window: the run's where nobody is left out, else that of those
// who stay.
//
// With the run's r, w and q (see null_model), all sums over those who stay, and d the Newton step
// from the run's b towards their own maximum,
//
//   I = sum of w q q'     d = I^- sum of r q     delta_i = q_i'd     t_i = 1 - 2 mu_i
//
// the score of copies x is sum of r x - d' sum of w q x. It is the efficient score at the run's b. At
// the maximum weights are w (1 + t delta + ...) and the score lacks 1/2 sum of w t delta^2 x.
#ifndef QUILMAR_SCAN_SCORE_WINDOW_MODEL_H
#define QUILMAR_SCAN_SCORE_WINDOW_MODEL_H

#include "scan/score/genotype_table.h"
#include "scan/score/null_model.h"
#include "scan/score/semidefinite.h"

#include <cstddef>
#include <vector>

namespace scan {

// One per thread; refers to the run's model. The window's model is the run's b with the step d, where
// that moves no chi-square by more than a thousandth, else the maximum itself.
class window_model {
  public:
    explicit window_model(null_model const& run);

    // Settles the model of the window that the table holds, which must stay as it is while the model
    // is used. copies: distinct genotypes x n_copies, what is to be tested. False if the covariates
    // separate the cases from the controls who stay, so that there is no maximum.
    bool settle(genotype_table const& table, double const* copies, std::size_t n_copies);

    // Is it the run's model?
    bool has_all_subjects() const { return has_all_; }
    // Without covariates: mu, the same for all.
    double case_share() const { return static_cast<double>(table_->n_cases) / table_->n_subjects; }

    // With covariates. By distinct genotype the sums of r, w and w q over its subjects.
    Eigen::Map<row_major_matrix const> sums() const;
    // R with R'R = I^-. With C = sum of w q x' the covariates' part of x_i is (R C)'R q_i and that of
    // the variance (R C)'R C. For all subjects it is the identity, and not stored.
    Eigen::MatrixXd const& whitening() const { return whitening_; }
    // d, for which C'd is to be taken from the score. Not stored for all subjects, where it is 0.
    Eigen::VectorXd const& step() const { return step_; }
    // Of a subject of the window, by its index in the run's model: mu_i, of which r and w follow, and
    // the n_columns() numbers q_i, which are the run's: any base of the covariates will do.
    double probability(std::size_t subject) const;
    double const* q(std::size_t subject) const {
        return row(subject) + null_model::FIRST_COVARIATE;
    }

  private:
    null_model const& run_;
    genotype_table const* table_ = nullptr;
    bool has_all_ = true, is_refitted_ = false;
    Eigen::MatrixXd information_, whitening_;
    Eigen::VectorXd score_, step_;
    Eigen::VectorXd shift_; // of the refitted b from the run's: b'z_i grows by q_i'shift
    double weight_ = 0;     // sum of w
    Eigen::VectorXd work_;
    semidefinite decomposition_;
    std::vector<double> sums_;  // where refitted
    row_major_matrix weighted_; // rows sqrt(w) q of some subjects

    double const* row(std::size_t subject) const {
        return run_.subjects.data() + subject * static_cast<std::size_t>(run_.subjects.cols());
    }
    double log_odds_change(std::size_t subject, Eigen::VectorXd const& by) const;
    void take_out(std::vector<std::uint32_t> const& subjects);
    void solve();
    double mean_square_step() const;
    double spread_change();
    double largest_change(double const* copies, std::size_t n_copies);
    double shift_of_variances(double const* copies, std::size_t n_copies) const;
    bool refit();
    void evaluate();
    double damping() const;
};

} // namespace scan

#endif
