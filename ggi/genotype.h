// Unphased multi-locus genotypes and the haplotype pairs that explain them.
//
// A genotype of n <= 32 loci uses the bits n-1 to 0 of its masks; bit n-1 is the first locus.
// Allele 1 is the counted allele. Per locus: ones clear = 0 copies, ones set and twos clear = 1
// copy (heterozygous), twos set (a subset of ones) = 2 copies, missing set (ones and twos clear) =
// unknown.
#ifndef QUILMAR_GGI_GENOTYPE_H
#define QUILMAR_GGI_GENOTYPE_H

#include "ggi/engine/haplotype.h"
#include "numeric/bits.h"

#include <set>
#include <string>
#include <vector>

struct genotype {
    std::vector<genotype>* subdivision; // owned: the completions, once subdivide has been called
    haplotype_pair_list* pairs;         // owned: the pairs that explain this genotype
    unsigned n_covariates;              // covariate values read on the subject's line
    unsigned nsnp;
    unsigned missing;
    unsigned twos;
    unsigned ones;
    unsigned multiplicity[4]; // subjects with this genotype: controls, cases, all; the last unused

    // Sets the masks; pointers and multiplicities stay.
    void init(unsigned n, unsigned missing_mask, unsigned twos_mask, unsigned ones_mask) {
        nsnp = n;
        missing = missing_mask;
        twos = twos_mask;
        ones = ones_mask;
        n_covariates = 0;
    }
    // Zeroes every field. What the pointers held is the owner's to release beforehand.
    void clear() { *this = genotype{}; }
    // Sets multiplicity k (0 to 3) to count; k = 4 sets the first three and leaves the last.
    void set_multiplicity(unsigned count, unsigned k) {
        if (k < 4)
            multiplicity[k] = count;
        else if (k == 4)
            multiplicity[0] = multiplicity[1] = multiplicity[2] = count;
    }

    unsigned count_missing() const;
    // Number of heterozygous loci.
    unsigned count_ones() const;
    unsigned heterozygous() const { return ones & ~twos; }
    genotype_masks masks() const { return {twos, heterozygous(), missing}; }

    // Number of unordered haplotype pairs, missing loci expanded; at most 2^63 (exact up to there).
    unsigned long long count_pairs() const;

    // strict: all masks agree. Otherwise the loci that are not missing here must agree with the
    // other's twos and ones, whatever its missing mask says.
    bool equals(genotype const& other, bool strict) const {
        if (strict) return missing == other.missing && twos == other.twos && ones == other.ones;
        unsigned const known = low_bits(nsnp) & ~missing;
        return ((twos ^ other.twos) & known) == 0 && ((ones ^ other.ones) & known) == 0;
    }

    // (h, partner of h): the partner complements h at heterozygous loci, has allele 1 at
    // homozygous-1 loci and allele 0 at homozygous-0 and missing loci. The partner's position is
    // not meaningful.
    haplotype_pair make_pair(unsigned h) const;
    haplotype_pair make_pair(haplotype h) const;

    // Lists all pairs, missing loci expanded, in depth-first order (allele 1 before allele 0; of
    // the highest missing locus, value 0 before 1 before 2). Returns 1, or 0 when a list was there.
    int haplotype_pairs();
    // The same pairs restricted to those with both codes in set, in no order that is promised; the
    // work grows with the smaller of the set and the number of all pairs.
    int haplotype_pairs(std::set<unsigned> const& set);

    // Appends the pairs whose first haplotype continues h from `locus` downwards (locus -1: h is
    // complete); with a set, only those with both codes in it.
    void find_pairs(int locus, unsigned h, haplotype_pair_list& list) const;
    void find_pairs(int locus, unsigned h, haplotype_pair_list& list,
                    std::set<unsigned> const& set) const;

    // No reader here, where completions are visited and not stored. Fills the subdivision once with all 3^(missing loci) complete genotypes; none for a genotype
    // without missing loci. The limit is the caller's bound on missing loci and changes nothing.
    void subdivide(unsigned limit);

    // One character per locus: "0", "1", "2", or "9" for a missing locus.
    std::string str() const;
};

#endif
