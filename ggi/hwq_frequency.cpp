// EM under Hardy-Weinberg equilibrium. For a genotype g with weight m and explaining pairs (a, b):
//
//   P(g)  = sum of c p_a p_b,              c = 1 when a = b, else 2
//   E:      acc_a += m p_a p_b / P(g)      for both haplotypes of a pair (once when a = b)
//   M:      p_h = acc_h / N,               N = sum of m
//   log L = sum of m ln P(g)
//
// A genotype that counts as its completions enters with each of them at the full weight m (and is
// left out of log L), so that the frequencies of a sample with such genotypes sum to more than 1.
#include "ggi/hwq_frequency.h"

#include "ggi/engine/completions.h"
#include "ggi/engine/em.h"
#include "numeric/nutil.h"
#include "numeric/recurrence.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// E-step over all distinct genotypes.
void expectation(std::vector<weighted_genotype> const& sample, double const* p, double* ratios,
                 genotype_sides& sides, completion_counts& completions) {
    for (weighted_genotype const& g : sample) {
        if (g.counts_as_completions) {
            completions.add(g.masks, g.subjects, p, ratios);
        } else {
            sides.sum(g.masks, p);
            sides.add_counts(g.subjects / sides.S, 0, ratios);
        }
    }
}

double log_likelihood(std::vector<weighted_genotype> const& sample, double const* p,
                      genotype_sides& sides) {
    double sum = 0;
    for (auto at = sample.rbegin(); at != sample.rend(); ++at) {
        weighted_genotype const& g = *at;
        if (g.counts_as_completions) continue;
        sides.sum(g.masks, p);
        sum += g.subjects * std::log(sides.S);
    }
    return sum;
}

} // namespace

double completion_pairs(garray const& distinct, unsigned k) {
    double pairs = 0;
    for (unsigned r = 0; r < distinct.count; ++r) {
        genotype const& g = *distinct.genotypes[r];
        if (g.multiplicity[k] != 0 && distinct.counts_as_completions(g))
            pairs += static_cast<double>(g.count_pairs());
    }
    return pairs;
}

void frequency(genotype const& g, unsigned m, double const* p, double* acc) {
    std::size_t const size = std::size_t{1} << g.nsnp;
    std::vector<double> ratios(size);
    genotype_sides sides;
    sides.sum(g.masks(), p);
    sides.add_counts(m / sides.S, 0, ratios.data());
    for (std::size_t a = 0; a < size; ++a)
        if (ratios[a] != 0) acc[a] += p[a] * ratios[a];
}

int hwq_frequency(data const& d, unsigned k, unsigned max_iterations, double tolerance, result& res,
                  bool start) {
    if (k > 3) return INVALID_SPECIFIER;
    std::vector<weighted_genotype> const sample = d.distinct->weighted(k);
    std::size_t const size = std::size_t{1} << d.nsnp();
    double* const p = res.estimates;
    if (start) {
        std::fill(p, p + size, 1.0 / static_cast<double>(size));
        res.iterations = 0;
    }
    double const inverse_N = 1.0 / total_weight(sample);

    haplotype_counts counts;
    counts.init(size);
    genotype_sides sides;
    completion_counts completions;
    recurrence seen;
    double error = MAX_DOUBLE;
    while (res.iterations < max_iterations && error > tolerance) {
        ++res.iterations;
        expectation(sample, p, counts.ratios.data(), sides, completions);
        error = counts.maximise(inverse_N, p);
        seen.skip_rounds(p, size, 0, max_iterations, res.iterations);
    }
    res.log_likelihood = log_likelihood(sample, p, sides);
    res.rho = 0;
    res.error = error;
    res.status =
        error <= tolerance || res.iterations < max_iterations ? SUCCESS : ITERATIONS_EXCEEDED;
    return res.status;
}
