// How far the step d moves a chi-square (notation of the header). To first order V_hh grows by the
// factor 1 + v_h, v_h being the mean of t delta with the weights w x~^2, where x~ is what the
// covariates leave of x_h. With t = T + (t - T), T the run's mean, and x~ about x less its mean,
//
//   v_h = T sum over genotypes of x~^2 (sum of w q)'d / V_hh  +  mean of (t - T) delta
//
// Of these the first is known from the sums by genotype. The second is at most the root mean square of
// (t - T) delta where subjects with large x~^2 are not chosen by it. To second order w changes by
// (1 - 6 w) delta^2 / 2, at most by half of delta^2. What the score lacks moves a z of at least 1, and
// so chi-square, by at most sqrt(sum of w t^2 delta^4), about sqrt(mean of t^2) d'I d / sqrt(sum of w).
#include "scan/score/window_model.h"

#include <algorithm>
#include <cmath>

namespace scan {

namespace {

constexpr double MOST_CHANGE = 1e-3; // of a chi-square, for which no model is fitted
// Subjects between two updates of the information.
constexpr Eigen::Index TILE_SUBJECTS = 256;
// Where covariates separate some of the subjects, each iteration adds about 1 to their log odds, and
// they have no weight left after some 30; the others need about 5.
constexpr unsigned MAX_ITERATIONS = 100;
// Of the mean square of the last step's changes of log odds, which the score takes in as well.
constexpr double TOLERANCE = 1e-14;
constexpr double SMALL_STEP = 0.01; // mean square from which on a step may overshoot

double odds(bool is_case, double residual) {
    return is_case ? (1 - residual) / residual : -residual / (1 + residual);
}

} // namespace

window_model::window_model(null_model const& run) : run_(run) {
    Eigen::Index const c = run.n_columns();
    information_.resize(c, c);
    score_.resize(c), step_.resize(c), shift_.resize(c);
    weighted_.resize(TILE_SUBJECTS, c);
}

bool window_model::settle(genotype_table const& table, double const* copies, std::size_t n_copies) {
    table_ = &table;
    is_refitted_ = false;
    has_all_ = static_cast<Eigen::Index>(table.n_subjects) == run_.n_subjects();
    if (has_all_ || !run_.has_covariates()) return true;
    take_out(table.left_out);
    solve();
    return largest_change(copies, n_copies) < MOST_CHANGE || refit();
}

Eigen::Map<row_major_matrix const> window_model::sums() const {
    if (!is_refitted_) return table_->sums();
    return {sums_.data(), static_cast<Eigen::Index>(table_->genotypes.size()),
            run_.subjects.cols()};
}

double window_model::log_odds_change(std::size_t subject, Eigen::VectorXd const& by) const {
    return Eigen::Map<Eigen::VectorXd const>(q(subject), by.size()).dot(by);
}

double window_model::probability(std::size_t subject) const {
    if (!run_.has_covariates()) return case_share();
    bool const is_case = run_.is_case[subject] != 0;
    double const residual = row(subject)[null_model::RESIDUAL];
    if (!is_refitted_) return is_case - residual;
    return 1 / (1 + 1 / (odds(is_case, residual) * std::exp(log_odds_change(subject, shift_))));
}

// Over all subjects of the run Q'WQ = I and Q'r = 0; those who are left out are taken from both.
void window_model::take_out(std::vector<std::uint32_t> const& subjects) {
    Eigen::Index const c = run_.n_columns();
    information_.setIdentity();
    score_.setZero();
    weight_ = run_.total_weight;
    for (std::uint32_t const i : subjects) {
        double const* const subject = row(i);
        Eigen::Map<Eigen::VectorXd const> const q_i(subject + null_model::FIRST_COVARIATE, c);
        information_.selfadjointView<Eigen::Lower>().rankUpdate(q_i, -subject[null_model::WEIGHT]);
        score_ -= subject[null_model::RESIDUAL] * q_i;
        weight_ -= subject[null_model::WEIGHT];
    }
}

void window_model::solve() {
    decomposition_.compute(information_);
    whitening_ = decomposition_.whitening();
    work_.noalias() = whitening_ * score_;
    step_.noalias() = whitening_.transpose() * work_;
}

// Of the changes delta, weighted; d'I d = d'(sum of r q).
double window_model::mean_square_step() const {
    return step_.dot(score_) / weight_;
}

// Sum of w ((t - T) delta)^2, of all subjects of the run.
double window_model::spread_change() {
    work_.noalias() = run_.slope_spread.selfadjointView<Eigen::Lower>() * step_;
    return step_.dot(work_);
}

double window_model::largest_change(double const* copies, std::size_t n_copies) {
    double const mean_square = mean_square_step(), T = run_.mean_slope,
                 spread = spread_change() / weight_,
                 slope = std::sqrt(T * T + run_.slope_spread(0, 0)); // the first q is constant
    return shift_of_variances(copies, n_copies) + std::sqrt(spread) + mean_square / 2 +
           slope * mean_square * std::sqrt(weight_);
}

// The largest of what is known of the v_h.
double window_model::shift_of_variances(double const* copies, std::size_t n_copies) const {
    auto const rows = table_->sums();
    double largest = 0;
    for (std::size_t h = 0; h < n_copies; ++h) {
        double w = 0, wx = 0, wxx = 0, d = 0, dx = 0, dxx = 0;
        for (Eigen::Index g = 0; g < rows.rows(); ++g) {
            double const x = copies[static_cast<std::size_t>(g) * n_copies + h],
                         weight = rows(g, null_model::WEIGHT),
                         change = rows.row(g).tail(step_.size()).dot(step_);
            w += weight, wx += weight * x, wxx += weight * x * x;
            d += change, dx += change * x, dxx += change * x * x;
        }
        double const mean = wx / w, variance = wxx - mean * wx;
        if (variance <= RANK_TOLERANCE * wxx) continue;
        largest = std::max(largest, std::abs(dxx - 2 * mean * dx + mean * mean * d) / variance);
    }
    return std::abs(run_.mean_slope) * largest;
}

// Newton's method from the run's b on. False without a maximum.
bool window_model::refit() {
    is_refitted_ = true;
    shift_.setZero();
    for (unsigned iterations = 0; iterations < MAX_ITERATIONS; ++iterations) {
        shift_ += damping() * step_;
        evaluate();
        solve();
        if (mean_square_step() < TOLERANCE) return true;
    }
    return false;
}

// Share of the step that certainly raises the likelihood: ln(1 + D) / D, D the largest |delta| (Bach
// 2010, Electronic Journal of Statistics 4, 384-414). 1 near the maximum.
double window_model::damping() const {
    if (mean_square_step() < SMALL_STEP) return 1;
    double largest = 0;
    for (std::size_t i = 0; i < run_.is_case.size(); ++i)
        if (table_->genotype_of(i) != genotype_table::NONE)
            largest = std::max(largest, std::abs(log_odds_change(i, step_)));
    return std::log1p(largest) / largest;
}

// All sums at the shifted b.
void window_model::evaluate() {
    auto const width = static_cast<std::size_t>(run_.subjects.cols());
    auto const c = static_cast<std::size_t>(run_.n_columns());
    sums_.assign(table_->genotypes.size() * width, 0.0);
    information_.setZero();
    score_.setZero();
    weight_ = 0;
    Eigen::Index n = 0;
    auto const update = [&] {
        information_.selfadjointView<Eigen::Lower>().rankUpdate(weighted_.topRows(n).transpose());
        n = 0;
    };
    for (std::size_t i = 0; i < run_.is_case.size(); ++i) {
        std::uint32_t const g = table_->genotype_of(i);
        if (g == genotype_table::NONE) continue;
        bool const is_case = run_.is_case[i] != 0;
        double const e = odds(is_case, row(i)[null_model::RESIDUAL]) *
                         std::exp(log_odds_change(i, shift_)),
                     mu = 1 / (1 + 1 / e), rest = 1 / (1 + e), r = is_case ? rest : -mu,
                     w = mu * rest, root = std::sqrt(w);
        double const* const q_i = q(i);
        double* const sum = sums_.data() + g * width;
        double* const weighted = weighted_.row(n).data();
        sum[null_model::RESIDUAL] += r;
        sum[null_model::WEIGHT] += w;
        for (std::size_t k = 0; k < c; ++k) {
            sum[null_model::FIRST_COVARIATE + k] += w * q_i[k];
            weighted[k] = root * q_i[k];
            score_[static_cast<Eigen::Index>(k)] += r * q_i[k];
        }
        weight_ += w;
        if (++n == TILE_SUBJECTS) update();
    }
    update();
}

} // namespace scan
