#include "scan/haplotypes.h"

#include "ggi/hwq_frequency.h"
#include "numeric/subsets.h"

namespace scan {

namespace {

constexpr double EM_TOLERANCE = 1e-9;
constexpr unsigned EM_MAX_ITERATIONS = 10000;

genotype to_genotype(distinct_genotype const& g, unsigned n_snps) {
    genotype result;
    result.clear();
    result.init(n_snps, g.missing, g.twos, g.ones);
    return result;
}

} // namespace

bool estimate_frequencies(std::vector<distinct_genotype> const& genotypes, unsigned n_snps,
                          std::vector<double>& frequencies) {
    std::vector<genotype> objects;
    std::vector<genotype*> pointers;
    objects.reserve(genotypes.size());
    for (distinct_genotype const& g : genotypes) {
        objects.push_back(to_genotype(g, n_snps));
        pointers.push_back(&objects.back());
    }
    std::vector<unsigned> const status(genotypes.size(), 0);
    garray distinct;
    distinct.init(pointers.data(), status.data(), static_cast<unsigned>(genotypes.size()), 0, 2, -1,
                  false);
    for (std::size_t i = 0; i < genotypes.size(); ++i)
        objects[i].set_multiplicity(genotypes[i].subjects, 2);

    frequencies.resize(std::size_t{1} << n_snps);
    result em{};
    em.estimates = frequencies.data();
    data const subjects{pointers.data(), &distinct};
    int const status_code = hwq_frequency(subjects, 2, EM_MAX_ITERATIONS, EM_TOLERANCE, em, true);
    distinct.clear();
    return status_code == 1;
}

void expected_copies::compute(distinct_genotype const& g, unsigned n_snps,
                              std::vector<double> const& frequencies,
                              std::vector<std::uint32_t> const& bits, double* copies) {
    ratios_.resize(frequencies.size());
    sides_.sum(to_genotype(g, n_snps), frequencies.data());
    sides_.add_counts(2 / sides_.S, 0, ratios_.data());
    for (std::size_t t = 0; t < bits.size(); ++t)
        copies[t] = frequencies[bits[t]] * ratios_[bits[t]];
    for_each_subset((g.ones & ~g.twos) | g.missing, [&](unsigned u) { ratios_[g.twos | u] = 0; });
}

} // namespace scan
