// Coding of a haplotype pair for the likelihood models: the non-zero entries of its design vector.
#ifndef QUILMAR_GGI_DESIGN_H
#define QUILMAR_GGI_DESIGN_H

#include "ggi/ggi.h"

#include <cstddef>
#include <vector>

// Sparse vector of non-zero entries; reused from pair to pair, so that listing does not allocate.
struct design_vector {
    std::vector<unsigned> index;
    std::vector<double> value;

    void clear() {
        index.clear();
        value.clear();
    }
    void add(unsigned i, double v) {
        index.push_back(i);
        value.push_back(v);
    }
    // v += w d over the entries.
    void add_to(double w, double* v) const {
        for (std::size_t e = 0; e < index.size(); ++e)
            v[index[e]] += w * value[e];
    }
    // Lower triangle of the p x p matrix M += w d d'.
    void add_product_to(double w, double* M, unsigned p) const;
    // Inner product with x.
    double times(double const* x) const {
        double sum = 0;
        for (std::size_t e = 0; e < index.size(); ++e)
            sum += value[e] * x[index[e]];
        return sum;
    }
};

// Copies of an effect's subhaplotypes in a pair.
struct effect_copies {
    bool present;        // at each involved gene at least one haplotype carries the subhaplotype
    unsigned genes;      // involved genes
    unsigned homozygous; // involved genes at which both haplotypes carry it
};

// Counts them for the pair of modelled haplotypes i and j and the gene entries of a term's row.
effect_copies count_copies(ggi_data const& data, unsigned const* row, unsigned i, unsigned j);

// Additive, recessive and dominant coding of the pair for n terms by the gene entries of their
// rows: z_e = two^homozygous one^(genes - homozygous) when the term is present, else 0. Adds z_e at
// index first + e.
void add_codes(ggi_data const& data, unsigned const* const* rows, unsigned n, unsigned two,
               unsigned one, unsigned first, unsigned i, unsigned j, design_vector& d);

// Codominant coding: for a term that is present 2^homozygous at index first + 2e and, when the pair
// is homozygous at every involved gene, 1 at index first + 2e + 1.
void add_codominant_codes(ggi_data const& data, unsigned const* const* rows, unsigned n,
                          unsigned first, unsigned i, unsigned j, design_vector& d);

// Offset of row i in a packed lower triangle: entry (i, j), i >= j, is at triangle(i) + j.
inline std::size_t triangle(std::size_t i) {
    return i * (i + 1) / 2;
}

#endif
