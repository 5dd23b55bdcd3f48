// Score and information sums over haplotype pairs, shared by the retrospective likelihood models.
//
// W holds one block of weights per status, controls first: a packed triangle of pair weights and,
// in a model with homozygote terms, one further weight per haplotype that belongs to the pair (i,
// i). With n_d the subjects of status d, a_d the sum of their block and d the design vector of a
// term:
//
//   sums[d G + g] = sum of the weights of the pairs of genotype g
//   score         = sum over d, g of n_dg E(d | g) - sum over d of n_d E(d)
//   S             = sum over d of n_d Cov(d),      T = sum over d, g of n_dg Cov(d | g)
//
// The weights of the pairs of all genotypes are first gathered into one weight per term, so that
// design vectors are formed once per term and not once per genotype.
#ifndef QUILMAR_GGI_RETROSPECTIVE_H
#define QUILMAR_GGI_RETROSPECTIVE_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/design.h"

#include <algorithm>

// `designs` is constructed from the record and a status, says in `homozygotes` whether the model
// has homozygote terms, and offers
//   add(w, homozygote, i, j, v)             v += w d
//   add_moments(w, homozygote, i, j, v, M)  the same, unless v is null, and M += w d d'
template <typename designs> struct retrospective {
    using record = case_control_ggi_data;

    // Weights per block.
    static std::size_t terms(std::size_t K) { return triangle(K) + (designs::homozygotes ? K : 0); }

    static unsigned subjects(record const& data, unsigned status) {
        return status == 0 ? data.n_controls : data.n_cases;
    }

    // Fills sums (2G) and adds the observed part of the score to g (p values).
    static void add_observed(record const& data, double const* W, double* sums, double* g) {
        std::size_t const G = data.distinct->count;
        std::vector<double> observed(terms(data.n_haplotypes));
        for (unsigned status = 0; status < 2; ++status, W += observed.size(), sums += G) {
            std::fill(observed.begin(), observed.end(), 0.0);
            for (std::size_t r = 0; r < G; ++r) {
                genotype const& genotype = *data.distinct->genotypes[r];
                sums[r] = genotype.pairs == nullptr ? 0 : weigh(data, *genotype.pairs, W);
                // Without subjects of this status a vanishing sum must not spoil the score.
                if (unsigned const n = genotype.multiplicity[status])
                    gather(data, *genotype.pairs, W, n / sums[r], observed.data());
            }
            add_designs(data, status, 1, observed.data(), g);
        }
    }

    // Subtracts the expected part of the score from g.
    static void subtract_expected(record const& data, double const* W, double const* a, double* g) {
        for (unsigned status = 0; status < 2; ++status, W += terms(data.n_haplotypes))
            add_designs(data, status, -(subjects(data, status) / a[status]), W, g);
    }

    // Lower triangle of the p x p matrix H += S.
    static void add_s(record const& data, double const* W, double const* a, double* H) {
        for (unsigned status = 0; status < 2; ++status, W += terms(data.n_haplotypes)) {
            double const n = subjects(data, status);
            std::vector<double> total(data.n_parameters);
            add_moments(data, status, n / a[status], W, total.data(), H);
            add_outer(-1 / n, total, H);
        }
    }

    // Lower triangle of H -= T.
    static void subtract_t(record const& data, double const* W, double* H) {
        std::vector<double> observed(terms(data.n_haplotypes)), mean(data.n_parameters);
        for (unsigned status = 0; status < 2; ++status, W += observed.size()) {
            designs design(data, status);
            std::fill(observed.begin(), observed.end(), 0.0);
            for (unsigned r = 0; r < data.distinct->count; ++r) {
                genotype const& genotype = *data.distinct->genotypes[r];
                unsigned const n = genotype.multiplicity[status];
                if (n == 0 || is_certain(*genotype.pairs)) continue;
                double const sum = weigh(data, *genotype.pairs, W);
                gather(data, *genotype.pairs, W, n / sum, observed.data());
                std::fill(mean.begin(), mean.end(), 0.0);
                add_mean(data, *genotype.pairs, W, 1 / sum, design, mean.data());
                add_outer(n, mean, H);
            }
            add_moments(data, status, -1, observed.data(), nullptr, H);
        }
    }

    // --- parts ---

    // A genotype that one heterozygous pair explains has no variance; neither has a homozygous one
    // where no homozygote term stands beside the pair.
    static bool is_certain(haplotype_pair_list const& pairs) {
        return pairs.size() == 1 && (!designs::homozygotes || !is_homozygous(pairs[0]));
    }
    static bool is_homozygous(haplotype_pair const& pair) {
        return pair.first.position == pair.second.position;
    }
    static std::size_t place(haplotype_pair const& pair) {
        return triangle(pair.first.position) + pair.second.position;
    }
    static std::size_t homozygote(record const& data, haplotype_pair const& pair) {
        return triangle(data.n_haplotypes) + pair.first.position;
    }

    static double weigh(record const& data, haplotype_pair_list const& pairs, double const* w) {
        double sum = 0;
        for (haplotype_pair const& pair : pairs) {
            sum += w[place(pair)];
            if (designs::homozygotes && is_homozygous(pair)) sum += w[homozygote(data, pair)];
        }
        return sum;
    }

    // observed += scale w over the terms of the pairs.
    static void gather(record const& data, haplotype_pair_list const& pairs, double const* w,
                       double scale, double* observed) {
        for (haplotype_pair const& pair : pairs) {
            observed[place(pair)] += scale * w[place(pair)];
            if (designs::homozygotes && is_homozygous(pair))
                observed[homozygote(data, pair)] += scale * w[homozygote(data, pair)];
        }
    }

    // mean += scale w d over the terms of the pairs.
    static void add_mean(record const& data, haplotype_pair_list const& pairs, double const* w,
                         double scale, designs& design, double* mean) {
        for (haplotype_pair const& pair : pairs) {
            unsigned const i = pair.first.position, j = pair.second.position;
            design.add(scale * w[place(pair)], false, i, j, mean);
            if (designs::homozygotes && i == j)
                design.add(scale * w[homozygote(data, pair)], true, i, j, mean);
        }
    }

    // Calls visit(weight, homozygote, i, j) for the terms of a block whose weight is not 0.
    template <typename visitor>
    static void for_each_term(record const& data, double const* w, visitor visit) {
        for (unsigned i = 0; i < data.n_haplotypes; ++i)
            for (unsigned j = 0; j <= i; ++j, ++w)
                if (*w != 0) visit(*w, false, i, j);
        if (!designs::homozygotes) return;
        for (unsigned i = 0; i < data.n_haplotypes; ++i, ++w)
            if (*w != 0) visit(*w, true, i, i);
    }

    // v += scale * sum of w d over all terms.
    static void add_designs(record const& data, unsigned status, double scale, double const* w,
                            double* v) {
        designs design(data, status);
        for_each_term(data, w, [&](double weight, bool homozygote, unsigned i, unsigned j) {
            design.add(scale * weight, homozygote, i, j, v);
        });
    }

    // The same, unless v is null, and M += scale * sum of w d d'.
    static void add_moments(record const& data, unsigned status, double scale, double const* w,
                            double* v, double* M) {
        designs design(data, status);
        for_each_term(data, w, [&](double weight, bool homozygote, unsigned i, unsigned j) {
            design.add_moments(scale * weight, homozygote, i, j, v, M);
        });
    }

    // Lower triangle of M += scale v v'.
    static void add_outer(double scale, std::vector<double> const& v, double* M) {
        std::size_t const p = v.size();
        for (std::size_t i = 0; i < p; ++i)
            if (v[i] != 0)
                for (std::size_t j = 0; j <= i; ++j)
                    M[i * p + j] += scale * v[i] * v[j];
    }
};

#endif
