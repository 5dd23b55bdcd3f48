// The distinct genotypes of a sample with their control and case counts.
#ifndef QUILMAR_GGI_GARRAY_H
#define QUILMAR_GGI_GARRAY_H

#include "ggi/engine/em.h"
#include "ggi/genotype.h"

#include <vector>

// A distinct genotype and how many subjects have it, where the subjects themselves are not needed.
struct genotype_count {
    unsigned missing, twos, ones;
    unsigned controls, cases;
};

struct garray {
    unsigned empty = 1;             // until init has filled the array
    unsigned count = 0;             // number of distinct genotypes
    unsigned subjects = 0;          // number of subjects given to init
    unsigned** members = nullptr;   // owned, one block of indices behind it; no reader here
    genotype** genotypes = nullptr; // owned table; the genotypes belong to the caller
    unsigned* ranks = nullptr;      // owned: per subject the index of its distinct genotype
    unsigned* first[2] = {};        // owned: per genotype its first control and its first case,
                                    // MAX_UINT for none; these and ranks are null without subjects
    unsigned most_missing = ~0u;    // genotypes with more missing loci count as their completions

    // Does the genotype count once per completion instead of as one?
    bool counts_as_completions(genotype const& g) const { return g.count_missing() > most_missing; }

    // Groups the genotypes g[0..n-1] of subjects with the given statuses (0 control, else case)
    // into distinct genotypes, in order of first appearance; the first subject's object stands for
    // all. Its multiplicities become controls, cases and their sum; those of the others become 0.
    //
    // mode 101: members[i] lists the subjects of distinct genotype i whose status is `group` (all
    // for group 2), in file order, or is null when there are none.
    //
    // max_missing >= 0 and subdivide: sets most_missing. Neither completions nor pairs of
    // haplotypes are listed here: the estimators need no lists, the models only the pairs of the
    // modelled haplotypes.
    void init(genotype** g, unsigned const* status, unsigned n, int mode, unsigned group,
              int max_missing, bool subdivide);
    void init(genotype** g, bool const* status, unsigned n, int mode, unsigned group,
              int max_missing, bool subdivide);

    // The same array from counts, without subjects: genotypes of nsnp loci, no two of which are
    // equal, whose n objects g[0..n-1] are filled here. With the counts in order of first
    // appearance among some subjects, every result is that of the subjects in all bits.
    void init(genotype** g, genotype_count const* counts, unsigned n, unsigned nsnp,
              int max_missing);

    // Hands the lists of the distinct genotypes to the subjects' objects that were given to init.
    void share(genotype** g) const;

    // The genotypes that have subjects in multiplicity k, for an estimator, the last first.
    std::vector<weighted_genotype> weighted(unsigned k) const;

    // Subjects whose genotype counts as its completions, controls and cases together.
    unsigned count_incomplete() const;

    // Releases the lists of the distinct genotypes, which no subject may use any more, the member
    // lists and the tables; the array is empty after.
    void clear();

    // Number of loci of the first distinct genotype.
    unsigned nsnp() const { return genotypes[0]->nsnp; }
};

#endif
