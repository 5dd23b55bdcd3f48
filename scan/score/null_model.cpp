// Newton's method for the logistic likelihood.
#include "scan/score/null_model.h"

#include "scan/error.h"

#include <Eigen/Cholesky>

#include <cmath>

namespace scan {

namespace {

// A regular fit takes five to ten. Under separation each iteration adds about 1 to the linear
// predictor of the separated subjects and would go on until their weights vanish.
constexpr unsigned MAX_ITERATIONS = 30;
// Of the largest change of a coefficient, in standard deviations of a covariate. Convergence is
// quadratic, so that the last step leaves an error of about its square.
constexpr double TOLERANCE = 1e-8;

struct logistic_fit {
    std::vector<std::uint8_t> const& y;
    Eigen::MatrixXd const& Z;
    Eigen::VectorXd b, residual, weight;

    // Residuals and weights for the coefficients b.
    void evaluate() {
        Eigen::VectorXd const eta = Z * b;
        for (Eigen::Index i = 0; i < eta.size(); ++i) {
            double const mu = 1 / (1 + std::exp(-eta[i]));
            residual[i] = y[static_cast<std::size_t>(i)] - mu;
            weight[i] = mu / (1 + std::exp(eta[i]));
        }
    }

    Eigen::LLT<Eigen::MatrixXd> information() const {
        return Eigen::LLT<Eigen::MatrixXd>(Z.transpose() * weight.asDiagonal() * Z);
    }
};

[[noreturn]] void fail(Eigen::VectorXd const& step, std::vector<std::string> const& names) {
    Eigen::Index worst = 0;
    if (step.size() > 1) step.tail(step.size() - 1).cwiseAbs().maxCoeff(&worst), ++worst;
    throw failure(no_fit,
                  "The regression of status on the covariates does not converge: covariate " +
                      names[static_cast<std::size_t>(worst)] +
                      " seems to separate cases from controls.\n"
                      "Leave it out, join its rare levels, or transform it.");
}

// total_weight, mean_slope and slope_spread, from `subjects` and is_case.
void set_slopes(null_model& model) {
    Eigen::Index const n = model.n_subjects(), c = model.n_columns();
    auto const weights = model.subjects.col(null_model::WEIGHT);
    Eigen::VectorXd slopes(n);
    for (Eigen::Index i = 0; i < n; ++i)
        slopes[i] = 1 - 2 * (model.is_case[static_cast<std::size_t>(i)] -
                             model.subjects(i, null_model::RESIDUAL));
    model.total_weight = weights.sum();
    model.mean_slope = weights.dot(slopes) / model.total_weight;
    model.slope_spread = Eigen::MatrixXd::Zero(c, c);
    for (Eigen::Index i = 0; i < n; ++i)
        model.slope_spread.selfadjointView<Eigen::Lower>().rankUpdate(
            model.subjects.row(i).tail(c).transpose(),
            weights[i] * std::pow(slopes[i] - model.mean_slope, 2));
}

} // namespace

null_model fit_null_model(std::vector<std::uint8_t> is_case, Eigen::MatrixXd const& design,
                          std::vector<std::string> const& names) {
    Eigen::Index const n = design.rows(), c = design.cols();
    logistic_fit fit{is_case, design, Eigen::VectorXd::Zero(c), Eigen::VectorXd(n),
                     Eigen::VectorXd(n)};
    fit.evaluate();
    null_model model;
    Eigen::VectorXd step = Eigen::VectorXd::Zero(c);
    bool converged = false;
    for (unsigned iterations = 0; !converged; ++iterations) {
        auto const information = fit.information();
        if (information.info() != Eigen::Success || iterations == MAX_ITERATIONS) fail(step, names);
        step = information.solve(design.transpose() * fit.residual);
        if (!step.allFinite()) fail(step, names);
        converged = step.cwiseAbs().maxCoeff() < TOLERANCE;
        fit.b += step;
        fit.evaluate();
    }

    auto const information = fit.information();
    model.coefficients = fit.b;
    model.standard_errors =
        information.solve(Eigen::MatrixXd::Identity(c, c)).diagonal().cwiseSqrt();
    model.subjects.resize(n, null_model::FIRST_COVARIATE + c);
    model.subjects.col(null_model::RESIDUAL) = fit.residual;
    model.subjects.col(null_model::WEIGHT) = fit.weight;
    model.subjects.rightCols(c) = information.matrixL().solve(design.transpose()).transpose();
    model.is_case = std::move(is_case);
    if (model.has_covariates()) {
        set_slopes(model);
        model.to_sum = score_rows(static_cast<std::size_t>(n), static_cast<std::size_t>(c + 1));
        model.to_sum.set(null_model::RESIDUAL, fit.residual);
        model.to_sum.set(null_model::WEIGHT, fit.weight);
        for (Eigen::Index k = 1; k < c; ++k)
            model.to_sum.set(
                static_cast<std::size_t>(null_model::FIRST_COVARIATE + k - 1),
                fit.weight.cwiseProduct(model.subjects.col(null_model::FIRST_COVARIATE + k)));
    }
    return model;
}

} // namespace scan
