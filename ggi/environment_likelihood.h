// Score and information of the environment likelihoods, from the plain model's pair weights and the
// sweep over the subjects (see environment_sums.h for the model and its symbols).
//
// With d the plain design vector of a term, mu_k its mean over class k of the joint distribution
// (k = 0 the controls) and mu_gl its mean over local class l of genotype g:
//
//   score of the plain parameters = sum of d over the observed minus the expected weights of terms
//   H(plain)        = sum over terms of (expected - observed weight) d d'
//                     - sum of UU_kl mu_k mu_l' + sum over g of UU_g,kl mu_gk mu_gl'
//   H(theta, plain) = sum of Uh_k mu_k' - sum over g of Uh_gl mu_gl'
//   H(theta)        = hh
#ifndef QUILMAR_GGI_ENVIRONMENT_LIKELIHOOD_H
#define QUILMAR_GGI_ENVIRONMENT_LIKELIHOOD_H

#include "ggi/environment_sums.h"
#include "ggi/retrospective.h"

#include <cmath>

// `designs` as for retrospective.h. The parameters are the plain ones, then theta.
template <typename designs> struct environment_likelihood {
    using record = case_control_ggi_data;
    using plain = retrospective<designs>;

    // Fills W, a, b and the score g for the parameters x; w0 and w1 stand in W, a0 is their sum
    // over w0. Returns the status of sweep_subjects, after a failure of which g is not complete.
    static int evaluate(record const& data, environment const& e, environment_layout const& layout,
                        double a0, double const* x, double* W, double* a, double* b, double* g) {
        std::size_t const plain_parameters = data.n_parameters - e.n_parameters();
        std::vector<double> b0(data.distinct->count);
        std::fill(g, g + data.n_parameters, 0.0);
        std::fill(W + layout.a0, W + layout.size, 0.0);
        W[layout.a0] = a0;
        sum_classes(data, e, layout, W, b0.data());
        int const status = sweep_subjects(data, e, layout, x + plain_parameters, b0.data(), W, a, b,
                                          g + plain_parameters);
        if (status == 1) add_plain_score(data, e, layout, b0.data(), W, g);
        return status;
    }

    // Lower triangle of the information matrix H from W.
    static void information(record const& data, environment const& e,
                            environment_layout const& layout, double const* W, double* H) {
        std::size_t const p = data.n_parameters, C = e.n_classes;
        std::fill(H, H + p * p, 0.0);
        add_second_moments(data, e, layout, W, H);
        std::vector<double> mu((C + 1) * p);
        for_each_term(data, W,
                      [&](unsigned status, double w, bool homozygote, unsigned i, unsigned j,
                          designs& design) {
                          std::size_t const k = status == 0 ? 0 : 1 + e.of_pair[triangle(i) + j];
                          design.add(w / W[layout.a0 + k], homozygote, i, j, &mu[k * p]);
                      });
        class_sums<double const> const joint(W + layout.joint, C + 1);
        add_class_means(data, e, 1, C + 1, mu.data(), joint, H);
        add_observed_means(data, e, layout, W, H);
        for (std::size_t i = 0, r = e.n_parameters(); i < r; ++i)
            for (std::size_t j = 0; j <= i; ++j)
                H[(p - r + i) * p + p - r + j] = W[layout.hh + i * r + j];
    }

  private:
    // Calls visit(status, weight, homozygote, i, j, design) for all terms of both blocks.
    template <typename visitor>
    static void for_each_term(record const& data, double const* W, visitor visit) {
        for (unsigned status = 0; status < 2; ++status, W += plain::terms(data.n_haplotypes)) {
            designs design(data, status);
            plain::for_each_term(data, W, [&](double w, bool homozygote, unsigned i, unsigned j) {
                visit(status, w, homozygote, i, j, design);
            });
        }
    }

    // Index of the pair's class among the local classes of genotype g.
    static unsigned local_class(environment const& e, unsigned g, haplotype_pair const& pair) {
        auto const begin = e.local.begin() + e.first[g], end = e.local.begin() + e.first[g + 1];
        unsigned const c = e.of_pair[plain::place(pair)];
        return static_cast<unsigned>(std::find(begin, end, c) - begin);
    }

    // Calls visit(place of the weight in a block, homozygote, pair) for the terms of the pair.
    template <typename visitor>
    static void for_each_term_of(record const& data, haplotype_pair const& pair, visitor visit) {
        visit(plain::place(pair), false);
        if (designs::homozygotes && plain::is_homozygous(pair))
            visit(plain::homozygote(data, pair), true);
    }

    // A_c, B_gc and b0.
    static void sum_classes(record const& data, environment const& e,
                            environment_layout const& layout, double* W, double* b0) {
        double const* const w1 = W + layout.cases;
        double* const A = W + layout.a0 + 1;
        plain::for_each_term(data, w1, [&](double w, bool, unsigned i, unsigned j) {
            A[e.of_pair[triangle(i) + j]] += w;
        });
        for (unsigned g = 0; g < data.distinct->count; ++g) {
            if (e.n_local(g) == 0) continue;
            haplotype_pair_list const& pairs = *data.distinct->genotypes[g]->pairs;
            b0[g] = plain::weigh(data, pairs, W + layout.control);
            for (haplotype_pair const& pair : pairs) {
                double& B = W[layout.B[g] + local_class(e, g, pair)];
                for_each_term_of(data, pair, [&](std::size_t term, bool) { B += w1[term]; });
            }
        }
    }

    // Adds to `weights` (two blocks) what the subjects of genotype g observe of every term.
    static void gather_observed(record const& data, environment const& e,
                                environment_layout const& layout, unsigned g, double b0,
                                double const* W, double* weights) {
        genotype const& genotype = *data.distinct->genotypes[g];
        if (unsigned const n = genotype.multiplicity[0])
            plain::gather(data, *genotype.pairs, W + layout.control, n / b0, weights);
        if (genotype.multiplicity[1] == 0) return;
        double* const cases = weights + plain::terms(data.n_haplotypes);
        for (haplotype_pair const& pair : *genotype.pairs) {
            unsigned const l = local_class(e, g, pair);
            double const scale = W[layout.observed[g] + l] / W[layout.B[g] + l];
            for_each_term_of(data, pair, [&](std::size_t term, bool) {
                cases[term] += scale * W[layout.cases + term];
            });
        }
    }

    // Expected weights of all terms, times `sign`.
    static void add_expected(record const& data, environment const& e,
                             environment_layout const& layout, double sign, double const* W,
                             double* weights) {
        std::size_t const K = data.n_haplotypes, terms = plain::terms(K);
        double const* const P = W + layout.joint;
        double const* const A = W + layout.a0;
        for (std::size_t t = 0; t < terms; ++t) {
            // The homozygote terms follow the pairs; the pair (i, i) has their class.
            std::size_t const pair =
                t < triangle(K) ? t : triangle(t - triangle(K)) + (t - triangle(K));
            std::size_t const k = 1 + e.of_pair[pair];
            weights[t] += sign * P[0] / A[0] * W[layout.control + t];
            weights[terms + t] += sign * P[k] / A[k] * W[layout.cases + t];
        }
    }

    static void add_plain_score(record const& data, environment const& e,
                                environment_layout const& layout, double const* b0, double const* W,
                                double* g) {
        std::vector<double> weights(2 * plain::terms(data.n_haplotypes));
        for (unsigned r = 0; r < data.distinct->count; ++r)
            if (e.n_local(r) != 0) gather_observed(data, e, layout, r, b0[r], W, weights.data());
        add_expected(data, e, layout, -1, W, weights.data());
        for_each_term(data, weights.data(),
                      [&](unsigned, double w, bool homozygote, unsigned i, unsigned j,
                          designs& design) { design.add(w, homozygote, i, j, g); });
    }

    // Genotypes whose design is certain are left out of the observed part, here and in their means.
    static void add_second_moments(record const& data, environment const& e,
                                   environment_layout const& layout, double const* W, double* H) {
        std::vector<double> weights(2 * plain::terms(data.n_haplotypes));
        for (unsigned g = 0; g < data.distinct->count; ++g) {
            if (e.n_local(g) == 0) continue;
            haplotype_pair_list const& pairs = *data.distinct->genotypes[g]->pairs;
            if (plain::is_certain(pairs)) continue;
            double const b0 = plain::weigh(data, pairs, W + layout.control);
            gather_observed(data, e, layout, g, b0, W, weights.data());
        }
        for (double& w : weights)
            w = -w;
        add_expected(data, e, layout, 1, W, weights.data());
        for_each_term(
            data, weights.data(),
            [&](unsigned, double w, bool homozygote, unsigned i, unsigned j, designs& design) {
                design.add_moments(w, homozygote, i, j, nullptr, H);
            });
    }

    // The terms in UU and Uh for m classes with the means mu (m x p).
    static void add_class_means(record const& data, environment const& e, double sign,
                                std::size_t m, double const* mu,
                                class_sums<double const> const& sums, double* H) {
        std::size_t const p = data.n_parameters, r = e.n_parameters(), q = p - r;
        for (std::size_t k = 0; k < m; ++k)
            for (std::size_t i = 0; i < q; ++i) {
                double const mean = mu[k * p + i];
                if (mean == 0) continue;
                for (std::size_t l = 0; l < m; ++l)
                    for (std::size_t j = 0; j <= i; ++j)
                        H[i * p + j] -= sign * sums.UU[k * m + l] * mean * mu[l * p + j];
                for (std::size_t t = 0; t < r; ++t)
                    H[(q + t) * p + i] += sign * sums.Uh[k * r + t] * mean;
            }
    }

    static void add_observed_means(record const& data, environment const& e,
                                   environment_layout const& layout, double const* W, double* H) {
        std::size_t const p = data.n_parameters;
        std::vector<double> mu;
        designs control(data, 0), cases(data, 1);
        for (unsigned g = 0; g < data.distinct->count; ++g) {
            unsigned const m = e.n_local(g);
            if (m == 0) continue;
            genotype const& genotype = *data.distinct->genotypes[g];
            haplotype_pair_list const& pairs = *genotype.pairs;
            if (plain::is_certain(pairs)) continue;
            if (unsigned const n = genotype.multiplicity[0]) {
                double const* const w0 = W + layout.control;
                mu.assign(p, 0.0);
                plain::add_mean(data, pairs, w0, 1 / plain::weigh(data, pairs, w0), control,
                                mu.data());
                plain::add_outer(n, mu, H);
            }
            if (genotype.multiplicity[1] == 0) continue;
            mu.assign(m * p, 0.0);
            for (haplotype_pair const& pair : pairs) {
                unsigned const l = local_class(e, g, pair);
                for_each_term_of(data, pair, [&](std::size_t term, bool homozygote) {
                    cases.add(W[layout.cases + term] / W[layout.B[g] + l], homozygote,
                              pair.first.position, pair.second.position, &mu[l * p]);
                });
            }
            class_sums<double const> const observed(W + layout.observed[g], m);
            add_class_means(data, e, -1, m, mu.data(), observed, H);
        }
    }
};

#endif
