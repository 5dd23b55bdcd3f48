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

#include "ggi/em.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

double probability(genotype_sides const& sides, double rho) {
    return (1 - rho) * sides.S + rho * sides.H;
}

// E-step over all distinct genotypes into the ratios of expected counts; returns R.
double expectation(garray const& distinct, unsigned k, double const* p, double rho, double* ratios,
                   genotype_sides& sides) {
    double R = 0;
    for (unsigned i = distinct.count; i-- > 0;) {
        genotype const& g = *distinct.genotypes[i];
        unsigned const m = g.multiplicity[k];
        if (m == 0) continue;
        sides.sum(g, p);
        double const w = m / probability(sides, rho);
        R += rho * sides.H * w;
        sides.add_counts(2 * (1 - rho) * w, rho * w, ratios);
    }
    return R;
}

double log_likelihood(garray const& distinct, unsigned k, double const* p, double rho,
                      genotype_sides& sides) {
    double sum = 0;
    for (unsigned i = 0; i < distinct.count; ++i) {
        genotype const& g = *distinct.genotypes[i];
        if (g.multiplicity[k] == 0) continue;
        sides.sum(g, p);
        sum += g.multiplicity[k] * std::log(probability(sides, rho));
    }
    return sum;
}

} // namespace

int hwd_frequency(data const& d, unsigned k, unsigned max_iterations, double tolerance, result& res,
                  bool start) {
    if (k > 3) return 104;
    garray const& distinct = *d.distinct;
    std::size_t const size = std::size_t{1} << d.nsnp();
    double* const p = res.estimates;
    if (start) {
        std::fill(p, p + size, 1.0 / static_cast<double>(size));
        res.rho = 0.01;
        res.iterations = 0;
    }
    double const N = total_weight(distinct, k);
    haplotype_counts counts;
    counts.init(size);
    genotype_sides sides;
    double error = MAX_DOUBLE;
    while (res.iterations < max_iterations && error > tolerance) {
        ++res.iterations;
        double const rho =
            flushed(expectation(distinct, k, p, res.rho, counts.ratios.data(), sides) / N);
        double change = rho - res.rho;
        if (res.rho >= 0.01) change /= res.rho;
        error = std::max(counts.maximise(1 / counts.total(p), p), std::fabs(change));
        res.rho = rho;
    }
    res.log_likelihood = log_likelihood(distinct, k, p, res.rho, sides);
    res.error = error;
    res.status = 1;
    if (error <= tolerance && res.rho < 5 * tolerance) res.status = 9;
    if (error > tolerance && res.iterations >= max_iterations) res.status = 5;
    return res.status;
}
