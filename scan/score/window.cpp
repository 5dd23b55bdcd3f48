// Score test of the haplotypes of a window (Schaid DJ, Rowland CM, Tines DE, Jacobson RM, Poland GA,
// American Journal of Human Genetics 70 (2002) 425-434). With x_i the expected copies of the tested
// haplotypes given the genotype of subject i, and r, w, Z of the null model:
//
//   U = X'r - X'WZ (Z'WZ)^- Z'r          V = X'WX - X'WZ (Z'WZ)^- Z'WX
//   z_h = U_h / sqrt(V_hh)               chi-square = U'V^-U, rank of V degrees of freedom
//
// U and V of the chi-square are those of the tested haplotypes but the most frequent one.
#include "scan/score/window.h"

#include "scan/score/tails.h"

#include <Eigen/Eigenvalues>

#include <algorithm>
#include <cmath>
#include <utility>

namespace scan {

namespace {

// Share of a variance, or of the largest eigenvalue, below which nothing but rounding is left.
constexpr double RANK_TOLERANCE = 1e-7;

// Of a logarithm of a p-value, within which two are the same. Two haplotypes that share all copies
// have equal ones but for rounding; the more frequent is then the top.
constexpr double TIE = 1e-9;

// A positive semidefinite matrix A = E diag(l) E' with the eigenvalues that are not 0.
class semidefinite {
  public:
    explicit semidefinite(Eigen::MatrixXd const& A) : solver_(A) {
        Eigen::VectorXd const& l = solver_.eigenvalues(); // increasing
        while (rank_ < l.size() && l[l.size() - 1 - rank_] > RANK_TOLERANCE * l[l.size() - 1])
            ++rank_;
    }

    Eigen::Index rank() const { return rank_; }

    // R with R'R = B'A^-B.
    Eigen::MatrixXd whiten(Eigen::MatrixXd const& B) const {
        return solver_.eigenvalues().tail(rank_).cwiseSqrt().cwiseInverse().asDiagonal() *
               (solver_.eigenvectors().rightCols(rank_).transpose() * B);
    }

  private:
    Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver_;
    Eigen::Index rank_ = 0;
};

// Leaves the counts of subjects alone.
void fail(error_code code, window_row& result) {
    window_row row;
    row.obs = result.obs;
    row.cases = result.cases;
    row.controls = result.controls;
    row.code = code;
    result = std::move(row);
}

} // namespace

std::string text(error_code code) {
    switch (code) {
    case error_code::none: return ".";
    case error_code::one_haplotype: return "ONE_HAPLOTYPE";
    case error_code::no_subjects: return "NO_SUBJECTS";
    case error_code::one_group: return "ONE_GROUP";
    case error_code::too_many_snps: return "TOO_MANY_SNPS";
    case error_code::too_long: return "TOO_LONG";
    case error_code::em_maxiter: return "EM_MAXITER";
    }
    return ".";
}

window_test::window_test(null_model const& model, genotype_table const& table,
                         window_settings const& settings)
    : model_(model), settings_(settings), table_(table) {}

void window_test::run(window_row& result) {
    result = window_row{};
    error_code const code = count(result);
    if (code != error_code::none) return fail(code, result);
    if (!estimate_frequencies(table_.genotypes, table_.n_snps, frequencies_))
        return fail(error_code::em_maxiter, result);
    choose_haplotypes(result);
    if (bits_.size() < 2) return fail(error_code::one_haplotype, result);
    compute_copies(result);
    compute_score();
    test_haplotypes(result);
    test_window(result);
}

// The subjects used.
error_code window_test::count(window_row& result) const {
    result.obs = table_.n_subjects;
    result.cases = table_.n_cases;
    result.controls = table_.n_subjects - table_.n_cases;
    if (result.obs == 0) return error_code::no_subjects;
    if (result.cases == 0 || result.controls == 0) return error_code::one_group;
    return error_code::none;
}

// The choice depends on the genotypes and the sizes of the groups, not on who is a case.
void window_test::choose_haplotypes(window_row& result) {
    double const least =
        std::max(settings_.min_hap_freq,
                 settings_.min_hap_copies / (2.0 * std::min(result.cases, result.controls)));
    bits_.clear();
    result.rare_freq = 0;
    for (std::size_t h = 0; h < frequencies_.size(); ++h)
        if (frequencies_[h] >= least)
            bits_.push_back(static_cast<std::uint32_t>(h));
        else
            result.rare_freq += frequencies_[h];
    std::stable_sort(bits_.begin(), bits_.end(), [this](std::uint32_t a, std::uint32_t b) {
        return frequencies_[a] > frequencies_[b];
    });
}

void window_test::compute_copies(window_row& result) {
    std::vector<genotype_count> const& genotypes = table_.genotypes;
    auto const G = static_cast<Eigen::Index>(genotypes.size());
    auto const K = static_cast<Eigen::Index>(bits_.size());
    copies_.resize(G, K);
    Eigen::VectorXd cases(G), controls(G);
    for (Eigen::Index i = 0; i < G; ++i) {
        genotype_count const& g = genotypes[static_cast<std::size_t>(i)];
        expected_.compute(g, frequencies_, bits_, copies_.row(i).data());
        cases[i] = g.cases;
        controls[i] = g.controls;
    }
    result.n_haplotypes = static_cast<unsigned>(K);
    result.haplotypes.resize(bits_.size());
    for (Eigen::Index h = 0; h < K; ++h) {
        haplotype_row& row = result.haplotypes[static_cast<std::size_t>(h)];
        row.bits = bits_[static_cast<std::size_t>(h)];
        row.freq = frequencies_[row.bits];
        row.case_count = copies_.col(h).dot(cases);
        row.control_count = copies_.col(h).dot(controls);
        row.case_freq = row.case_count / (2.0 * result.cases);
        row.control_freq = row.control_count / (2.0 * result.controls);
    }
}

// U and V of all tested haplotypes; a haplotype whose copies the covariates explain has zeros.
void window_test::compute_score() {
    auto const sums = table_.sums();
    auto const weights = sums.col(null_model::WEIGHT);
    score_ = copies_.transpose() * sums.col(null_model::RESIDUAL);
    variance_ = copies_.transpose() * weights.asDiagonal() * copies_;
    Eigen::VectorXd const total = variance_.diagonal();
    subtract_projection(copies_.transpose() * sums.rightCols(model_.n_columns()));
    for (Eigen::Index h = 0; h < total.size(); ++h)
        if (variance_(h, h) <= RANK_TOLERANCE * total[h]) {
            score_[h] = 0;
            variance_.row(h).setZero();
            variance_.col(h).setZero();
        }
}

// Takes out the covariates' part, where `covariance` is X'WQ. Over all subjects Q'WQ = I and
// Q'r = 0; those that are left out of the window are taken from both.
void window_test::subtract_projection(Eigen::MatrixXd const& covariance) {
    Eigen::Index const c = model_.n_columns();
    Eigen::MatrixXd information = Eigen::MatrixXd::Identity(c, c);
    Eigen::VectorXd covariate_score = Eigen::VectorXd::Zero(c);
    if (!model_.has_covariates()) {
        auto const sums = table_.sums();
        double const q = model_.subjects(0, null_model::FIRST_COVARIATE);
        information(0, 0) = q * sums.col(null_model::FIRST_COVARIATE).sum();
        covariate_score[0] = q * sums.col(null_model::RESIDUAL).sum();
    } else if (table_.left_out.empty()) {
        variance_ -= covariance * covariance.transpose();
        return;
    }
    for (std::uint32_t const i : table_.left_out) {
        auto const subject = model_.subjects.row(i);
        auto const q = subject.tail(c);
        information -= subject[null_model::WEIGHT] * q.transpose() * q;
        covariate_score -= subject[null_model::RESIDUAL] * q.transpose();
    }
    semidefinite const kept(information);
    Eigen::MatrixXd const part = kept.whiten(covariance.transpose());
    variance_ -= part.transpose() * part;
    score_ -= part.transpose() * kept.whiten(covariate_score);
}

void window_test::test_haplotypes(window_row& result) const {
    unsigned tests = 0;
    for (Eigen::Index h = 0; h < score_.size(); ++h) {
        if (variance_(h, h) == 0) continue;
        haplotype_row& row = result.haplotypes[static_cast<std::size_t>(h)];
        row.z = score_[h] / std::sqrt(variance_(h, h));
        row.log_p = log_p_two_sided(row.z);
        if (tests++ == 0 || row.log_p < result.top.log_p - TIE * (1 - result.top.log_p))
            result.top = row;
    }
    if (tests > 0) result.top_log_p_bonferroni = std::min(0.0, result.top.log_p + std::log(tests));
}

// Omnibus test, in correlation form.
void window_test::test_window(window_row& result) const {
    Eigen::Index const columns = score_.size() - 1; // the first is the most frequent haplotype
    Eigen::VectorXd const scale = variance_.diagonal().tail(columns).unaryExpr(
        [](double v) { return v > 0 ? 1 / std::sqrt(v) : 0.0; });
    semidefinite const correlation(
        scale.asDiagonal() * variance_.bottomRightCorner(columns, columns) * scale.asDiagonal());
    if (correlation.rank() == 0) return fail(error_code::one_haplotype, result);
    result.df = static_cast<unsigned>(correlation.rank());
    result.chisq = correlation.whiten(scale.cwiseProduct(score_.tail(columns))).squaredNorm();
    result.log_p = log_p_chi_square(result.chisq, result.df);
}

} // namespace scan
