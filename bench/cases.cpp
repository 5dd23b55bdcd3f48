// The cases, their founder haplotypes and their variable specification files.
#include "bench/cases.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <numeric>

namespace {

std::uint64_t seed_of(bench_case const& c, unsigned window) {
    std::vector<bench_case> const& all = bench_cases();
    auto const at = std::find_if(all.begin(), all.end(), [&](bench_case const& named) {
        return std::strcmp(named.name, c.name) == 0;
    });
    return 20261121 + 1000 * static_cast<std::uint64_t>(at - all.begin()) + window;
}

// One text for all windows, because they share a variable specification file.
unsigned tested_haplotype(unsigned snps) {
    return 0x55555555u & ((1u << snps) - 1);
}

// Distinct haplotypes, the most frequent one first, the tested one second. Weights between 0.4 and
// 1.4 keep every frequency above the threshold of the analysis.
std::vector<simulated_haplotype> founders(unsigned snps, std::uint64_t seed) {
    std::size_t const n = snps <= 5 ? 8 : snps < 10 ? 12 : 20;
    uniform random(seed);
    std::vector<unsigned> codes = {tested_haplotype(snps)};
    while (codes.size() < n) {
        unsigned const code = static_cast<unsigned>(random() * static_cast<double>(1u << snps));
        if (std::find(codes.begin(), codes.end(), code) == codes.end()) codes.push_back(code);
    }
    std::swap(codes[0], codes[1]);
    std::vector<double> weights(n);
    for (double& weight : weights)
        weight = 0.4 + random();
    std::sort(weights.begin(), weights.end(), std::greater<double>());
    double const sum = std::accumulate(weights.begin(), weights.end(), 0.0);
    std::vector<simulated_haplotype> haplotypes;
    for (std::size_t i = 0; i < n; ++i)
        haplotypes.push_back({codes[i], weights[i] / sum});
    return haplotypes;
}

} // namespace

std::vector<bench_case> const& bench_cases() {
    static std::vector<bench_case> const cases = {
        {"windows", 1000, 5, 0.02, 0, false, 200},
        {"1k-4", 1000, 4, 0.02},
        {"1k-8", 1000, 8, 0.02},
        {"1k-12", 1000, 12, 0.02},
        {"10k-8", 10000, 8, 0.02},
        {"100k-8", 100000, 8, 0.02},
        {"500k-8", 500000, 8, 0.02},
        {"2k-10-missing20", 2000, 10, 0.20},
        {"2k-12-missing30", 2000, 12, 0.30},
        {"2k-16", 2000, 16, 0.01},
        {"2k-20", 2000, 20, 0.01},
        {"2k-20-missing20", 2000, 20, 0.20},
        {"hwd-100k", 100000, 8, 0.02, 0.1},
        {"covariates-50k", 50000, 8, 0.02, 0, true},
        {"covariates-500k", 500000, 8, 0.02, 0, true},
    };
    return cases;
}

simulation design_of(bench_case const& c, unsigned window) {
    simulation design{{c.snps},
                      founders(c.snps, seed_of(c, window)),
                      {},
                      c.subjects / 2,
                      c.subjects / 2,
                      c.missing,
                      c.rho};
    int const tested = static_cast<int>(tested_haplotype(c.snps));
    design.effects = {{{tested}, 0.3}};
    if (c.covariates) {
        design.covariates = {{0.3, 0.3}, {0, 0.2}};
        design.interactions = {{{tested}, 0.2, 0, 1}};
    }
    return design;
}

std::string data_of(bench_case const& c, unsigned window) {
    return simulate(design_of(c, window), seed_of(c, window));
}

std::string variables_of(bench_case const& c) {
    std::string text = "STATUS=2\nTHRESHOLD=0.01\nGENE=";
    for (unsigned l = 0; l < c.snps; ++l)
        text += (l == 0 ? "" : " ") + std::to_string(3 + l);
    if (c.rho > 0) text += "\nHW=HWD";
    std::string const tested = std::to_string(design_of(c, 0).effects[0].subhaplotypes[0]);
    if (!c.covariates) return text + "\nEFFECT=" + tested + "\n";
    return text + "\nENVIRONMENT=" + std::to_string(3 + c.snps) + " " + std::to_string(4 + c.snps) +
           "\nEFFECT=" + tested + " -1 -1\nEFFECT=-1 1 -1\nEFFECT=-1 -1 1\nEFFECT=" + tested +
           " -1 1\n";
}
