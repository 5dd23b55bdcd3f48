// Sampling of haplotype pairs given the disease status.
#include "examples/simulation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

// Part of a haplotype that belongs to the gene.
unsigned part(simulation const& design, unsigned code, std::size_t gene) {
    unsigned shift = design.n_loci();
    for (std::size_t g = 0; g <= gene; ++g)
        shift -= design.gene_loci[g];
    return (code >> shift) & ((1u << design.gene_loci[gene]) - 1);
}

// Linear predictor of the pair under the additive model.
double predictor(simulation const& design, unsigned a, unsigned b) {
    double eta = 0;
    for (simulated_effect const& effect : design.effects) {
        double z = 1;
        for (std::size_t g = 0; g < design.gene_loci.size(); ++g)
            if (effect.subhaplotypes[g] >= 0) {
                unsigned const h = static_cast<unsigned>(effect.subhaplotypes[g]);
                z *= (part(design, a, g) == h) + (part(design, b, g) == h);
            }
        eta += effect.beta * z;
    }
    return eta;
}

struct pair_distribution {
    std::vector<double> cumulative; // over all ordered pairs (i, j) at i * K + j
};

pair_distribution distribution(simulation const& design, bool is_case) {
    pair_distribution d;
    double sum = 0;
    for (simulated_haplotype const& a : design.haplotypes)
        for (simulated_haplotype const& b : design.haplotypes) {
            double const tilt = is_case ? std::exp(predictor(design, a.code, b.code)) : 1;
            double const identical = a.code == b.code ? design.rho * a.frequency : 0;
            double const pair = (1 - design.rho) * a.frequency * b.frequency + identical;
            d.cumulative.push_back(sum += pair * tilt);
        }
    return d;
}

} // namespace

unsigned simulation::n_loci() const {
    return std::accumulate(gene_loci.begin(), gene_loci.end(), 0u);
}

std::string simulate(simulation const& design, std::uint64_t seed) {
    uniform random(seed);
    unsigned const L = design.n_loci();
    std::string text = "ID STATUS";
    for (unsigned l = 1; l <= L; ++l)
        text += " SNP" + std::to_string(l);
    text += "\n";
    std::size_t const K = design.haplotypes.size();
    pair_distribution const by_status[] = {distribution(design, false), distribution(design, true)};
    for (unsigned s = 0; s < design.controls + design.cases; ++s) {
        unsigned const status = s < design.controls ? 0 : 1;
        std::vector<double> const& cumulative = by_status[status].cumulative;
        double const u = random() * cumulative.back();
        std::size_t const drawn = static_cast<std::size_t>(
            std::upper_bound(cumulative.begin(), cumulative.end() - 1, u) - cumulative.begin());
        unsigned const a = design.haplotypes[drawn / K].code, b = design.haplotypes[drawn % K].code;
        text += "P" + std::to_string(s + 1) + (status != 0 ? " 1" : " 0");
        for (unsigned l = L; l-- > 0;) {
            bool const is_missing = random() < design.missing;
            unsigned const copies = ((a >> l) & 1) + ((b >> l) & 1);
            text += " " + std::to_string(is_missing ? 9 : copies);
        }
        text += "\n";
    }
    return text;
}

simulation two_genes() {
    struct part_of_gene {
        unsigned code;
        double frequency;
    };
    std::vector<part_of_gene> const first = {
        {0b000, .40}, {0b011, .30}, {0b101, .20}, {0b110, .10}};
    std::vector<part_of_gene> const second = {
        {0b0000, .35}, {0b0110, .30}, {0b1010, .20}, {0b1101, .15}};
    simulation design{{3, 4}, {}, {}, 1000, 1000, 0.02, 0};
    for (part_of_gene const& a : first)
        for (part_of_gene const& b : second)
            design.haplotypes.push_back({a.code << 4 | b.code, a.frequency * b.frequency});
    design.effects = {{{0b011, -1}, 0.4}, {{0b101, 0b0110}, 0.5}};
    return design;
}

simulation inbred() {
    simulation design{{4}, {}, {}, 1000, 1000, 0.02, 0.1};
    design.haplotypes = {{0b0000, .35}, {0b0110, .25}, {0b1010, .20}, {0b1101, .15}, {0b0011, .05}};
    design.effects = {{{0b0110}, 0.4}};
    return design;
}
