// EM under Hardy-Weinberg equilibrium. For a genotype g with weight m and explaining pairs (a, b):
//
//   P(g)  = sum of c p_a p_b,              c = 1 when a = b, else 2
//   E:      acc_a += m p_a p_b / P(g)      for both haplotypes of a pair (once when a = b)
//   M:      p_h = acc_h / N,               N = sum of m
//   log L = sum of m ln P(g)
//
// A genotype with too many missing loci to be listed is subdivided: each of its completions enters
// with the full weight m (and the genotype is left out of log L), so that the frequencies of a
// sample with such genotypes sum to more than 1.
#include "ggi/hwq_frequency.h"

#include "ggi/em.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// P(g) of a genotype whose pairs are listed.
double probability(haplotype_pair_list const& pairs, double const* p) {
    double P = 0;
    for (haplotype_pair const& pair : pairs) {
        unsigned const a = pair.first.code, b = pair.second.code;
        double const product = p[a] * p[b];
        P += a == b ? product : 2 * product;
    }
    return P;
}

// E-step over all distinct genotypes. `scratch` holds the pairs of one completion at a time.
void expectation(garray const& distinct, unsigned k, double const* p, double* acc,
                 haplotype_pair_list& scratch) {
    for (unsigned i = distinct.count; i-- > 0;) {
        genotype const& g = *distinct.genotypes[i];
        unsigned const m = g.multiplicity[k];
        if (m == 0) continue;
        if (g.pairs != nullptr) {
            frequency(g, m, p, acc);
        } else if (g.subdivision != nullptr) {
            genotype completion = g;
            for_each_completion(g, scratch, [&](haplotype_pair_list& pairs) {
                completion.pairs = &pairs;
                frequency(completion, m, p, acc);
            });
        }
    }
}

double log_likelihood(garray const& distinct, unsigned k, double const* p) {
    double sum = 0;
    for (unsigned i = 0; i < distinct.count; ++i) {
        genotype const& g = *distinct.genotypes[i];
        if (g.multiplicity[k] != 0 && g.pairs != nullptr)
            sum += g.multiplicity[k] * std::log(probability(*g.pairs, p));
    }
    return sum;
}

} // namespace

void frequency(genotype const& g, unsigned m, double const* p, double* acc) {
    double const w = m / probability(*g.pairs, p);
    for (haplotype_pair const& pair : *g.pairs) {
        unsigned const a = pair.first.code, b = pair.second.code;
        double const share = w * p[a] * p[b];
        acc[a] += share;
        if (a != b) acc[b] += share;
    }
}

int hwq_frequency(data const& d, unsigned k, unsigned max_iterations, double tolerance, result& res,
                  bool start) {
    if (k > 3) return 104;
    garray const& distinct = *d.distinct;
    std::size_t const size = std::size_t{1} << d.nsnp();
    double* const p = res.estimates;
    if (start) {
        std::fill(p, p + size, 1.0 / static_cast<double>(size));
        res.iterations = 0;
    }
    double const inverse_N = 1.0 / total_weight(distinct, k);

    std::vector<double> acc(size);
    haplotype_pair_list scratch;
    double error = MAX_DOUBLE;
    while (res.iterations < max_iterations && error > tolerance) {
        ++res.iterations;
        std::fill(acc.begin(), acc.end(), 0.0);
        expectation(distinct, k, p, acc.data(), scratch);
        error = maximisation(acc, inverse_N, p);
    }
    res.log_likelihood = log_likelihood(distinct, k, p);
    res.rho = 0;
    res.error = error;
    res.status = error <= tolerance || res.iterations < max_iterations ? 1 : 5;
    return res.status;
}
