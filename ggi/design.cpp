// Effect codes of haplotype pairs, and sums over sparse design vectors.
#include "ggi/design.h"

#include "numeric/nutil.h"

#include <algorithm>

namespace {

double power(unsigned base, unsigned exponent) {
    double product = 1;
    while (exponent-- > 0)
        product *= base;
    return product;
}

} // namespace

void design_vector::add_product_to(double w, double* M, unsigned p) const {
    for (std::size_t e = 0; e < index.size(); ++e)
        for (std::size_t f = 0; f <= e; ++f) {
            std::size_t const row = std::max(index[e], index[f]);
            M[row * p + std::min(index[e], index[f])] += w * value[e] * value[f];
        }
}

effect_copies count_copies(ggi_data const& data, unsigned const* row, unsigned i, unsigned j) {
    effect_copies copies{true, 0, 0};
    for (unsigned gene = 0; gene < data.n_genes; ++gene) {
        if (row[gene] == MAX_UINT) continue;
        bool const first = data.subhaplotypes[gene][i] == row[gene];
        bool const second = data.subhaplotypes[gene][j] == row[gene];
        if (!first && !second) return {false, 0, 0};
        ++copies.genes;
        copies.homozygous += first && second;
    }
    return copies;
}

void add_codes(ggi_data const& data, unsigned const* const* rows, unsigned n, unsigned two,
               unsigned one, unsigned first, unsigned i, unsigned j, design_vector& d) {
    for (unsigned e = 0; e < n; ++e) {
        effect_copies const c = count_copies(data, rows[e], i, j);
        if (!c.present) continue;
        double const z = power(two, c.homozygous) * power(one, c.genes - c.homozygous);
        if (z != 0) d.add(first + e, z);
    }
}

void add_codominant_codes(ggi_data const& data, unsigned const* const* rows, unsigned n,
                          unsigned first, unsigned i, unsigned j, design_vector& d) {
    for (unsigned e = 0; e < n; ++e) {
        effect_copies const c = count_copies(data, rows[e], i, j);
        if (!c.present) continue;
        d.add(first + 2 * e, power(2, c.homozygous));
        if (c.homozygous == c.genes) d.add(first + 2 * e + 1, 1);
    }
}
