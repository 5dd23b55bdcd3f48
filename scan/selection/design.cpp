#include "scan/selection/design.h"

#include "scan/error.h"

#include <Eigen/QR>

#include <algorithm>
#include <cmath>

namespace scan {

namespace {

// A standardised column of which less than this share of its length is its own is collinear.
constexpr double RANK_TOLERANCE = 1e-7;
constexpr std::size_t MOST_COLUMNS = 1000;

struct column {
    std::string name;
    Eigen::VectorXd values;
    double unit = 1, mean = 0;
};

// Values of the used subjects.
Eigen::VectorXd values_of(covariate const& c, std::vector<std::uint32_t> const& subjects) {
    Eigen::VectorXd values(static_cast<Eigen::Index>(subjects.size()));
    for (std::size_t s = 0; s < subjects.size(); ++s)
        values[static_cast<Eigen::Index>(s)] = c.values[subjects[s]];
    return values;
}

// Columns of 0 and 1 for the levels but the most frequent one; the levels with counts as a line.
void add_levels(covariate const& c, Eigen::VectorXd const& values, std::vector<column>& columns,
                null_design& design) {
    std::vector<Eigen::Index> counts;
    std::string line = c.name + ":";
    for (std::size_t l = 0; l < c.levels.size(); ++l) {
        counts.push_back((values.array() == static_cast<double>(l)).count());
        line += (l == 0 ? " " : ", ") + c.levels[l] + " " + std::to_string(counts.back());
    }
    design.levels.push_back(line);
    std::size_t const base =
        static_cast<std::size_t>(std::max_element(counts.begin(), counts.end()) - counts.begin());
    bool const is_constant = counts[base] == values.size();
    if (is_constant) design.constant.push_back(c.name);
    for (std::size_t l = 0; l < c.levels.size() && !is_constant; ++l)
        if (l != base && counts[l] > 0)
            columns.push_back({c.name + "=" + c.levels[l],
                               (values.array() == static_cast<double>(l)).cast<double>()});
}

// Mean 0 and standard deviation 1.
void standardise(column& c) {
    // Scaled before and after, so that sums and squares of any numbers stay finite.
    double const largest = c.values.cwiseAbs().maxCoeff();
    c.values /= largest;
    double const mean = c.values.mean();
    c.values.array() -= mean;
    c.mean = largest * mean;
    double const widest = c.values.cwiseAbs().maxCoeff();
    c.values /= widest;
    double const deviation =
        std::sqrt(c.values.squaredNorm() / static_cast<double>(c.values.size()));
    c.values /= deviation;
    c.unit = largest * widest * deviation;
}

// Of standardised columns those that the ones before them do not determine, by Gram and Schmidt, each
// step twice against rounding. The triangle R of the whole matrix has the same lengths and products
// of columns, and few rows.
std::vector<Eigen::Index> independent_columns(Eigen::MatrixXd X) {
    if (X.cols() == 0) return {};
    Eigen::Index const p = std::min(X.rows(), X.cols());
    Eigen::HouseholderQR<Eigen::Ref<Eigen::MatrixXd>> const whole(X);
    Eigen::MatrixXd const R = whole.matrixQR().topRows(p).template triangularView<Eigen::Upper>();
    Eigen::MatrixXd Q(p, p);
    std::vector<Eigen::Index> kept;
    for (Eigen::Index j = 0, n = 0; j < R.cols() && n < p; ++j) {
        Eigen::VectorXd own = R.col(j);
        for (int pass = 0; pass < 2; ++pass)
            own -= Q.leftCols(n) * (Q.leftCols(n).transpose() * own);
        if (own.norm() <= RANK_TOLERANCE * R.col(j).norm()) continue;
        Q.col(n++) = own.normalized();
        kept.push_back(j);
    }
    return kept;
}

} // namespace

null_design make_design(std::vector<covariate> const& covariates,
                        std::vector<std::uint32_t> const& subjects) {
    null_design design;
    std::vector<column> columns;
    for (covariate const& c : covariates) {
        Eigen::VectorXd const values = values_of(c, subjects);
        if (!c.levels.empty())
            add_levels(c, values, columns, design);
        else if (values.minCoeff() == values.maxCoeff())
            design.constant.push_back(c.name);
        else
            columns.push_back({c.name, values});
    }

    if (columns.size() > MOST_COLUMNS)
        throw failure(no_fit, "The covariates make " + std::to_string(columns.size()) +
                                  " columns, where " + std::to_string(MOST_COLUMNS) +
                                  " are the most. Choose fewer, or categories of fewer levels.");
    Eigen::Index const n = static_cast<Eigen::Index>(subjects.size());
    Eigen::MatrixXd X(n, static_cast<Eigen::Index>(columns.size()));
    for (Eigen::Index j = 0; j < X.cols(); ++j) {
        standardise(columns[static_cast<std::size_t>(j)]);
        X.col(j) = columns[static_cast<std::size_t>(j)].values;
    }
    std::vector<Eigen::Index> const kept = independent_columns(X);
    design.columns.resize(n, 1 + static_cast<Eigen::Index>(kept.size()));
    design.columns.col(0).setOnes();
    design.names = {"intercept"};
    design.units = {1};
    design.means = {0};
    for (Eigen::Index j = 0, next = 1; j < X.cols(); ++j) {
        column const& c = columns[static_cast<std::size_t>(j)];
        if (std::find(kept.begin(), kept.end(), j) == kept.end()) {
            design.collinear.push_back(c.name);
            continue;
        }
        design.columns.col(next++) = X.col(j);
        design.names.push_back(c.name);
        design.units.push_back(c.unit);
        design.means.push_back(c.mean);
    }
    return design;
}

} // namespace scan
