// Steps that the EM estimators of haplotype frequencies share.
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

// Calls visit(pairs) for the list of every completion of a subdivided genotype. Only one list
// exists at a time, in `scratch`.
template <typename visitor>
void for_each_completion(genotype const& g, haplotype_pair_list& scratch, visitor visit) {
    for (genotype const& completion : *g.subdivision) {
        scratch.clear();
        completion.find_pairs(static_cast<int>(completion.nsnp) - 1, 0, scratch);
        visit(scratch);
    }
}

#endif
