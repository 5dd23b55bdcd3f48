// EM under Hardy-Weinberg disequilibrium: with probability rho both haplotypes of a subject are
// copies of one draw, else they are two independent draws. For a genotype g with weight m and
// explaining pairs (a, b), those of all its completions when it is subdivided:
//
//   S     = sum of c p_a p_b,  c = 1 when a = b, else 2;   H = sum of p_a over the pairs with a = b
//   P(g)  = (1 - rho) S + rho H
//   E:      acc_a += 2 (1 - rho) p_a p_b m / P(g)    for both haplotypes of a pair (once when a =
//   b)
//           acc_a += rho p_a m / P(g)                when a = b
//           R     += rho H m / P(g)
//   M:      p_h = acc_h / sum of acc,   rho = R / N,   N = sum of m
//   log L = sum of m ln P(g)
#include "ggi/hwd_frequency.h"

#include "ggi/em.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <vector>

namespace {

// S and H of a genotype.
struct pair_sums {
    double S = 0;
    double H = 0;

    void add(haplotype_pair_list const& pairs, double const* p) {
        for (haplotype_pair const& pair : pairs) {
            unsigned const a = pair.first.code, b = pair.second.code;
            double const product = p[a] * p[b];
            S += a == b ? product : 2 * product;
            if (a == b) H += p[a];
        }
    }
    double probability(double rho) const { return (1 - rho) * S + rho * H; }
};

// acc += w times the expected haplotype counts of the pairs, not yet divided by P(g).
void add_counts(haplotype_pair_list const& pairs, double rho, double w, double const* p,
                double* acc) {
    double const independent = 2 * (1 - rho) * w, identical = rho * w;
    for (haplotype_pair const& pair : pairs) {
        unsigned const a = pair.first.code, b = pair.second.code;
        double const share = independent * p[a] * p[b];
        acc[a] += share;
        if (a != b)
            acc[b] += share;
        else
            acc[a] += identical * p[a];
    }
}

// Work arrays of one run.
struct workspace {
    std::vector<double> acc;
    std::vector<double> part;    // counts of one subdivided genotype
    haplotype_pair_list scratch; // pairs of one completion
};

pair_sums sums_of(genotype const& g, double const* p, workspace& work) {
    pair_sums sums;
    if (g.pairs != nullptr)
        sums.add(*g.pairs, p);
    else if (g.subdivision != nullptr)
        for_each_completion(g, work.scratch,
                            [&](haplotype_pair_list const& pairs) { sums.add(pairs, p); });
    return sums;
}

// E-step over all distinct genotypes into work.acc; returns R.
double expectation(garray const& distinct, unsigned k, double const* p, double rho,
                   workspace& work) {
    double R = 0;
    std::fill(work.acc.begin(), work.acc.end(), 0.0);
    for (unsigned i = distinct.count; i-- > 0;) {
        genotype const& g = *distinct.genotypes[i];
        unsigned const m = g.multiplicity[k];
        if (m == 0) continue;
        if (g.pairs != nullptr) {
            pair_sums const sums = sums_of(g, p, work);
            double const w = m / sums.probability(rho);
            R += rho * sums.H * w;
            add_counts(*g.pairs, rho, w, p, work.acc.data());
        } else if (g.subdivision != nullptr) {
            // P(g) is known only after all completions, which are listed once.
            pair_sums sums;
            work.part.assign(work.acc.size(), 0.0);
            for_each_completion(g, work.scratch, [&](haplotype_pair_list const& pairs) {
                sums.add(pairs, p);
                add_counts(pairs, rho, 1, p, work.part.data());
            });
            double const w = m / sums.probability(rho);
            R += rho * sums.H * w;
            std::transform(work.part.begin(), work.part.end(), work.acc.begin(), work.acc.begin(),
                           [w](double count, double acc) { return acc + w * count; });
        }
    }
    return R;
}

double log_likelihood(garray const& distinct, unsigned k, double const* p, double rho,
                      workspace& work) {
    double sum = 0;
    for (unsigned i = 0; i < distinct.count; ++i) {
        genotype const& g = *distinct.genotypes[i];
        if (g.multiplicity[k] != 0)
            sum += g.multiplicity[k] * std::log(sums_of(g, p, work).probability(rho));
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
    workspace work;
    work.acc.resize(size);
    double error = MAX_DOUBLE;
    while (res.iterations < max_iterations && error > tolerance) {
        ++res.iterations;
        double const rho = flushed(expectation(distinct, k, p, res.rho, work) / N);
        double const total = std::accumulate(work.acc.begin(), work.acc.end(), 0.0);
        double change = rho - res.rho;
        if (res.rho >= 0.01) change /= res.rho;
        error = std::max(maximisation(work.acc, 1 / total, p), std::fabs(change));
        res.rho = rho;
    }
    res.log_likelihood = log_likelihood(distinct, k, p, res.rho, work);
    res.error = error;
    res.status = 1;
    if (error <= tolerance && res.rho < 5 * tolerance) res.status = 9;
    if (error > tolerance && res.iterations >= max_iterations) res.status = 5;
    return res.status;
}
