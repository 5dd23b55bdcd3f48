// E-step of one genotype, M-step and weights of the EM estimators.
#include "ggi/em.h"

#include "ggi/subsets.h"
#include "numeric/nutil.h"

#include <algorithm>

double total_weight(garray const& distinct, unsigned k) {
    double N = 0;
    for (unsigned i = 0; i < distinct.count; ++i)
        N += distinct.genotypes[i]->multiplicity[k];
    return N;
}

void haplotype_counts::init(std::size_t size) {
    ratios.assign(size, 0.0);
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

// Calls visit(c, c', i) once for the i-th unordered pair of sides.
template <typename visitor> void genotype_sides::for_each_pair_of_sides(visitor visit) const {
    unsigned const top = highest_bit(heterozygous), free = heterozygous ^ top;
    std::size_t i = 0;
    for_each_subset(free, [&](unsigned s) { visit(twos | top | s, twos | (free ^ s), i++); });
}

void genotype_sides::sum(genotype const& g, double const* p) {
    twos = g.twos;
    heterozygous = g.heterozygous();
    missing = g.missing;
    if (heterozygous == 0) {
        H = side_sum(twos, missing, p);
        S = H * H;
        return;
    }
    std::size_t const size = std::size_t{1} << count_bits(heterozygous);
    if (sums.size() < size) sums.resize(size);
    double* const side_sums = sums.data();
    double products = 0;
    auto const add = [&](double first, double second, std::size_t i) {
        products += first * second;
        side_sums[2 * i] = first;
        side_sums[2 * i + 1] = second;
    };
    if (missing == 0)
        for_each_pair_of_sides(
            [&](unsigned c, unsigned other, std::size_t i) { add(p[c], p[other], i); });
    else
        for_each_pair_of_sides([&](unsigned c, unsigned other, std::size_t i) {
            add(side_sum(c, missing, p), side_sum(other, missing, p), i);
        });
    H = 0;
    S = 2 * products;
}

void genotype_sides::add_counts(double pair_scale, double same_scale, double* ratios) const {
    if (heterozygous == 0) {
        add_to_side(twos, missing, pair_scale * H + same_scale, ratios);
        return;
    }
    double const* const side_sums = sums.data();
    if (missing == 0)
        for_each_pair_of_sides([&](unsigned c, unsigned other, std::size_t i) {
            ratios[c] += pair_scale * side_sums[2 * i + 1];
            ratios[other] += pair_scale * side_sums[2 * i];
        });
    else
        for_each_pair_of_sides([&](unsigned c, unsigned other, std::size_t i) {
            add_to_side(c, missing, pair_scale * side_sums[2 * i + 1], ratios);
            add_to_side(other, missing, pair_scale * side_sums[2 * i], ratios);
        });
}
