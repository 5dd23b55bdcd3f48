// The distinct genotypes of a sample with their control and case counts.
#ifndef QUILMAR_GGI_GARRAY_H
#define QUILMAR_GGI_GARRAY_H

#include "ggi/genotype.h"

struct garray {
    unsigned empty = 1;           // until init has filled the array
    unsigned count = 0;           // number of distinct genotypes
    unsigned subjects = 0;        // number of subjects given to init
    unsigned** members = nullptr; // owned, one block of indices behind it; null without index mode
    genotype** genotypes = nullptr; // owned table; the genotypes belong to the caller
    unsigned* ranks = nullptr;      // owned: index of every subject's distinct genotype
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

    // Hands the lists of the distinct genotypes to the subjects' objects that were given to init.
    void share(genotype** g) const;

    // Releases the lists of the distinct genotypes, which no subject may use any more, the member
    // lists and the tables; the array is empty after.
    void clear();

    // Number of loci of the first distinct genotype.
    unsigned nsnp() const { return genotypes[0]->nsnp; }
};

#endif
