// Codes of haplotype pairs, and sums over sparse design vectors.
#include "ggi/engine/design.h"

#include "numeric/nutil.h"

#include <algorithm>

namespace {

double power(unsigned base, unsigned exponent) {
    double product = 1;
    while (exponent-- > 0)
        product *= base;
    return product;
}

// Copies of the labels of a term in a pair.
struct label_copies {
    bool is_present;     // at each gene that takes part at least one haplotype carries the label
    unsigned genes;      // that take part
    unsigned homozygous; // of them, where both haplotypes carry it
};

label_copies count_copies(term_table const& terms, unsigned const* row, unsigned i, unsigned j) {
    label_copies copies{true, 0, 0};
    for (unsigned gene = 0; gene < terms.n_genes; ++gene) {
        if (row[gene] == MAX_UINT) continue;
        bool const first = terms.labels[gene][i] == row[gene];
        bool const second = terms.labels[gene][j] == row[gene];
        if (!first && !second) return {false, 0, 0};
        ++copies.genes;
        copies.homozygous += first && second;
    }
    return copies;
}

} // namespace

bool coding_of(unsigned mode, coding& code) {
    constexpr coding CODES[] = {{2, 1, false}, {1, 0, false}, {1, 1, false}, {0, 0, true}};
    if (mode < 1 || mode > 4) return false;
    code = CODES[mode - 1];
    return true;
}

void design_vector::add_product_to(double w, double* M, unsigned p) const {
    for (std::size_t e = 0; e < index.size(); ++e)
        for (std::size_t f = 0; f <= e; ++f) {
            std::size_t const row = std::max(index[e], index[f]);
            M[row * p + std::min(index[e], index[f])] += w * value[e] * value[f];
        }
}

void term_table::list(unsigned i, unsigned j, unsigned first, design_vector& d) const {
    for (unsigned e = 0; e < n_terms; ++e) {
        label_copies const c = count_copies(*this, rows[e], i, j);
        if (!c.is_present) continue;
        if (code.is_codominant) {
            d.add(first + 2 * e, power(2, c.homozygous));
            if (c.homozygous == c.genes) d.add(first + 2 * e + 1, 1);
        } else {
            double const z =
                power(code.two_copies, c.homozygous) * power(code.one_copy, c.genes - c.homozygous);
            if (z != 0) d.add(first + e, z);
        }
    }
}

void pair_design::list_haplotypes(bool is_homozygote_term, unsigned i, unsigned j,
                                  design_vector& d) const {
    unsigned const end = n_haplotype_parameters();
    d.clear();
    if (i == j) {
        if (i < end) d.add(i, is_homozygote_term ? 1 : 2);
    } else {
        if (i < end) d.add(i, 1);
        if (j < end) d.add(j, 1);
    }
}

void pair_design::list(bool is_homozygote_term, unsigned i, unsigned j, design_vector& d) const {
    list_haplotypes(is_homozygote_term, i, j, d);
    effects.list(i, j, n_haplotype_parameters(), d);
}
