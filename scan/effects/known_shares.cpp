// What the genotypes of a group tell of the effects, as a share of what seen haplotypes would. Where
// all calls of a SNP are missing in the cases, haplotypes that differ by it alone are told apart by
// the controls' deviation from equilibrium, and such an estimate is not normally distributed. With x
// the codes of a subject, whose pair is drawn given the genotype under the haplotypes' frequencies,
//
//   V = sum over the group of (E(x) - mean) (E(x) - mean)',   M = sum over the group of Var(x)
//   share of code k = ((V + M + d I)^-1)_kk / ((V + d I)^-1)_kk,   d = a hundredth of a copy
//
// By d a haplotype of which the group may have a trace at most is known not to be there.
#include "scan/effects/prospective.h"

#include <Eigen/Dense>

#include <cstddef>

namespace scan {

namespace {

constexpr double TRACE = 0.01; // d

// Sums over the subjects of a group.
struct code_moments {
    double subjects = 0;
    Eigen::VectorXd mean;             // E(x)
    Eigen::MatrixXd products, within; // E(x) E(x)' and Var(x)

    explicit code_moments(Eigen::Index n)
        : mean(Eigen::VectorXd::Zero(n)), products(Eigen::MatrixXd::Zero(n, n)),
          within(Eigen::MatrixXd::Zero(n, n)) {}

    void add(double n, Eigen::VectorXd const& m, Eigen::MatrixXd const& squares) {
        subjects += n;
        mean += n * m;
        products += n * m * m.transpose();
        within += n * (squares - m * m.transpose());
    }
    Eigen::ArrayXd shares() const {
        Eigen::MatrixXd const I = Eigen::MatrixXd::Identity(mean.size(), mean.size());
        Eigen::MatrixXd const V = products - mean * mean.transpose() / subjects + TRACE * I;
        Eigen::MatrixXd const known = V.llt().solve(I), seen = (V + within).llt().solve(I);
        return seen.diagonal().array() / known.diagonal().array();
    }
};

} // namespace

Eigen::ArrayXd prospective_likelihood::known_shares(double const* x) {
    set_parameters(x);
    Eigen::Index const n = n_codes_;
    code_moments cases(n), controls(n);
    for (std::size_t k = 0; k < genotypes_.size(); ++k) {
        Eigen::VectorXd mean = Eigen::VectorXd::Zero(n);
        Eigen::MatrixXd squares = Eigen::MatrixXd::Zero(n, n);
        for (std::size_t c = 0; c < genotypes_[k].codes.size(); ++c) {
            design_vector const& code = codes_[genotypes_[k].codes[c]];
            double const weight = genotypes_[k].weights[static_cast<Eigen::Index>(c)];
            for (std::size_t e = 0; e < code.index.size(); ++e) {
                mean[code.index[e]] += weight * code.value[e];
                for (std::size_t f = 0; f < code.index.size(); ++f)
                    squares(code.index[e], code.index[f]) += weight * code.value[e] * code.value[f];
            }
        }
        genotype_count const& g = sample_.genotypes[k];
        cases.add(g.cases, mean, squares);
        controls.add(g.controls, mean, squares);
    }
    return cases.shares().min(controls.shares());
}

} // namespace scan
