// The observed information of the prospective likelihood. For one subject let q be the probabilities of
// the codes given genotype and status, r = y - mu the residual and w = mu (1 - mu) under a code, and
// rho = sum of q r. With n the copies of the haplotypes and u = code r the score of beta under a pair,
//
//   haplotypes   2 (diag(p) - p p') - Var(n)           haplotypes, effects   -Cov(n, u)
//   effects      E(code w code') - Var(u)              haplotypes, b         -E(n (r - rho)) z'
//   b            (E(w) - Var(r)) z z'                  effects, b            (E(code w) - Cov(u, r)) z'
//
// Means, variances and covariances are those given genotype and status. All pairs of a code have the
// same r and w, so that sums over a genotype's subjects by code, and by two codes, are all that is
// needed of the subjects.
#include "scan/effects/prospective.h"

#include <cstddef>

namespace scan {

namespace {

// Entry (i, j) of a lower triangle, row by row; of two blocks that mirror each other one is added.
void add(double value, unsigned i, unsigned j, unsigned p, double* H) {
    if (i >= j) H[static_cast<std::size_t>(i) * p + j] += value;
}

} // namespace

// Sums over the subjects of a genotype; those of index m are weighted by e^m.
struct prospective_likelihood::code_sums {
    Eigen::VectorXd posterior;           // q
    Eigen::MatrixXd products;            // q q'
    Eigen::MatrixXd haplotype_effect[2]; // diag(q r) - q (q r)'
    Eigen::MatrixXd effect[3];           // diag(q (w - r^2)) + (q r) (q r)'
    Eigen::MatrixXd haplotype_covariate; // z (q (r - rho))'
    Eigen::MatrixXd effect_covariate[2]; // z (q (w - r^2 + r rho))'
};

// Adds to `covariates` the genotype's part of the information of b.
prospective_likelihood::code_sums
prospective_likelihood::sum_products(std::size_t index, Eigen::MatrixXd& covariates) {
    coded_genotype const& g = genotypes_[index];
    Eigen::Index const C = g.weights.size(), c = n_covariates_;
    code_sums s;
    s.posterior.setZero(C);
    s.products.setZero(C, C);
    s.haplotype_covariate.setZero(c, C);
    for (unsigned m = 0; m < 2 * n_moments_ - 1; ++m)
        s.effect[m].setZero(C, C);
    for (unsigned m = 0; m < n_moments_; ++m) {
        s.haplotype_effect[m].setZero(C, C);
        s.effect_covariate[m].setZero(c, C);
    }
    for_each_block(index, [&](Eigen::Index first, Eigen::Index n) {
        compute_block(g, first, n);
        auto const Z = sample_.covariates.middleRows(first, n);
        Eigen::ArrayXd weight =
            Eigen::Map<Eigen::ArrayXd const>(sample_.subjects.data() + first, n);
        Eigen::MatrixXd const q = posterior_, t = residual_;
        s.posterior += q.transpose() * weight.matrix();
        s.products += q.transpose() * weight.matrix().asDiagonal() * q;
        covariates += Z.transpose() * (weight * row_curvature_).matrix().asDiagonal() * Z;
        s.haplotype_covariate +=
            Z.transpose() *
            ((residual_ - posterior_.colwise() * row_residual_).colwise() * weight).matrix();
        for (unsigned m = 0; m < 2 * n_moments_ - 1; ++m) {
            if (m > 0) weight *= Eigen::Map<Eigen::ArrayXd const>(environment_.data() + first, n);
            auto const W = weight.matrix().asDiagonal();
            s.effect[m] += t.transpose() * W * t;
            s.effect[m].diagonal() += curvature_.matrix().transpose() * weight.matrix();
            if (m >= n_moments_) continue;
            s.haplotype_effect[m] -= q.transpose() * W * t;
            s.haplotype_effect[m].diagonal() += t.transpose() * weight.matrix();
            s.effect_covariate[m] +=
                Z.transpose() *
                ((curvature_ + residual_.colwise() * row_residual_).colwise() * weight).matrix();
        }
    });
    return s;
}

void prospective_likelihood::information(double* H) {
    unsigned const p = n_parameters();
    std::fill(H, H + std::size_t{p} * p, 0.0);
    Eigen::MatrixXd covariates = Eigen::MatrixXd::Zero(n_covariates_, n_covariates_);
    for (std::size_t k = 0; k < genotypes_.size(); ++k) {
        code_sums const s = sum_products(k, covariates);
        add_haplotypes(genotypes_[k], s, H);
        add_effects(genotypes_[k], s, H);
    }
    for (unsigned i = 0; i < n_covariates_; ++i)
        for (unsigned j = 0; j <= i; ++j)
            add(covariates(i, j), first_covariate() + i, first_covariate() + j, p, H);
    double const copies = 2.0 * sample_.n_subjects;
    for (unsigned h = 1; h < n_haplotypes_; ++h) {
        add(copies * frequencies_[h], h - 1, h - 1, p, H);
        for (unsigned k = 1; k <= h; ++k)
            add(-copies * frequencies_[h] * frequencies_[k], h - 1, k - 1, p, H);
    }
}

// The rows and columns of the haplotypes' frequencies.
void prospective_likelihood::add_haplotypes(coded_genotype const& g, code_sums const& s,
                                            double* H) const {
    unsigned const p = n_parameters();
    auto const size = static_cast<Eigen::Index>(g.haplotypes.size());
    auto const C = static_cast<unsigned>(g.codes.size());
    Eigen::MatrixXd copies = Eigen::MatrixXd::Zero(size, C); // expected, by code
    Eigen::MatrixXd products = Eigen::MatrixXd::Zero(size, size);
    for (pair_entry const& pair : g.pairs) {
        unsigned const ends[2] = {pair.first, pair.second};
        for (unsigned const a : ends) {
            copies(a, pair.code) += pair.share;
            for (unsigned const b : ends)
                products(a, b) += pair.share * s.posterior[pair.code];
        }
    }
    Eigen::MatrixXd const variance = products - copies * s.products * copies.transpose();
    Eigen::MatrixXd const with_covariates = s.haplotype_covariate * copies.transpose();
    Eigen::MatrixXd with_effects[2];
    for (unsigned m = 0; m < n_moments_; ++m)
        with_effects[m] = copies * s.haplotype_effect[m];
    for (unsigned a = 0; a < size; ++a) {
        if (g.haplotypes[a] == 0) continue;
        unsigned const h = g.haplotypes[a] - 1;
        for (unsigned b = 0; b < size; ++b)
            if (g.haplotypes[b] != 0) add(-variance(a, b), h, g.haplotypes[b] - 1, p, H);
        for (unsigned z = 0; z < n_covariates_; ++z)
            add(-with_covariates(z, a), first_covariate() + z, h, p, H);
        for (unsigned m = 0; m < n_moments_; ++m)
            for (unsigned c = 0; c < C; ++c) {
                design_vector const& code = codes_[g.codes[c]];
                for (std::size_t e = 0; e < code.index.size(); ++e)
                    add(-code.value[e] * with_effects[m](a, c),
                        first_effect() + m * n_codes_ + code.index[e], h, p, H);
            }
    }
}

// The effects among themselves and with the covariates.
void prospective_likelihood::add_effects(coded_genotype const& g, code_sums const& s,
                                         double* H) const {
    unsigned const p = n_parameters();
    auto const C = static_cast<unsigned>(g.codes.size());
    for (unsigned c = 0; c < C; ++c) {
        design_vector const& code = codes_[g.codes[c]];
        for (std::size_t e = 0; e < code.index.size(); ++e)
            for (unsigned m = 0; m < n_moments_; ++m) {
                unsigned const row = first_effect() + m * n_codes_ + code.index[e];
                for (unsigned z = 0; z < n_covariates_; ++z)
                    add(code.value[e] * s.effect_covariate[m](z, c), row, first_covariate() + z, p,
                        H);
                for (unsigned d = 0; d < C; ++d) {
                    design_vector const& other = codes_[g.codes[d]];
                    for (std::size_t f = 0; f < other.index.size(); ++f)
                        for (unsigned k = 0; k < n_moments_; ++k)
                            add(code.value[e] * other.value[f] * s.effect[m + k](c, d), row,
                                first_effect() + k * n_codes_ + other.index[f], p, H);
                }
            }
    }
}

} // namespace scan
