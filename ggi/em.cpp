// E-step of one genotype, M-step and weights of the EM estimators.
#include "ggi/em.h"

#include "numeric/nutil.h"

#include <algorithm>

double total_weight(garray const& distinct, unsigned k) {
    double N = 0;
    for (unsigned i = 0; i < distinct.count; ++i)
        N += distinct.genotypes[i]->multiplicity[k];
    return N;
}

double maximisation(std::vector<double>& acc, double scale, double* p) {
    // In blocks that stay in cache.
    constexpr std::size_t BLOCK = 4096;
    double error = -MAX_DOUBLE;
    for (std::size_t first = 0; first < acc.size(); first += BLOCK) {
        std::size_t const n = std::min(BLOCK, acc.size() - first);
        double* const next = acc.data() + first;
        std::transform(next, next + n, next, [=](double a) { return flushed(a * scale); });
        error = std::max(error, max_err(next, p + first, static_cast<unsigned>(n)));
        std::copy(next, next + n, p + first);
    }
    return error;
}

namespace {

// Calls visit(a) for all haplotypes that are c at the known loci.
template <typename visitor> void for_each_on_side(unsigned c, unsigned missing, visitor visit) {
    unsigned u = missing;
    visit(c | u);
    while (u != 0) {
        u = (u - 1) & missing;
        visit(c | u);
    }
}

} // namespace

// Calls visit(c, c') once for every unordered pair of sides; without heterozygous loci c = c'.
template <typename visitor> void genotype_sides::for_each_pair_of_sides(visitor visit) const {
    unsigned const top = highest_bit(heterozygous), free = heterozygous & ~top;
    unsigned s = free;
    for (;;) {
        visit(twos | top | s, twos | (free & ~s));
        if (s == 0) return;
        s = (s - 1) & free;
    }
}

void genotype_sides::sum(genotype const& g, double const* p) {
    twos = g.twos;
    heterozygous = g.heterozygous();
    missing = g.missing;
    S = H = 0;
    sums.clear();
    bool const is_homozygous = heterozygous == 0;
    auto const side = [&](unsigned c) {
        double total = 0;
        for_each_on_side(c, missing, [&](unsigned a) { total += p[a]; });
        return total;
    };
    for_each_pair_of_sides([&](unsigned c, unsigned other) {
        double const first = side(c), second = is_homozygous ? first : side(other);
        S += is_homozygous ? first * second : 2 * first * second;
        sums.push_back(first);
        sums.push_back(second);
    });
    if (is_homozygous) H = sums[0];
}

void genotype_sides::add_counts(double pair_scale, double same_scale, double const* p,
                                double* acc) const {
    double const* side_sums = sums.data();
    bool const is_homozygous = heterozygous == 0;
    for_each_pair_of_sides([&](unsigned c, unsigned other) {
        double const first = pair_scale * side_sums[0], second = pair_scale * side_sums[1];
        double const scale = is_homozygous ? first + same_scale : second;
        for_each_on_side(c, missing, [&](unsigned a) { acc[a] += scale * p[a]; });
        if (!is_homozygous)
            for_each_on_side(other, missing, [&](unsigned a) { acc[a] += first * p[a]; });
        side_sums += 2;
    });
}
