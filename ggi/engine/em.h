// Steps that the EM estimators of haplotype frequencies share.
//
// A genotype with heterozygous loci H and missing loci M is explained by two sides that complement
// each other on H and are free on M. With S(c) the sum of p over all haplotypes that are c at the
// known loci, the sum of p_a p_b over all ordered pairs of haplotypes is
//
//   S = sum over ordered pairs of complementary sides (c, c') of S(c) S(c')
//
// and the expected count of haplotype a on side c is p_a S(c'). That takes 2^(|H| + |M|) steps,
// where a list of all pairs would have about 2^(|H| - 1) 4^|M| entries. The factor p_a is common to
// all genotypes: an E-step sums what stands beside it, and the M-step multiplies.
#ifndef QUILMAR_GGI_ENGINE_EM_H
#define QUILMAR_GGI_ENGINE_EM_H

#include "ggi/engine/haplotype.h"

#include <cstddef>
#include <vector>

// A distinct genotype and the number of subjects that it stands for.
struct weighted_genotype {
    genotype_masks masks;
    unsigned subjects;
    bool counts_as_completions; // every completion counts with all of the subjects
};

// The subjects of all of them.
double total_weight(std::vector<weighted_genotype> const& genotypes);

// Frequencies below the square root of the smallest normal number become 0 in an M-step, so that no
// product of two frequencies is denormal. EM drives haplotypes without support towards 0 by a
// constant factor per iteration, and denormal operands cost a hundred times more.
inline double flushed(double p) {
    return p < 0x1p-511 ? 0.0 : p;
}

// Expected counts of an E-step, and the haplotypes that they go to.
struct haplotype_counts {
    // By haplotype code: the expected count divided by the frequency. Only haplotypes that still
    // have a frequency are kept up to date.
    std::vector<double> ratios;

    // For `size` haplotypes, all counts 0.
    void init(std::size_t size);
    // Sum of the expected counts under frequencies p.
    double total(double const* p) const;
    // M-step: replaces p by scale * expected count and returns the max_err of the change; the
    // counts of those that keep a frequency are 0 after. The first M-step goes through all
    // haplotypes, the others through those that had a frequency left, since 0 stays 0.
    double maximise(double scale, double* p);

  private:
    bool is_first;
    std::vector<unsigned> present; // codes of the haplotypes with a frequency, from the first on
};

// The sides of one genotype under frequencies p; reused from genotype to genotype, so that it does
// not allocate.
struct genotype_sides {
    double S; // sum of p_a p_b over all ordered pairs that explain the genotype
    double H; // sum of p_a over the pairs of a haplotype with itself

    // Sums the sides of a genotype.
    void sum(genotype_masks const& genotype, double const* p);
    // ratios_a += pair_scale S(other side of a) + same_scale [a pairs with itself], for the
    // genotype and frequencies of the last sum.
    void add_counts(double pair_scale, double same_scale, double* ratios) const;

  private:
    genotype_masks g;
    std::vector<double> sums; // S(c), S(c') per unordered pair of sides

    bool has_many_sides() const;
    template <typename visitor> void for_each_pair_of_sides(visitor visit) const;
};

#endif
