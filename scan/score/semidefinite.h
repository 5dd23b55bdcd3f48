// Positive semidefinite matrices and what is solved with them.
#ifndef QUILMAR_SCAN_SCORE_SEMIDEFINITE_H
#define QUILMAR_SCAN_SCORE_SEMIDEFINITE_H

#include <Eigen/Eigenvalues>

namespace scan {

// Share of a variance, or of the largest eigenvalue, below which nothing but rounding is left.
constexpr double RANK_TOLERANCE = 1e-7;

// A positive semidefinite matrix A = E diag(l) E' with the eigenvalues that are not 0. Used again for
// matrices of the same size it does not allocate.
class semidefinite {
  public:
    // Takes the lower triangle of A.
    void compute(Eigen::MatrixXd const& A) {
        solver_.compute(A);
        Eigen::VectorXd const& l = solver_.eigenvalues(); // increasing
        for (rank_ = 0; rank_ < l.size() && l[l.size() - 1 - rank_] > tolerance(); ++rank_) {
        }
    }

    Eigen::Index rank() const { return rank_; }

    // R, rank x size, with R'R = A^-.
    auto whitening() const {
        return solver_.eigenvalues().tail(rank_).cwiseSqrt().cwiseInverse().asDiagonal() *
               solver_.eigenvectors().rightCols(rank_).transpose();
    }

  private:
    Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver_;
    Eigen::Index rank_ = 0;

    double tolerance() const {
        return RANK_TOLERANCE * solver_.eigenvalues()[solver_.eigenvalues().size() - 1];
    }
};

} // namespace scan

#endif
