// Coding of a pair of haplotypes for the likelihood models: its design vector.
//
// For the pair (i, j) of modelled haplotypes, 0 <= j <= i < K, d(i, j) counts the copies of every
// haplotype that has a parameter and holds the code z_e of every term e:
//
//   z_e = two^h one^(g - h)       g genes take part in e, h of them with both haplotypes carrying
//                                 the haplotype that e asks for; 0 where neither carries it
//   z_e = 2^h,  z_(e+1) = [h = g]  under the codominant mode, which has two entries per term
//
// A homozygote term, which the disequilibrium models have beside the pair (i, i), counts haplotype
// i once.
#ifndef QUILMAR_GGI_ENGINE_DESIGN_H
#define QUILMAR_GGI_ENGINE_DESIGN_H

#include <cstddef>
#include <vector>

// Mode of inheritance: the codes of two copies and of one at a gene, or the codominant coding.
struct coding {
    unsigned two_copies;
    unsigned one_copy;
    bool is_codominant;

    unsigned per_term() const { return is_codominant ? 2 : 1; }
};

// The coding of mode 1 additive, 2 recessive, 3 dominant or 4 codominant. False for another mode,
// with `code` unchanged.
bool coding_of(unsigned mode, coding& code);

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

// Terms that a pair of haplotypes is coded for. Nothing is owned.
struct term_table {
    unsigned n_genes;
    unsigned const* const* labels; // per gene the part of every modelled haplotype that lies there
    unsigned const* const* rows;   // per term one label per gene, MAX_UINT where none is asked for
    unsigned n_terms;
    coding code;

    // Appends the codes of the pair (i, j), those of the first term at index `first`.
    void list(unsigned i, unsigned j, unsigned first, design_vector& d) const;
};

// Design of the plain models: the haplotypes from index 0, then the terms.
struct pair_design {
    unsigned n_haplotypes; // K
    bool has_reference;    // equilibrium: the last haplotype has no parameter, homozygotes no term
    unsigned p;            // length of the design, which other parameters may follow
    term_table effects;

    unsigned n_haplotype_parameters() const { return n_haplotypes - (has_reference ? 1 : 0); }
    bool has_homozygote_terms() const { return !has_reference; }

    // d := the haplotypes' entries for the pair (i, j), or for the homozygote term of i.
    void list_haplotypes(bool is_homozygote_term, unsigned i, unsigned j, design_vector& d) const;
    // d := the whole design vector, that of the cases.
    void list(bool is_homozygote_term, unsigned i, unsigned j, design_vector& d) const;
    // d := the design of a subject with the status: controls have no codes.
    void list_for(unsigned status, bool is_homozygote_term, unsigned i, unsigned j,
                  design_vector& d) const {
        if (status == 0)
            list_haplotypes(is_homozygote_term, i, j, d);
        else
            list(is_homozygote_term, i, j, d);
    }
};

// Offset of row i in a packed lower triangle: entry (i, j), i >= j, is at triangle(i) + j.
inline std::size_t triangle(std::size_t i) {
    return i * (i + 1) / 2;
}

#endif
