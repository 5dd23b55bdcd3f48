// The null model of the score tests: logistic regression of status on an intercept and covariates,
//
//   ln(mu_i / (1 - mu_i)) = b'z_i,     w_i = mu_i (1 - mu_i),     r_i = y_i - mu_i
//
// What a window needs of it per subject lies side by side in one row: r_i, w_i and q_i = L^-1 z_i,
// where L L' = Z'WZ. So sum of w q q' = I and sum of r q = 0 over all subjects. The first q stands for
// the intercept and is the same for all.
#ifndef QUILMAR_SCAN_SCORE_NULL_MODEL_H
#define QUILMAR_SCAN_SCORE_NULL_MODEL_H

#include "scan/score/score_rows.h"

#include <Eigen/Core>

#include <cstdint>
#include <string>
#include <vector>

namespace scan {

struct null_model {
    // Columns of `subjects`; q begins at FIRST_COVARIATE.
    enum column { RESIDUAL, WEIGHT, FIRST_COVARIATE };

    Eigen::VectorXd coefficients;      // b, one per column of the design
    Eigen::VectorXd standard_errors;   // square roots of the diagonal of (Z'WZ)^-1
    std::vector<std::uint8_t> is_case; // per subject, 0 or 1
    row_major_matrix subjects;         // subjects x (2 + columns of the design)
    // How the weights follow the log odds, where there are covariates: with t_i = 1 - 2 mu_i, which is
    // d ln w_i / d(b'z_i), the sum of w, the mean T of t weighted by w, and sum of
    // w (t - T)^2 q q', of which the lower triangle is there.
    double total_weight = 0, mean_slope = 0;
    Eigen::MatrixXd slope_spread;
    // r, w and w q but for the first q, to be summed; nothing without covariates, where
    // the counts say all.
    score_rows to_sum{0, 0};

    Eigen::Index n_subjects() const { return subjects.rows(); }
    Eigen::Index n_columns() const { return coefficients.size(); }
    bool has_covariates() const { return n_columns() > 1; }
};

// Fits the model by iteratively reweighted least squares. is_case holds 0 or 1 per subject, both of
// them present; `design` the intercept and the standardised covariates, linearly independent columns
// named by `names`. Throws failure(no_fit) that names the worst covariate when there is no finite
// maximum, because covariates separate cases from controls.
null_model fit_null_model(std::vector<std::uint8_t> is_case, Eigen::MatrixXd const& design,
                          std::vector<std::string> const& names);

} // namespace scan

#endif
