#include "scan/effects/prospective.h"

#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace scan {

namespace {

using row_block = Eigen::Map<Eigen::ArrayXd const>;

// Place of a value in a list, at the end of which it is added if it is new.
unsigned place_in(std::vector<unsigned>& list, unsigned value) {
    auto const found = std::find(list.begin(), list.end(), value);
    auto const place = static_cast<unsigned>(found - list.begin());
    if (found == list.end()) list.push_back(value);
    return place;
}

} // namespace

prospective_likelihood::prospective_likelihood(window_sample const& sample,
                                               supported_haplotypes const& haplotypes,
                                               haplotype_terms const& terms, int environment)
    : sample_(sample),
      start_frequencies_(Eigen::Map<Eigen::VectorXd const>(
          haplotypes.frequencies.data(), static_cast<Eigen::Index>(haplotypes.size()))),
      n_haplotypes_(static_cast<unsigned>(haplotypes.size())),
      n_covariates_(static_cast<unsigned>(sample.covariates.cols())),
      n_moments_(environment < 0 ? 1 : 2) {
    for (std::size_t r = 0; environment >= 0 && r < sample.n_rows(); ++r)
        environment_.push_back(sample.covariates(static_cast<Eigen::Index>(r), environment));
    std::vector<unsigned> wanted(terms.n_terms());
    std::vector<unsigned const*> rows;
    for (unsigned t = 0; t < terms.n_terms(); ++t) {
        wanted[t] = t + 1;
        rows.push_back(&wanted[t]);
    }
    unsigned const* const labels = terms.labels.data();
    term_table const table{1, &labels, rows.data(), terms.n_terms(), terms.code};
    genotypes_.resize(haplotypes.pairs.size());
    for (std::size_t g = 0; g < genotypes_.size(); ++g)
        code_genotype(haplotypes.pairs[g], table, genotypes_[g]);
    leave_out_absent_codes(terms.n_codes());
}

// Of the terms' n codes those that some pair has get their places.
void prospective_likelihood::leave_out_absent_codes(unsigned n) {
    places_.assign(n, NO_PARAMETER);
    for (design_vector const& d : codes_)
        for (unsigned const code : d.index)
            places_[code] = 0;
    for (unsigned& place : places_)
        if (place != NO_PARAMETER) place = n_codes_++;
    for (design_vector& d : codes_)
        for (unsigned& code : d.index)
            code = places_[code];
}

void prospective_likelihood::code_genotype(std::vector<std::pair<unsigned, unsigned>> const& pairs,
                                           term_table const& table, coded_genotype& g) {
    for (auto const& [a, b] : pairs) {
        design_vector d;
        table.list(a, b, 0, d);
        auto const same = std::find_if(codes_.begin(), codes_.end(), [&](design_vector const& c) {
            return c.index == d.index && c.value == d.value;
        });
        auto const code = static_cast<unsigned>(same - codes_.begin());
        if (same == codes_.end()) codes_.push_back(d);
        unsigned const first = place_in(g.haplotypes, a), second = place_in(g.haplotypes, b);
        g.pairs.push_back({first, second, place_in(g.codes, code), 0});
    }
}

Eigen::VectorXd prospective_likelihood::start(Eigen::VectorXd const& coefficients) const {
    Eigen::VectorXd x = Eigen::VectorXd::Zero(n_parameters());
    x.head(n_haplotypes_ - 1) =
        (start_frequencies_.tail(n_haplotypes_ - 1).array() / start_frequencies_[0]).log();
    x.segment(first_covariate(), n_covariates_) = coefficients;
    return x;
}

void prospective_likelihood::set_parameters(double const* x) {
    frequencies_.resize(n_haplotypes_);
    frequencies_[0] = 0;
    frequencies_.tail(n_haplotypes_ - 1) = Eigen::Map<Eigen::ArrayXd const>(x, n_haplotypes_ - 1);
    frequencies_ = (frequencies_ - frequencies_.maxCoeff()).exp();
    frequencies_ /= frequencies_.sum();
    for (coded_genotype& g : genotypes_)
        weigh(g);

    linear_ = sample_.covariates *
              Eigen::Map<Eigen::VectorXd const>(x + first_covariate(), n_covariates_);
    offsets_.resize(static_cast<Eigen::Index>(codes_.size()), n_moments_);
    for (Eigen::Index k = 0; k < offsets_.rows(); ++k)
        for (Eigen::Index m = 0; m < n_moments_; ++m)
            offsets_(k, m) = codes_[static_cast<std::size_t>(k)].times(
                x + first_effect() + static_cast<std::size_t>(m) * n_codes_);
}

// P(g), P(code | g) and the share of every pair in its code.
void prospective_likelihood::weigh(coded_genotype& g) const {
    g.weights = Eigen::ArrayXd::Zero(static_cast<Eigen::Index>(g.codes.size()));
    for (pair_entry& pair : g.pairs) {
        pair.share = (pair.first == pair.second ? 1 : 2) * frequencies_[g.haplotypes[pair.first]] *
                     frequencies_[g.haplotypes[pair.second]];
        g.weights[pair.code] += pair.share;
    }
    for (pair_entry& pair : g.pairs)
        if (pair.share > 0) pair.share /= g.weights[pair.code];
    g.probability = g.weights.sum();
    g.weights /= g.probability;
}

// What each code is for the n rows from `first` on, all of one genotype.
void prospective_likelihood::compute_block(coded_genotype const& g, Eigen::Index first,
                                           Eigen::Index n) {
    auto const C = static_cast<Eigen::Index>(g.codes.size());
    for (Eigen::ArrayXXd* const a : {&posterior_, &residual_, &curvature_})
        a->resize(n, C);
    row_block const signs(sample_.signs.data() + first, n);
    for (Eigen::Index c = 0; c < C; ++c) {
        unsigned const code = g.codes[static_cast<std::size_t>(c)];
        Eigen::ArrayXd u = linear_.segment(first, n) + offsets_(code, 0);
        if (n_moments_ > 1) u += offsets_(code, 1) * row_block(environment_.data() + first, n);
        u *= signs;
        // Of the status that was seen and of the other one, both with all their digits.
        Eigen::ArrayXd const e = (-u.abs()).exp();
        Eigen::ArrayXd const seen = (u >= 0).select(1.0, e) / (1 + e),
                             other = (u >= 0).select(e, 1.0) / (1 + e);
        posterior_.col(c) = g.weights[c] * seen;
        residual_.col(c) = signs * other;
        curvature_.col(c) = other * (seen - other);
    }
    total_ = posterior_.rowwise().sum();
    posterior_.colwise() /= total_;
    residual_ *= posterior_;
    curvature_ *= posterior_;
    row_residual_ = residual_.rowwise().sum();
    row_curvature_ = curvature_.rowwise().sum() + row_residual_.square();
}

int prospective_likelihood::evaluate(double const* x, double& L, double* g) {
    set_parameters(x);
    Eigen::Map<Eigen::VectorXd> score(g, n_parameters());
    score.setZero();
    L = 0;
    for (std::size_t k = 0; k < genotypes_.size(); ++k)
        L += add_score(k, g);
    score.head(n_haplotypes_ - 1) -=
        2.0 * sample_.n_subjects * frequencies_.tail(n_haplotypes_ - 1).matrix();
    return std::isfinite(L) && score.allFinite() ? SUCCESS : NOT_FINITE;
}

// Adds a genotype's part of the score, but for what all subjects add to that of the frequencies, and
// returns its part of the log-likelihood.
double prospective_likelihood::add_score(std::size_t index, double* score) {
    coded_genotype const& g = genotypes_[index];
    Eigen::VectorXd posterior = Eigen::VectorXd::Zero(g.weights.size());
    Eigen::Map<Eigen::VectorXd> covariates(score + first_covariate(), n_covariates_);
    double L = 0, subjects = 0;
    for_each_block(index, [&](Eigen::Index first, Eigen::Index n) {
        compute_block(g, first, n);
        Eigen::ArrayXd weight = row_block(sample_.subjects.data() + first, n);
        L += (weight * total_.log()).sum();
        subjects += weight.sum();
        posterior += posterior_.matrix().transpose() * weight.matrix();
        covariates +=
            sample_.covariates.middleRows(first, n).transpose() * (weight * row_residual_).matrix();
        for (unsigned m = 0; m < n_moments_; ++m) {
            if (m > 0) weight *= row_block(environment_.data() + first, n);
            Eigen::VectorXd const sums = residual_.matrix().transpose() * weight.matrix();
            for (Eigen::Index c = 0; c < sums.size(); ++c)
                codes_[g.codes[static_cast<std::size_t>(c)]].add_to(
                    sums[c], score + first_effect() + m * n_codes_);
        }
    });
    for (pair_entry const& pair : g.pairs)
        for (unsigned const h : {g.haplotypes[pair.first], g.haplotypes[pair.second]})
            if (h > 0) score[h - 1] += posterior[pair.code] * pair.share;
    return L + subjects * std::log(g.probability);
}

safeguarded_model prospective_likelihood::model() {
    return {n_parameters(),
            [this](double const* x, double& L, double* g) { return evaluate(x, L, g); },
            [this](double* H) { information(H); }, nullptr};
}

} // namespace scan
