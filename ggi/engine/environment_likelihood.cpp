// What the haplotypes add to the sums of the sweep over the subjects.
#include "ggi/engine/environment_likelihood.h"

#include "numeric/status_code.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace {

using model = environment_model;

std::size_t n_terms(model const& m) {
    return retrospective::n_terms(m.design);
}

// Calls visit(status, weight, is_homozygote_term, i, j) for all terms of both blocks.
template <typename visitor> void for_each_term(model const& m, double const* W, visitor visit) {
    for (unsigned status = 0; status < 2; ++status, W += n_terms(m))
        retrospective::for_each_term(
            m.design, W, [&](double w, bool is_homozygote_term, unsigned i, unsigned j) {
                visit(status, w, is_homozygote_term, i, j);
            });
}

// Index of the pair's class among the local classes of genotype g.
unsigned local_class(environment const& e, unsigned g, haplotype_pair const& pair) {
    auto const begin = e.local.begin() + e.first[g], end = e.local.begin() + e.first[g + 1];
    unsigned const c = e.of_pair[retrospective::place(pair)];
    return static_cast<unsigned>(std::find(begin, end, c) - begin);
}

// Calls visit(place of the weight in a block, is_homozygote_term) for the terms of the pair.
template <typename visitor>
void for_each_term_of(pair_design const& design, haplotype_pair const& pair, visitor visit) {
    visit(retrospective::place(pair), false);
    if (design.has_homozygote_terms() && retrospective::is_homozygous(pair))
        visit(retrospective::homozygote_place(design, pair), true);
}

// A_c, B_gc and b0.
void sum_classes(model const& m, double* W, double* b0) {
    environment const& e = m.covariates;
    double const* const w1 = W + m.layout.cases;
    double* const A = W + m.layout.a0 + 1;
    retrospective::for_each_term(m.design, w1, [&](double w, bool, unsigned i, unsigned j) {
        A[e.of_pair[triangle(i) + j]] += w;
    });
    for (unsigned g = 0; g < m.sample.genotypes.size(); ++g) {
        genotype_pairs const& pairs = m.sample.genotypes[g];
        b0[g] = retrospective::weigh(m.design, pairs, W + m.layout.control);
        for (haplotype_pair const& pair : pairs) {
            double& B = W[m.layout.B[g] + local_class(e, g, pair)];
            for_each_term_of(m.design, pair, [&](std::size_t term, bool) { B += w1[term]; });
        }
    }
}

// Adds to `weights` (two blocks) what the subjects of genotype g observe of every term.
void gather_observed(model const& m, unsigned g, double b0, double const* W, double* weights) {
    genotype_pairs const& pairs = m.sample.genotypes[g];
    if (unsigned const n = pairs.subjects[0])
        retrospective::gather(m.design, pairs, W + m.layout.control, n / b0, weights);
    if (pairs.subjects[1] == 0) return;
    double* const cases = weights + n_terms(m);
    for (haplotype_pair const& pair : pairs) {
        unsigned const l = local_class(m.covariates, g, pair);
        double const scale = W[m.layout.observed[g] + l] / W[m.layout.B[g] + l];
        for_each_term_of(m.design, pair, [&](std::size_t term, bool) {
            cases[term] += scale * W[m.layout.cases + term];
        });
    }
}

// Adds the expected weights of all terms, times `sign`, to `weights` (two blocks).
void add_expected(model const& m, double sign, double const* W, double* weights) {
    std::size_t const K = m.design.n_haplotypes, terms = n_terms(m);
    double const* const P = W + m.layout.joint;
    double const* const A = W + m.layout.a0;
    for (std::size_t t = 0; t < terms; ++t) {
        // The homozygote terms follow the pairs; the pair (i, i) has their class.
        std::size_t const pair =
            t < triangle(K) ? t : triangle(t - triangle(K)) + (t - triangle(K));
        std::size_t const k = 1 + m.covariates.of_pair[pair];
        weights[t] += sign * P[0] / A[0] * W[m.layout.control + t];
        weights[terms + t] += sign * P[k] / A[k] * W[m.layout.cases + t];
    }
}

void add_plain_score(model const& m, double const* b0, double const* W, double* g) {
    std::vector<double> weights(2 * n_terms(m));
    for (unsigned r = 0; r < m.sample.genotypes.size(); ++r)
        gather_observed(m, r, b0[r], W, weights.data());
    add_expected(m, -1, W, weights.data());
    for (unsigned status = 0; status < 2; ++status)
        retrospective::add_designs(m.design, status, 1, &weights[status * n_terms(m)], g);
}

// H += the sum of weight d d' over the terms of both blocks.
void add_second_moments(model const& m, double const* weights, double* H) {
    for (unsigned status = 0; status < 2; ++status)
        retrospective::add_moments(m.design, status, 1, weights + status * n_terms(m), nullptr, H);
}

// mu: the mean plain design of every class of the joint distribution, (C + 1) x q.
std::vector<double> class_means(model const& m, double const* W) {
    std::size_t const q = m.design.p - m.covariates.n_parameters();
    std::vector<double> mu((m.covariates.n_classes + 1) * q);
    design_vector d;
    for_each_term(
        m, W, [&](unsigned status, double w, bool is_homozygote_term, unsigned i, unsigned j) {
            std::size_t const k = status == 0 ? 0 : 1 + m.covariates.of_pair[triangle(i) + j];
            m.design.list_for(status, is_homozygote_term, i, j, d);
            d.add_to(w / W[m.layout.a0 + k], &mu[k * q]);
        });
    return mu;
}

// The terms in UU, unless that is null, and Uh for C classes with the means mu (C x q), times `sign`.
void add_class_means(model const& m, double sign, std::size_t C, double const* mu,
                     class_sums<double const> const& sums, double* H) {
    std::size_t const p = m.design.p, r = m.covariates.n_parameters(), q = p - r;
    for (std::size_t k = 0; k < C; ++k)
        for (std::size_t i = 0; i < q; ++i) {
            double const mean = mu[k * q + i];
            if (mean == 0) continue;
            for (std::size_t l = 0; sums.UU != nullptr && l < C; ++l)
                for (std::size_t j = 0; j <= i; ++j)
                    H[i * p + j] -= sign * sums.UU[k * C + l] * mean * mu[l * q + j];
            for (std::size_t t = 0; t < r; ++t)
                H[(q + t) * p + i] += sign * sums.Uh[k * r + t] * mean;
        }
}

// Lower triangle of H(theta) += sign hh.
void add_theta(model const& m, double sign, double const* hh, double* H) {
    std::size_t const p = m.design.p, r = m.covariates.n_parameters();
    for (std::size_t i = 0; i < r; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            H[(p - r + i) * p + p - r + j] += sign * hh[i * r + j];
}

// The part of one genotype's means in T.
void subtract_means_of(model const& m, unsigned g, double const* W, design_vector& d,
                       std::vector<double>& mu, double* H) {
    genotype_pairs const& pairs = m.sample.genotypes[g];
    std::size_t const p = m.design.p, q = p - m.covariates.n_parameters();
    if (unsigned const n = pairs.subjects[0]) {
        double const* const w0 = W + m.layout.control;
        double const b0 = retrospective::weigh(m.design, pairs, w0);
        mu.assign(p, 0.0);
        retrospective::add_mean(m.design, 0, pairs, w0, 1 / b0, d, mu.data());
        retrospective::add_outer(n, mu, H);
    }
    if (pairs.subjects[1] == 0) return;
    unsigned const C = m.covariates.n_local(g);
    mu.assign(C * q, 0.0);
    for (haplotype_pair const& pair : pairs) {
        unsigned const l = local_class(m.covariates, g, pair);
        for_each_term_of(m.design, pair, [&](std::size_t term, bool is_homozygote_term) {
            m.design.list(is_homozygote_term, pair.first.position, pair.second.position, d);
            d.add_to(W[m.layout.cases + term] / W[m.layout.B[g] + l], &mu[l * q]);
        });
    }
    class_sums<double const> const observed(W + m.layout.observed[g], C);
    add_class_means(m, -1, C, mu.data(), observed, H);
}

} // namespace

int environment_model::evaluate(double a0, double const* x, double* W, double* a, double* b,
                                double* g) const {
    std::size_t const plain_parameters = design.p - covariates.n_parameters();
    std::vector<double> b0(sample.genotypes.size());
    std::fill(g, g + design.p, 0.0);
    std::fill(W + layout.a0, W + layout.size, 0.0);
    W[layout.a0] = a0;
    sum_classes(*this, W, b0.data());
    std::vector<double> const mu = layout.has_means ? class_means(*this, W) : std::vector<double>();
    int const status = sweep_subjects(subjects, sample, covariates, layout, x + plain_parameters,
                                      b0.data(), mu, W, a, b, g + plain_parameters);
    if (status == SUCCESS) add_plain_score(*this, b0.data(), W, g);
    return status;
}

void environment_model::add_s(double const* W, double* H) const {
    std::size_t const p = design.p, q = p - covariates.n_parameters();
    std::vector<double> weights(2 * n_terms(*this));
    add_expected(*this, 1, W, weights.data());
    add_second_moments(*this, weights.data(), H);
    for (std::size_t i = 0; layout.has_means && i < q; ++i)
        for (std::size_t j = 0; j <= i; ++j)
            H[i * p + j] -= W[layout.means + i * q + j];
    std::size_t const C = covariates.n_classes + 1;
    class_sums<double const> const joint(W + layout.joint, C, !layout.has_means);
    add_class_means(*this, 1, C, class_means(*this, W).data(), joint, H);
    add_theta(*this, 1, W + layout.hh, H);
}

// Genotypes whose design is certain are left out of second moments and means.
void environment_model::subtract_t(double const* W, double* H) const {
    std::vector<double> weights(2 * n_terms(*this)), mu;
    design_vector d;
    for (unsigned g = 0; g < sample.genotypes.size(); ++g) {
        genotype_pairs const& pairs = sample.genotypes[g];
        if (pairs.size() == 0 || retrospective::is_certain(design, pairs)) continue;
        double const b0 = retrospective::weigh(design, pairs, W + layout.control);
        gather_observed(*this, g, b0, W, weights.data());
        subtract_means_of(*this, g, W, d, mu, H);
    }
    for (double& w : weights)
        w = -w;
    add_second_moments(*this, weights.data(), H);
    add_theta(*this, -1, W + layout.hh_given, H);
}
