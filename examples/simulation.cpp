// Sampling of haplotype pairs given the disease status.
#include "examples/simulation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

namespace {

// Part of a haplotype that belongs to the gene.
unsigned part(simulation const& design, unsigned code, std::size_t gene) {
    unsigned shift = design.n_loci();
    for (std::size_t g = 0; g <= gene; ++g)
        shift -= design.gene_loci[g];
    return (code >> shift) & ((1u << design.gene_loci[gene]) - 1);
}

// Coding of the pair for a term, times its beta.
double contribution(simulation const& design, simulated_term const& term, unsigned a, unsigned b) {
    double z = 1;
    bool is_homozygous = true;
    for (std::size_t g = 0; g < design.gene_loci.size(); ++g) {
        if (term.subhaplotypes[g] < 0) continue;
        unsigned const h = static_cast<unsigned>(term.subhaplotypes[g]);
        int const copies = (part(design, a, g) == h) + (part(design, b, g) == h);
        is_homozygous = is_homozygous && copies == 2;
        switch (design.mode) {
        case RECESSIVE: z *= copies == 2; break;
        case DOMINANT: z *= copies >= 1; break;
        default: z *= copies; break;
        }
    }
    double const deviation = design.mode == CODOMINANT && is_homozygous ? term.homozygous : 0;
    return term.beta * z + deviation;
}

// Log odds of the pair without covariates.
double effect_of(simulation const& design, unsigned a, unsigned b) {
    double eta = 0;
    for (simulated_term const& effect : design.effects)
        eta += contribution(design, effect, a, b);
    return eta;
}

// Sum of the terms of one covariate.
double covariate_terms(simulation const& design, std::vector<simulated_term> const& terms,
                       unsigned covariate, unsigned a, unsigned b) {
    double sum = 0;
    for (simulated_term const& term : terms)
        if (term.covariate == covariate) sum += contribution(design, term, a, b);
    return sum;
}

// Distribution of a covariate in carriers of a pair: in the population, and how it is weighted in
// cases.
struct covariate_distribution {
    bool is_binary;
    double centre; // prevalence or mean in the population
    double slope;  // log odds ratio of disease per unit

    covariate_distribution(simulation const& design, unsigned c, unsigned a, unsigned b,
                           bool is_case) {
        simulated_covariate const& x = design.covariates[c];
        double const shift = covariate_terms(design, design.associations, c, a, b);
        is_binary = x.prevalence > 0;
        centre = is_binary ? 1 / (1 + (1 / x.prevalence - 1) * std::exp(-shift)) : shift;
        slope = is_case ? x.main_effect + covariate_terms(design, design.interactions, c, a, b) : 0;
    }
    // Mean of exp(slope X) in the population.
    double weight() const {
        return is_binary ? 1 - centre + centre * std::exp(slope)
                         : std::exp(slope * centre + slope * slope / 2);
    }
    // Weighting a normal density by exp(slope X) moves its mean by the slope.
    double draw(uniform& random) const {
        if (is_binary) return random() * weight() < centre * std::exp(slope) ? 1 : 0;
        double const radius = std::sqrt(-2 * std::log(1 - random()));
        return centre + slope + radius * std::cos(6.283185307179586 * random());
    }
};

// Cumulative weights of all ordered pairs (i, j), at i * K + j.
std::vector<double> cumulative_weights(simulation const& design, bool is_case) {
    std::vector<double> cumulative;
    double sum = 0;
    for (simulated_haplotype const& a : design.haplotypes)
        for (simulated_haplotype const& b : design.haplotypes) {
            double const identical = a.code == b.code ? design.rho * a.frequency : 0;
            double weight = (1 - design.rho) * a.frequency * b.frequency + identical;
            if (is_case) {
                weight *= std::exp(effect_of(design, a.code, b.code));
                for (unsigned c = 0; c < design.covariates.size(); ++c)
                    weight *= covariate_distribution(design, c, a.code, b.code, true).weight();
            }
            cumulative.push_back(sum += weight);
        }
    return cumulative;
}

std::string header(simulation const& design) {
    std::string text = "ID STATUS";
    for (unsigned l = 1; l <= design.n_loci(); ++l)
        text += " SNP" + std::to_string(l);
    for (std::size_t c = 1; c <= design.covariates.size(); ++c)
        text += " ENV" + std::to_string(c);
    return text + "\n";
}

// A subject's SNPs and covariates.
std::string subject(simulation const& design, bool is_case, unsigned a, unsigned b,
                    uniform& random) {
    std::string text;
    for (unsigned l = design.n_loci(); l-- > 0;) {
        bool const is_missing = random() < design.missing;
        unsigned const copies = ((a >> l) & 1) + ((b >> l) & 1);
        text += " " + std::to_string(is_missing ? 9 : copies);
    }
    for (unsigned c = 0; c < design.covariates.size(); ++c) {
        char value[32];
        std::snprintf(value, sizeof value, " %.6g",
                      covariate_distribution(design, c, a, b, is_case).draw(random));
        text += value;
    }
    return text + "\n";
}

} // namespace

unsigned simulation::n_loci() const {
    return std::accumulate(gene_loci.begin(), gene_loci.end(), 0u);
}

std::string simulate(simulation const& design, std::uint64_t seed) {
    uniform random(seed);
    std::string text = header(design);
    std::size_t const K = design.haplotypes.size();
    std::vector<double> const by_status[] = {cumulative_weights(design, false),
                                             cumulative_weights(design, true)};
    for (unsigned s = 0; s < design.controls + design.cases; ++s) {
        bool const is_case = s >= design.controls;
        std::vector<double> const& cumulative = by_status[is_case];
        double const u = random() * cumulative.back();
        std::size_t const drawn = static_cast<std::size_t>(
            std::upper_bound(cumulative.begin(), cumulative.end() - 1, u) - cumulative.begin());
        text += "P" + std::to_string(s + 1) + (is_case ? " 1" : " 0");
        text += subject(design, is_case, design.haplotypes[drawn / K].code,
                        design.haplotypes[drawn % K].code, random);
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

simulation exposed() {
    simulation design{{3}, {}, {}, 1000, 1000, 0.02, 0};
    design.haplotypes = {{0b000, .40}, {0b011, .30}, {0b101, .20}, {0b110, .10}};
    design.effects = {{{0b011}, 0.3}};
    design.covariates = {{0.3, 0.5}, {0, 0.2}};
    design.interactions = {{{0b011}, 0.4, 0, 0}};
    return design;
}

simulation inbred() {
    simulation design{{4}, {}, {}, 1000, 1000, 0.02, 0.1};
    design.haplotypes = {{0b0000, .35}, {0b0110, .25}, {0b1010, .20}, {0b1101, .15}, {0b0011, .05}};
    design.effects = {{{0b0110}, 0.4}};
    return design;
}
