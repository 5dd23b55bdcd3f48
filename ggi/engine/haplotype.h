// Haplotypes, pairs of them, and the loci of a genotype: the values that the engines work on.
#ifndef QUILMAR_GGI_ENGINE_HAPLOTYPE_H
#define QUILMAR_GGI_ENGINE_HAPLOTYPE_H

#include <string>
#include <vector>

struct haplotype {
    unsigned code;     // bit b set: allele 1 at locus b
    unsigned position; // rank among the modelled haplotypes, once pruning has set it

    // n characters "0" or "1", the first locus first.
    std::string str(unsigned n) const;
};

// An unordered pair, listed once: the first haplotype carries allele 1 at the highest locus at
// which the two differ.
struct haplotype_pair {
    haplotype first;
    haplotype second;
};

using haplotype_pair_list = std::vector<haplotype_pair>;

// The loci of an unphased genotype by what is known of them; those in no mask have allele 0 twice.
struct genotype_masks {
    unsigned twos; // allele 1 twice
    unsigned heterozygous;
    unsigned missing;
};

#endif
