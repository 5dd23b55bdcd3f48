// Steps that the EM estimators of haplotype frequencies share.
//
// A genotype with heterozygous loci H and missing loci M is explained by two sides that complement
// each other on H and are free on M. With S(c) the sum of p over all haplotypes that are c at the
// known loci, the sum of p_a p_b over all ordered pairs of haplotypes is
//
//   S = sum over ordered pairs of complementary sides (c, c') of S(c) S(c')
//
// and the expected count of haplotype a on side c is p_a S(c'). That takes 2^(|H| + |M|) steps,
// where a list of all pairs would have about 2^(|H| - 1) 4^|M| entries.
#ifndef QUILMAR_GGI_EM_H
#define QUILMAR_GGI_EM_H

#include "ggi/garray.h"

#include <cstddef>
#include <vector>

// Frequencies below the square root of the smallest normal number become 0 in an M-step, so that no
// product of two frequencies is denormal. EM drives haplotypes without support towards 0 by a
// constant factor per iteration, and denormal operands cost a hundred times more.
inline double flushed(double p) {
    return p < 0x1p-511 ? 0.0 : p;
}

// Number of subjects that count: the sum of multiplicity k over the distinct genotypes.
double total_weight(garray const& distinct, unsigned k);

// M-step: replaces p by scale * acc (both of acc.size() values) and returns the max_err of the
// change. acc is overwritten.
double maximisation(std::vector<double>& acc, double scale, double* p);

// The sides of one genotype under frequencies p; reused from genotype to genotype, so that it does
// not allocate.
struct genotype_sides {
    double S; // sum of p_a p_b over all ordered pairs that explain the genotype
    double H; // sum of p_a over the pairs of a haplotype with itself

    // Sums the sides of g.
    void sum(genotype const& g, double const* p);
    // acc_a += pair_scale p_a S(other side of a) + same_scale p_a [a pairs with itself], for the
    // genotype and frequencies of the last sum.
    void add_counts(double pair_scale, double same_scale, double const* p, double* acc) const;

  private:
    unsigned twos, heterozygous, missing;
    std::vector<double> sums; // S(c), S(c') per unordered pair of sides

    template <typename visitor> void for_each_pair_of_sides(visitor visit) const;
};

#endif
