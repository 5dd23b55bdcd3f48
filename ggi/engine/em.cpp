// E-step of one genotype, M-step and weights of the EM estimators.
#include "ggi/engine/em.h"

#include "numeric/bits.h"
#include "numeric/memory.h"
#include "numeric/nutil.h"
#include "numeric/subsets.h"

#include <algorithm>

double total_weight(std::vector<weighted_genotype> const& genotypes) {
    double N = 0;
    for (weighted_genotype const& g : genotypes)
        N += g.subjects;
    return N;
}

void haplotype_counts::init(std::size_t size) {
    ratios.clear();
    ratios.reserve(size);
    use_large_pages(ratios.data(), size * sizeof(double));
    ratios.resize(size);
    is_first = true;
    present.clear();
}

double haplotype_counts::total(double const* p) const {
    double sum = 0;
    if (is_first)
        for (std::size_t a = 0; a < ratios.size(); ++a)
            sum += p[a] * ratios[a];
    else
        for (unsigned const a : present)
            sum += p[a] * ratios[a];
    return sum;
}

double haplotype_counts::maximise(double scale, double* p) {
    double error = -MAX_DOUBLE;
    // Tells whether haplotype a still has a frequency; one that is not a number counts as such.
    auto const update = [&, r = ratios.data()](std::size_t a) {
        double const next = flushed(p[a] * r[a] * scale);
        error = larger_error(error, component_change(next, p[a]));
        p[a] = next;
        r[a] = 0;
        return next != 0;
    };
    if (is_first) {
        present.reserve(ratios.size() -
                        static_cast<std::size_t>(std::count(ratios.begin(), ratios.end(), 0.0)));
        for (std::size_t a = 0; a < ratios.size(); ++a)
            if (update(a)) present.push_back(static_cast<unsigned>(a));
    } else {
        std::size_t kept = 0;
        for (unsigned const a : present) {
            present[kept] = a;
            kept += update(a);
        }
        present.resize(kept);
    }
    is_first = false;
    return error;
}

namespace {

// Calls visit(a, b) for the haplotypes that are c at the known loci, two at a time: allele 0 and 1
// at the lowest missing locus.
template <typename visitor> void for_each_two_on_side(unsigned c, unsigned missing, visitor visit) {
    unsigned const low = missing & (~missing + 1);
    for_each_subset(missing ^ low, [&](unsigned u) { visit(c | u, c | u | low); });
}

double side_sum(unsigned c, unsigned missing, double const* p) {
    if (missing == 0) return p[c];
    double total = 0;
    for_each_two_on_side(c, missing, [&](unsigned a, unsigned b) { total += p[a] + p[b]; });
    return total;
}

void add_to_side(unsigned c, unsigned missing, double count, double* ratios) {
    if (missing == 0)
        ratios[c] += count;
    else
        for_each_two_on_side(c, missing, [&](unsigned a, unsigned b) {
            ratios[a] += count;
            ratios[b] += count;
        });
}

} // namespace

// Calls visit(c, c', i) once for the i-th unordered pair of sides, known alleles 1 left out.
template <typename visitor> void genotype_sides::for_each_pair_of_sides(visitor visit) const {
    unsigned const low = g.heterozygous & (~g.heterozygous + 1), free = g.heterozygous ^ low;
    std::size_t i = 0;
    for_each_subset(free, [&](unsigned s) { visit(low | s, free ^ s, i++); });
}

// Of the loops over sides and over completions the longer one is the inner one.
bool genotype_sides::has_many_sides() const {
    return g.missing == 0 || count_bits(g.heterozygous) > count_bits(g.missing);
}

void genotype_sides::sum(genotype_masks const& genotype, double const* p) {
    g = genotype;
    if (g.heterozygous == 0) {
        H = side_sum(g.twos, g.missing, p);
        S = H * H;
        return;
    }
    std::size_t const size = std::size_t{1} << count_bits(g.heterozygous);
    if (sums.size() < size) sums.resize(size);
    double* const v = sums.data();
    double products = 0;
    auto const add = [&](double first, double second, std::size_t i) {
        products += first * second;
        v[2 * i] = first;
        v[2 * i + 1] = second;
    };
    if (g.missing == 0) {
        for_each_pair_of_sides([&, at = p + g.twos](unsigned c, unsigned other, std::size_t i) {
            add(at[c], at[other], i);
        });
    } else if (has_many_sides()) {
        std::fill(v, v + size, 0.0);
        for_each_subset(g.missing, [&](unsigned u) {
            for_each_pair_of_sides(
                [&, at = p + (g.twos | u)](unsigned c, unsigned other, std::size_t i) {
                    v[2 * i] += at[c];
                    v[2 * i + 1] += at[other];
                });
        });
        for (std::size_t i = 0; i < size; i += 2)
            products += v[i] * v[i + 1];
    } else {
        for_each_pair_of_sides([&](unsigned c, unsigned other, std::size_t i) {
            add(side_sum(g.twos | c, g.missing, p), side_sum(g.twos | other, g.missing, p), i);
        });
    }
    H = 0;
    S = 2 * products;
}

void genotype_sides::add_counts(double pair_scale, double same_scale, double* ratios) const {
    if (g.heterozygous == 0) {
        add_to_side(g.twos, g.missing, pair_scale * H + same_scale, ratios);
        return;
    }
    double const* const v = sums.data();
    if (has_many_sides())
        for_each_subset(g.missing, [&](unsigned u) {
            double* const at = ratios + (g.twos | u);
            for_each_pair_of_sides([&](unsigned c, unsigned other, std::size_t i) {
                at[c] += pair_scale * v[2 * i + 1];
                at[other] += pair_scale * v[2 * i];
            });
        });
    else
        for_each_pair_of_sides([&](unsigned c, unsigned other, std::size_t i) {
            add_to_side(g.twos | c, g.missing, pair_scale * v[2 * i + 1], ratios);
            add_to_side(g.twos | other, g.missing, pair_scale * v[2 * i], ratios);
        });
}
