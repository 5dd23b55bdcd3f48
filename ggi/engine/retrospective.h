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
#ifndef QUILMAR_GGI_ENGINE_RETROSPECTIVE_H
#define QUILMAR_GGI_ENGINE_RETROSPECTIVE_H

#include "ggi/engine/design.h"
#include "ggi/engine/haplotype.h"

#include <cstddef>
#include <vector>

// A distinct genotype: its pairs of modelled haplotypes, whose positions are set, and its subjects.
struct genotype_pairs {
    haplotype_pair const* first;
    haplotype_pair const* last;
    unsigned subjects[2]; // controls, cases; none where there is no pair

    haplotype_pair const* begin() const { return first; }
    haplotype_pair const* end() const { return last; }
    std::size_t size() const { return static_cast<std::size_t>(last - first); }
};

// The distinct genotypes of an analysis. The pairs belong to the caller.
struct pair_sample {
    std::vector<genotype_pairs> genotypes;
    unsigned subjects[2]; // controls and cases of all of them
};

// SUCCESS, or NOT_A_NUMBER or NOT_FINITE for a value that is not finite.
int finite_status(double value);

namespace retrospective {

// Weights per block.
std::size_t n_terms(pair_design const& design);

// Where the pair's weight is in a block, and that of the homozygote term of its first haplotype.
std::size_t place(haplotype_pair const& pair);
std::size_t homozygote_place(pair_design const& design, haplotype_pair const& pair);
bool is_homozygous(haplotype_pair const& pair);

// Has the design of a subject with these pairs no variance? So it is for one heterozygous pair, and
// for a homozygous one that no homozygote term stands beside.
bool is_certain(pair_design const& design, genotype_pairs const& pairs);

// Case weights c exp(d' x + offset), c = 1 when i = j, else 2, of all pairs into w1 and of the
// homozygote terms, where the model has them, into h1, and their sum a1. offset: one value per pair,
// or null for 0; that of (i, i) holds for its homozygote term too. Returns finite_status(a1).
int weigh_cases(pair_design const& design, double const* x, double const* offset, double* w1,
                double* h1, double& a1);

// Sum of the weights w of one block over the pairs.
double weigh(pair_design const& design, genotype_pairs const& pairs, double const* w);

// observed += scale w over the terms of the pairs.
void gather(pair_design const& design, genotype_pairs const& pairs, double const* w, double scale,
            double* observed);

// mean (p values) += scale w d over the terms of the pairs, for subjects with the status. d is work
// space.
void add_mean(pair_design const& design, unsigned status, genotype_pairs const& pairs,
              double const* w, double scale, design_vector& d, double* mean);

// Fills sums (2 G) and adds the observed part of the score to g (p values).
void add_observed(pair_design const& design, pair_sample const& sample, double const* W,
                  double* sums, double* g);

// Subtracts the expected part of the score from g.
void subtract_expected(pair_design const& design, pair_sample const& sample, double const* W,
                       double const* a, double* g);

// Lower triangle of the p x p matrix H += S.
void add_s(pair_design const& design, pair_sample const& sample, double const* W, double const* a,
           double* H);

// Lower triangle of H -= T.
void subtract_t(pair_design const& design, pair_sample const& sample, double const* W, double* H);

// v += sum of w d over all terms of the block w of a status, scaled.
void add_designs(pair_design const& design, unsigned status, double scale, double const* w,
                 double* v);

// The same, unless v is null, and lower triangle of M += scale * sum of w d d'.
void add_moments(pair_design const& design, unsigned status, double scale, double const* w,
                 double* v, double* M);

// Lower triangle of M += scale v v'.
void add_outer(double scale, std::vector<double> const& v, double* M);

// Calls visit(weight, is_homozygote_term, i, j) for the terms of a block whose weight is not 0.
template <typename visitor>
void for_each_term(pair_design const& design, double const* w, visitor visit) {
    for (unsigned i = 0; i < design.n_haplotypes; ++i)
        for (unsigned j = 0; j <= i; ++j, ++w)
            if (*w != 0) visit(*w, false, i, j);
    if (!design.has_homozygote_terms()) return;
    for (unsigned i = 0; i < design.n_haplotypes; ++i, ++w)
        if (*w != 0) visit(*w, true, i, i);
}

} // namespace retrospective

#endif
