// Sums over the subjects of a genotype of what the score test needs of the null model: r, w and w q
// (see null_model), in whole numbers, so that they are the same in every order of addition.
#ifndef QUILMAR_SCAN_SCORE_SCORE_ROWS_H
#define QUILMAR_SCAN_SCORE_SCORE_ROWS_H

#include <Eigen/Core>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace scan {

using row_major_matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

// Values of a column are stored as multiples of a unit, 2^-31 of the largest. Their sums stay below
// 2^53 (above 4 million subjects the unit is larger), so doubles hold them exactly.
class score_rows {
  public:
    // A row per subject.
    score_rows(std::size_t n_subjects, std::size_t n_columns);
    void set(std::size_t column, Eigen::VectorXd const& values);

    // Numbers per row, of which those behind the columns are 0.
    std::size_t width() const { return width_; }
    // What a sum is to be multiplied by.
    double unit(std::size_t column) const { return units_[column]; }
    // Adds the row of subject first + i to the width() sums of cell[i], for n subjects.
    void add(std::size_t first, std::size_t n, std::uint32_t const* cell, double* sums) const;

  private:
    std::size_t width_ = 0;
    std::vector<double> units_;
    std::vector<std::int32_t> rows_;
};

} // namespace scan

#endif
