// EM under Hardy-Weinberg disequilibrium: with probability rho both haplotypes of a subject are
// copies of one draw, else they are two independent draws. For a genotype g with weight m and
// explaining pairs (a, b), missing loci expanded however many there are:
//
//   S     = sum of c p_a p_b,  c = 1 when a = b, else 2;   H = sum of p_a over the pairs with a = b
//   P(g)  = (1 - rho) S + rho H
//   E:      acc_a += 2 (1 - rho) p_a p_b m / P(g)  for both haplotypes of a pair (once when a = b)
//           acc_a += rho p_a m / P(g)              when a = b
//           R     += rho H m / P(g)
//   M:      p_h = acc_h / sum of acc,   rho = R / N,   N = sum of m
//   log L = sum of m ln P(g)
#include "ggi/hwd_frequency.h"

#include "ggi/engine/em.h"
#include "numeric/nutil.h"
#include "numeric/recurrence.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

double probability(genotype_sides const& sides, double rho) {
    return (1 - rho) * sides.S + rho * sides.H;
}

// E-step over all distinct genotypes into the ratios of expected counts; returns R.
double expectation(std::vector<weighted_genotype> const& sample, double const* p, double rho,
                   double* ratios, genotype_sides& sides) {
    double R = 0;
    for (weighted_genotype const& g : sample) {
        sides.sum(g.masks, p);
        double const w = g.subjects / probability(sides, rho);
        R += rho * sides.H * w;
        sides.add_counts(2 * (1 - rho) * w, rho * w, ratios);
    }
    return R;
}

double log_likelihood(std::vector<weighted_genotype> const& sample, double const* p, double rho,
                      genotype_sides& sides) {
    double sum = 0;
    for (auto at = sample.rbegin(); at != sample.rend(); ++at) {
        weighted_genotype const& g = *at;
        sides.sum(g.masks, p);
        sum += g.subjects * std::log(probability(sides, rho));
    }
    return sum;
}

} // namespace

int hwd_frequency(data const& d, unsigned k, unsigned max_iterations, double tolerance, result& res,
                  bool start) {
    if (k > 3) return INVALID_SPECIFIER;
    std::vector<weighted_genotype> const sample = d.distinct->weighted(k);
    std::size_t const size = std::size_t{1} << d.nsnp();
    double* const p = res.estimates;
    if (start) {
        std::fill(p, p + size, 1.0 / static_cast<double>(size));
        res.rho = 0.01;
        res.iterations = 0;
    }
    double const N = total_weight(sample);
    haplotype_counts counts;
    counts.init(size);
    genotype_sides sides;
    recurrence seen;
    double error = MAX_DOUBLE;
    while (res.iterations < max_iterations && error > tolerance) {
        ++res.iterations;
        double const rho =
            flushed(expectation(sample, p, res.rho, counts.ratios.data(), sides) / N);
        double change = rho - res.rho;
        if (res.rho >= 0.01) change /= res.rho;
        error = std::max(counts.maximise(1 / counts.total(p), p), std::fabs(change));
        res.rho = rho;
        seen.skip_rounds(p, size, rho, max_iterations, res.iterations);
    }
    res.log_likelihood = log_likelihood(sample, p, res.rho, sides);
    res.error = error;
    res.status = SUCCESS;
    if (error <= tolerance && res.rho < 5 * tolerance) res.status = RHO_AT_ZERO;
    if (error > tolerance && res.iterations >= max_iterations) res.status = ITERATIONS_EXCEEDED;
    return res.status;
}
