// M-step and weights of the EM estimators.
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
