#include "scan/score/score_rows.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace scan {

namespace {

constexpr std::size_t LANES = 4;
constexpr double LARGEST = 2147483647.0, EXACT = 9007199254740992.0; // 2^31 - 1, 2^53

using whole_numbers = std::int32_t __attribute__((vector_size(LANES * sizeof(std::int32_t))));
using numbers = double __attribute__((vector_size(LANES * sizeof(double))));

template <std::size_t GROUPS>
void add_rows(std::int32_t const* row, std::size_t n, std::uint32_t const* cell, double* sums) {
    for (std::size_t i = 0; i < n; ++i) {
        double* sum = sums + cell[i] * GROUPS * LANES;
        for (std::size_t g = 0; g < GROUPS; ++g, row += LANES, sum += LANES) {
            whole_numbers x;
            numbers y;
            std::memcpy(&x, row, sizeof x);
            std::memcpy(&y, sum, sizeof y);
            y += __builtin_convertvector(x, numbers);
            std::memcpy(sum, &y, sizeof y);
        }
    }
}

} // namespace

score_rows::score_rows(std::size_t n_subjects, std::size_t n_columns)
    : width_((n_columns + LANES - 1) / LANES * LANES), units_(n_columns, 1.0),
      rows_(n_subjects * width_) {}

void score_rows::set(std::size_t column, Eigen::VectorXd const& values) {
    double const largest =
                     std::min(LARGEST, std::floor(EXACT / static_cast<double>(values.size()))),
                 unit = values.cwiseAbs().maxCoeff() / largest;
    if (unit == 0) return;
    units_[column] = unit;
    // What rounding leaves goes to the next subject, so that the whole column's sum keeps: where it is
    // 0, two haplotypes that share all copies have opposite scores.
    double rest = 0;
    for (Eigen::Index i = 0; i < values.size(); ++i) {
        double const value = values[i] / unit + rest,
                     rounded = std::min(std::round(value), LARGEST);
        rest = value - rounded;
        rows_[static_cast<std::size_t>(i) * width_ + column] = static_cast<std::int32_t>(rounded);
    }
}

void score_rows::add(std::size_t first, std::size_t n, std::uint32_t const* cell,
                     double* sums) const {
    std::int32_t const* const row = rows_.data() + first * width_;
    switch (width_ / LANES) {
    case 1: return add_rows<1>(row, n, cell, sums);
    case 2: return add_rows<2>(row, n, cell, sums);
    case 3: return add_rows<3>(row, n, cell, sums);
    case 4: return add_rows<4>(row, n, cell, sums);
    }
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t c = 0; c < width_; ++c)
            sums[cell[i] * width_ + c] += row[i * width_ + c];
}

} // namespace scan
