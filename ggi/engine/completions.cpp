// Visits of all pairs of haplotypes of all completions.
#include "ggi/engine/completions.h"

#include "numeric/bits.h"
#include "numeric/rows.h"
#include "numeric/subsets.h"

#include <algorithm>
#include <cstddef>

namespace {

void gather(std::vector<unsigned> const& codes, double const* table, std::vector<double>& values) {
    values.resize(codes.size());
    std::transform(codes.begin(), codes.end(), values.begin(),
                   [table](unsigned a) { return table[a]; });
}

void scatter(std::vector<unsigned> const& codes, std::vector<double> const& values, double* table) {
    for (std::size_t i = 0; i < codes.size(); ++i)
        table[codes[i]] += values[i];
}

} // namespace

void completion_counts::list_codes(genotype_masks const& g) {
    unsigned const H = g.heterozygous, top = highest_bit(H), free = H ^ top;
    codes.clear();
    other_codes.clear();
    // Upwards, so that the u-th subset of the missing loci is row u.
    for_each_subset_upwards(g.missing, [&](unsigned u) {
        for_each_subset_upwards(free, [&](unsigned s) {
            codes.push_back(g.twos | u | top | s);
            if (H != 0) other_codes.push_back(g.twos | u | (free ^ s));
        });
    });
}

// A completion has allele 1 twice at the loci T and is heterozygous at Q. Its pairs are v and Q - v
// for the subsets v of Q; without other heterozygous loci those with the highest locus of Q are
// half of them and stand for all.
template <unsigned block> void completion_counts::visit_completions(unsigned loci, double m) {
    // Short rows are of a length that the compiler knows.
    std::size_t const row = block < 8 ? block : codes.size() >> loci;
    bool const is_one_table = other_codes.empty();
    double const* const p = first.data();
    double const* const q = is_one_table ? p : second.data();
    double* const a = first_ratios.data();
    double* const b = is_one_table ? a : second_ratios.data();
    unsigned const all = low_bits(loci);
    for (unsigned Q = 0; Q <= all; ++Q) {
        unsigned const fixed = is_one_table ? highest_bit(Q) : 0;
        bool const is_same = is_one_table && Q == 0;
        for_each_subset(all ^ Q, [&](unsigned T) {
            double sums[block] = {};
            for_each_subset(Q ^ fixed, [&](unsigned v) {
                double const* const x = p + row * (T | fixed | v);
                double const* const y = q + row * (T | (Q ^ fixed ^ v));
                for (std::size_t s = 0; s < row; s += block)
                    for (unsigned i = 0; i < block; ++i)
                        sums[i] += x[s + i] * y[s + i];
            });
            double S = 0;
            for (double const sum : sums)
                S += sum;
            double const scale = m / (is_same ? S : 2 * S);
            for_each_subset(Q ^ fixed, [&](unsigned v) {
                std::size_t const i = row * (T | fixed | v), j = row * (T | (Q ^ fixed ^ v));
                add_scaled(scale, q + j, row, a + i);
                if (!is_same) add_scaled(scale, p + i, row, b + j);
            });
        });
    }
}

void completion_counts::add(genotype_masks const& g, double m, double const* p, double* ratios) {
    list_codes(g);
    gather(codes, p, first);
    gather(other_codes, p, second);
    first_ratios.assign(codes.size(), 0.0);
    second_ratios.assign(other_codes.size(), 0.0);
    unsigned const loci = count_bits(g.missing);
    switch (codes.size() >> loci) {
    case 1: visit_completions<1>(loci, m); break;
    case 2: visit_completions<2>(loci, m); break;
    case 4: visit_completions<4>(loci, m); break;
    default: visit_completions<8>(loci, m); break;
    }
    scatter(codes, first_ratios, ratios);
    scatter(other_codes, second_ratios, ratios);
}
