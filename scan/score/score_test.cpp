// Score test of the haplotypes of a window (Schaid DJ, Rowland CM, Tines DE, Jacobson RM, Poland GA,
// American Journal of Human Genetics 70 (2002) 425-434). With x_i the expected copies of the tested
// haplotypes given the genotype of subject i, and r, w, Z of the null model:
//
//   U = X'r - X'WZ (Z'WZ)^- Z'r          V = X'WX - X'WZ (Z'WZ)^- Z'WX
//   z_h = U_h / sqrt(V_hh)               chi-square = U'V^-U, rank of V degrees of freedom
//
// U and V of the chi-square are those of the tested haplotypes but the most frequent one. Without
// covariates r_i = y_i - mu and w = mu (1 - mu), so that of n subjects with n_1 cases
//
//   U = X'y - X'1 n_1 / n                V = w (X'X - X'1 1'X / n)
#include "scan/score/score_test.h"

#include "scan/score/tails.h"
#include "scan/score/window.h"

#include "numeric/cholesky.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>

namespace scan {

namespace {

// Of the subjects, below which a group is small beside the other.
constexpr double SMALL_GROUP = 0.25;
// Of |z|, up to which a p-value is the normal one.
constexpr double NORMAL_Z = 2;

// u'A^-1 u of a correlation matrix A (lower triangle, lost) if A certainly has full rank, else a
// negative number. The smallest eigenvalue is at least 1 over the trace of A^-1, which is the sum of
// squares of the inverse factor, and the largest one at most the trace of A.
double full_rank_form(double* A, std::vector<double> const& u) {
    auto const n = static_cast<unsigned>(u.size());
    if (cholesky_decomp(A, n) != CHOLESKY_SUCCESS) return -1;
    cholesky_invert_factor(A, n);
    double trace = 0, form = 0;
    for (unsigned i = 0; i < n; ++i) {
        double whitened = 0;
        for (unsigned k = 0; k <= i; ++k) {
            whitened += A[i * n + k] * u[k];
            trace += A[i * n + k] * A[i * n + k];
        }
        form += whitened * whitened;
    }
    return trace * n * RANK_TOLERANCE < 1 ? form : -1;
}

} // namespace

bool uses_saddlepoint(saddlepoint_use use, null_model const& model) {
    auto const n = static_cast<double>(model.is_case.size()),
               cases =
                   static_cast<double>(std::count(model.is_case.begin(), model.is_case.end(), 1));
    return use == saddlepoint_use::on ||
           (use == saddlepoint_use::automatic && std::min(cases, n - cases) < SMALL_GROUP * n);
}

score_test::score_test(null_model const& model, saddlepoint_use use)
    : model_(model), uses_saddlepoint_(uses_saddlepoint(use, model)), window_(model),
      terms_(model, window_) {}

score_test::matrix score_test::variance() {
    auto const n = static_cast<Eigen::Index>(n_tested_);
    return {variance_.data(), n, n};
}

error_code score_test::run(genotype_table const& table, frequency_estimate const& estimate,
                           std::vector<std::size_t> const& tested, window_row& row) {
    n_tested_ = tested.size();
    compute_copies(table, estimate, tested);
    count_copies(table, row);
    if (!window_.settle(table, copies_.data(), n_tested_)) return error_code::separated;
    score_.assign(n_tested_, 0.0);
    variance_.assign(n_tested_ * n_tested_, 0.0);
    if (model_.n_columns() == 1)
        sum_without_covariates(table);
    else
        sum_with_covariates(table);
    drop_explained();
    test_haplotypes(row);
    if (!test_window(row)) return error_code::one_haplotype;
    if (uses_saddlepoint_) {
        approximate_tails(table, row);
        combine(row);
    }
    return error_code::none;
}

// Copies of the tested haplotypes that a chromosome with a side is expected to carry.
void score_test::expect_on_sides(frequency_estimate const& estimate,
                                 std::vector<std::size_t> const& tested) {
    phases const& list = estimate.list();
    std::size_t const n_sums = list.n_sums(), K = n_tested_;
    side_copies_.assign((n_sums + list.n_haplotypes()) * K, 0.0);
    for (std::size_t t = 0; t < K; ++t)
        side_copies_[(n_sums + tested[t]) * K + t] = 1;
    auto const copies = [&](phases::side s) {
        return side_copies_.data() +
               (static_cast<std::ptrdiff_t>(n_sums) + s) * static_cast<std::ptrdiff_t>(K);
    };
    for (std::size_t i = 0; i < n_sums; ++i) {
        auto const [a, b] = list.sums[i];
        double const v_a = estimate.at_maximum().value(a), v_b = estimate.at_maximum().value(b);
        if (v_a + v_b == 0) continue;
        double const share = v_a / (v_a + v_b);
        double* const sum = copies(-1 - static_cast<phases::side>(i));
        for (std::size_t t = 0; t < K; ++t)
            sum[t] = share * copies(a)[t] + (1 - share) * copies(b)[t];
    }
}

void score_test::compute_copies(genotype_table const& table, frequency_estimate const& estimate,
                                std::vector<std::size_t> const& tested) {
    expect_on_sides(estimate, tested);
    phases const& list = estimate.list();
    std::size_t const K = n_tested_, n_sums = list.n_sums();
    auto const value = [&](phases::side s) { return estimate.at_maximum().value(s); };
    auto const copies = [&](phases::side s) {
        return side_copies_.data() +
               (static_cast<std::ptrdiff_t>(n_sums) + s) * static_cast<std::ptrdiff_t>(K);
    };
    copies_.assign(table.genotypes.size() * K, 0.0);
    for (std::size_t g = 0; g < table.genotypes.size(); ++g) {
        double total = 0;
        for (std::uint32_t k = list.begin[g]; k < list.begin[g + 1]; ++k)
            total += value(list.pairs[k].first) * value(list.pairs[k].second);
        double* const x = copies_.data() + g * K;
        for (std::uint32_t k = list.begin[g]; k < list.begin[g + 1]; ++k) {
            auto const [a, b] = list.pairs[k];
            double const share = value(a) * value(b) / total;
            for (std::size_t t = 0; t < K; ++t)
                x[t] += share * (copies(a)[t] + copies(b)[t]);
        }
    }
}

void score_test::count_copies(genotype_table const& table, window_row& row) const {
    for (haplotype_row& h : row.haplotypes)
        h.case_count = h.control_count = 0;
    for (std::size_t g = 0; g < table.genotypes.size(); ++g)
        for (std::size_t t = 0; t < n_tested_; ++t) {
            double const x = copies_[g * n_tested_ + t];
            row.haplotypes[t].case_count += x * table.genotypes[g].cases;
            row.haplotypes[t].control_count += x * table.genotypes[g].controls;
        }
    for (haplotype_row& h : row.haplotypes) {
        h.case_freq = h.case_count / (2.0 * row.cases);
        h.control_freq = h.control_count / (2.0 * row.controls);
    }
}

// To U, and to the lower triangle of V.
void score_test::add(double const* x, double residual, double weight) {
    for (std::size_t h = 0; h < n_tested_; ++h) {
        score_[h] += residual * x[h];
        double const weighted = weight * x[h];
        for (std::size_t k = 0; k <= h; ++k)
            variance_[h * n_tested_ + k] += weighted * x[k];
    }
}

void score_test::sum_without_covariates(genotype_table const& table) {
    double const n = table.n_subjects, case_share = window_.case_share(),
                 weight = case_share * (1 - case_share);
    covariance_.assign(n_tested_, 0.0);
    for (std::size_t g = 0; g < table.genotypes.size(); ++g) {
        double const cases = table.genotypes[g].cases, all = cases + table.genotypes[g].controls;
        double const* const x = copies_.data() + g * n_tested_;
        add(x, cases - case_share * all, weight * all);
        for (std::size_t h = 0; h < n_tested_; ++h)
            covariance_[h] += all * x[h];
    }
    total_.resize(n_tested_);
    for (std::size_t h = 0; h < n_tested_; ++h) {
        total_[h] = variance_[h * n_tested_ + h];
        for (std::size_t k = 0; k <= h; ++k) {
            double& v = variance_[h * n_tested_ + k];
            v -= weight * covariance_[h] * covariance_[k] / n;
            variance_[k * n_tested_ + h] = v;
        }
    }
}

void score_test::sum_with_covariates(genotype_table const& table) {
    auto const sums = window_.sums();
    auto const c = static_cast<std::size_t>(model_.n_columns());
    covariance_.assign(n_tested_ * c, 0.0);
    for (std::size_t g = 0; g < table.genotypes.size(); ++g) {
        auto const row = sums.row(static_cast<Eigen::Index>(g));
        double const* const x = copies_.data() + g * n_tested_;
        add(x, row[null_model::RESIDUAL], row[null_model::WEIGHT]);
        double const* const q = row.data() + null_model::FIRST_COVARIATE;
        for (std::size_t h = 0; h < n_tested_; ++h)
            for (std::size_t j = 0; j < c; ++j)
                covariance_[h * c + j] += x[h] * q[j];
    }
    total_.resize(n_tested_);
    for (std::size_t h = 0; h < n_tested_; ++h) {
        total_[h] = variance_[h * n_tested_ + h];
        for (std::size_t k = 0; k < h; ++k)
            variance_[k * n_tested_ + h] = variance_[h * n_tested_ + k];
    }
    subtract_projection();
}

// Takes out the covariates' part.
void score_test::subtract_projection() {
    matrix const covariance(covariance_.data(), static_cast<Eigen::Index>(n_tested_),
                            model_.n_columns());
    if (window_.has_all_subjects()) {
        variance().noalias() -= covariance.lazyProduct(covariance.transpose());
        return;
    }
    explained_.noalias() = window_.whitening() * covariance.transpose();
    variance().noalias() -= explained_.transpose() * explained_;
    score().noalias() -= covariance * window_.step();
}

// A haplotype whose copies the covariates explain has zeros.
void score_test::drop_explained() {
    for (std::size_t h = 0; h < n_tested_; ++h) {
        if (variance_[h * n_tested_ + h] > RANK_TOLERANCE * total_[h]) continue;
        score_[h] = 0;
        variance().row(static_cast<Eigen::Index>(h)).setZero();
        variance().col(static_cast<Eigen::Index>(h)).setZero();
    }
}

void score_test::test_haplotypes(window_row& row) {
    for (std::size_t h = 0; h < n_tested_; ++h) {
        double const v = variance_[h * n_tested_ + h];
        if (v == 0) continue;
        row.haplotypes[h].z = score_[h] / std::sqrt(v);
        row.haplotypes[h].log_p = log_p_two_sided(row.haplotypes[h].z);
        row.haplotypes[h].type = p_type::normal;
    }
}

// Omnibus test, in correlation form.
bool score_test::test_window(window_row& row) {
    std::size_t const n = n_tested_ - 1; // the first is the most frequent haplotype
    double const* const first = variance_.data() + n_tested_ + 1;
    scale_.resize(n), scaled_.resize(n), correlation_.resize(n * n);
    for (std::size_t h = 0; h < n; ++h) {
        double const v = first[h * n_tested_ + h];
        scale_[h] = v > 0 ? 1 / std::sqrt(v) : 0;
        scaled_[h] = score_[h + 1] * scale_[h];
        for (std::size_t k = 0; k <= h; ++k)
            correlation_[h * n + k] = first[h * n_tested_ + k] * scale_[h] * scale_[k];
    }
    factor_ = correlation_;
    row.df = static_cast<unsigned>(n);
    row.chisq = full_rank_form(factor_.data(), scaled_);
    if (row.chisq < 0) {
        auto const size = static_cast<Eigen::Index>(n);
        semidefinite A;
        A.compute(matrix(correlation_.data(), size, size));
        if (A.rank() == 0) return false;
        row.df = static_cast<unsigned>(A.rank());
        row.chisq = (A.whitening() * vector(scaled_.data(), size)).squaredNorm();
    }
    row.log_p = log_p_chi_square(row.chisq, row.df);
    row.type = p_type::chi_square;
    return true;
}

void score_test::approximate_tails(genotype_table const& table, window_row& row) {
    std::size_t const c = covariance_.size() / n_tested_;
    for (std::size_t h = 0; h < n_tested_; ++h) {
        haplotype_row& haplotype = row.haplotypes[h];
        if (!(std::fabs(haplotype.z) > NORMAL_Z)) continue;
        double const variance = variance_[h * n_tested_ + h];
        score_terms const& terms = terms_.collect(table, {copies_.data() + h, n_tested_},
                                                  covariance_.data() + h * c, variance);
        auto const log_p = saddlepoint_log_p(terms, score_[h], variance);
        if (log_p)
            haplotype.log_p = *log_p, haplotype.type = p_type::saddlepoint;
        else
            ++row.n_no_saddle_point;
    }
}

void score_test::combine(window_row& row) {
    log_p_.clear();
    for (haplotype_row const& h : row.haplotypes)
        if (!std::isnan(h.log_p)) log_p_.push_back(h.log_p);
    row.log_p = log_p_cauchy(log_p_);
    row.type = p_type::cauchy;
}

} // namespace scan
