// E-step of a genotype whose completions count one by one: every way to fill its missing loci with
// 0, 1 or 2 copies is a genotype of its own with the full weight.
//
// With H the heterozygous and M the missing loci there are 3^|M| completions, and 2^(|H| - 1) 4^|M|
// pairs of haplotypes in all. None is listed: the 2^(|H| + |M|) frequencies that matter are copied
// to where they lie side by side, and the pairs are visited there.
#ifndef QUILMAR_GGI_ENGINE_COMPLETIONS_H
#define QUILMAR_GGI_ENGINE_COMPLETIONS_H

#include "ggi/engine/haplotype.h"

#include <vector>

// Reused from genotype to genotype, so that it does not allocate.
struct completion_counts {
    // For every completion with the pairs (a, b) and S = sum of p_a p_b over their two orders:
    // ratios_a += m p_b / S, and the same for b; the expected counts of m subjects each, divided by
    // p.
    void add(genotype_masks const& g, double m, double const* p, double* ratios);

  private:
    // Per subset u of the missing loci a row of frequencies and one of ratios: in the first table
    // of the haplotypes with allele 1 at the highest heterozygous locus, in the second of their
    // complements at the heterozygous loci, in the same order. Without heterozygous loci the tables
    // are one.
    std::vector<unsigned> codes, other_codes;
    std::vector<double> first, second, first_ratios, second_ratios;

    void list_codes(genotype_masks const& g);
    template <unsigned block> void visit_completions(unsigned loci, double m);
};

#endif
