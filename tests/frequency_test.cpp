// EM estimates against the conditions that the maximum of the likelihood satisfies.
#include "examples/simulation.h"
#include "ggi/engine/completions.h"
#include "ggi/hwd_frequency.h"
#include "ggi/hwq_frequency.h"
#include "tests/support.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numeric>

namespace {

std::string spec_for(unsigned loci) {
    std::string text = "STATUS=2\nEFFECT=0\nGENE=";
    for (unsigned l = 0; l < loci; ++l)
        text += " " + std::to_string(l + 3);
    return text + "\n";
}

simulation design_of(unsigned loci, double missing) {
    uniform random(loci);
    simulation design{{loci}, {}, {}, 300, 100, missing, 0};
    for (int k = 0; k < 6; ++k)
        design.haplotypes.push_back(
            {static_cast<unsigned>(random() * (1u << loci)), (1.0 + k) / 21});
    return design;
}

// P(g) and its derivatives by every haplotype's frequency and by rho, written from the definition
// over all pairs of haplotypes.
struct probability {
    double P = 0, by_rho = 0;
    std::vector<double> by_p;

    probability(genotype const& g, std::vector<double> const& p, double rho) : by_p(p.size()) {
        for (unsigned a = 0; a < p.size(); ++a)
            for (unsigned b = 0; b < p.size(); ++b) {
                genotype complete;
                complete.init(g.nsnp, 0, a & b, a | b);
                if (!g.equals(complete, false)) continue;
                double const same = a == b ? 1 : 0;
                P += (1 - rho) * p[a] * p[b] + same * rho * p[a];
                by_rho += same * p[a] - p[a] * p[b];
                by_p[a] += (1 - rho) * p[b] + same * rho;
                by_p[b] += (1 - rho) * p[a];
            }
    }
};

// At the maximum of log L the derivatives by p_h agree where p_h > 0 and are not larger where p_h =
// 0, and that by rho is 0 (Karush, Kuhn and Tucker).
void expect_maximum(sample const& s, unsigned k, double rho) {
    std::vector<double> gradient(s.frequencies.size());
    double by_rho = 0, level = 0, log_likelihood = 0;
    for (unsigned r = 0; r < s.ccg.distinct->count; ++r) {
        genotype const& g = *s.ccg.distinct->genotypes[r];
        probability const at(g, s.frequencies, rho);
        for (std::size_t h = 0; h < gradient.size(); ++h)
            gradient[h] += g.multiplicity[k] * at.by_p[h] / at.P;
        by_rho += g.multiplicity[k] * at.by_rho / at.P;
        log_likelihood += g.multiplicity[k] * std::log(at.P);
    }
    for (std::size_t h = 0; h < gradient.size(); ++h)
        level += s.frequencies[h] * gradient[h];
    for (std::size_t h = 0; h < gradient.size(); ++h)
        if (s.frequencies[h] > 1e-9)
            EXPECT_NEAR(gradient[h] / level, 1, 1e-6) << h;
        else
            EXPECT_LE(gradient[h] / level, 1 + 1e-6) << h;
    if (rho != 0) {
        EXPECT_NEAR(by_rho / level, 0, 1e-6);
    }
    EXPECT_NEAR(s.frequency.log_likelihood, log_likelihood, 1e-9);
    EXPECT_NEAR(std::accumulate(s.frequencies.begin(), s.frequencies.end(), 0.0), 1, 1e-12);
}

} // namespace

TEST(frequencies, maximise_the_likelihood) {
    for (double const missing : {0.0, 0.3})
        for (double const rho : {0.0, 0.2})
            for (unsigned const k : {0u, 1u, 2u}) {
                simulation design = design_of(4, missing);
                design.rho = rho;
                sample s(simulate(design, 5), spec_for(4));
                auto* const estimate = rho == 0 ? hwq_frequency : hwd_frequency;
                ASSERT_EQ(estimate(s.estimator(), k, 100000, 1e-14, s.frequency, true), 1);
                EXPECT_EQ(s.frequency.rho > 0.05, rho != 0);
                expect_maximum(s, k, s.frequency.rho);
            }
}

TEST(hwd_frequency, statuses) {
    // Only heterozygotes: rho goes to zero. Only homozygotes: it goes to one.
    sample none(one_snp({0, 30, 0}, {0, 0, 0}), "STATUS=1\nGENE=2\nEFFECT=0\n");
    EXPECT_EQ(hwd_frequency(none.estimator(), 0, 2000, 1e-6, none.frequency, true), 9);
    EXPECT_LT(none.frequency.rho, 5e-6);
    sample all(one_snp({30, 0, 20}, {0, 0, 0}), "STATUS=1\nGENE=2\nEFFECT=0\n");
    EXPECT_EQ(hwd_frequency(all.estimator(), 0, 2000, 1e-6, all.frequency, true), 1);
    EXPECT_GT(all.frequency.rho, 0.999);
    EXPECT_NEAR(all.frequencies[1], 0.4, 1e-5);
    EXPECT_EQ(hwd_frequency(all.estimator(), 0, 3, 1e-6, all.frequency, true), 5);
    EXPECT_EQ(hwd_frequency(all.estimator(), 0, 3, 1e-6, all.frequency, false), 5);
    EXPECT_EQ(all.frequency.iterations, 3u);
    EXPECT_EQ(hwd_frequency(all.estimator(), 5, 3, 1e-6, all.frequency, true), 104);
}

// Two loci, worked by hand: the double heterozygotes split in the ratio ad : bc of the haplotypes,
// and the share of (11, 00) among them solves a cubic equation.
TEST(hwq_frequency, two_loci) {
    std::string text = "ID STATUS A B\n";
    for (char const* g :
         {"0 0", "0 0", "0 0", "0 0", "0 0", "0 1", "0 1", "2 2", "1 1", "1 1", "1 1", "1 1"})
        text += std::string("x 0 ") + g + "\n";
    sample s(text, spec_for(2));
    hwq_frequency(s.estimator(), 0, 1000, 1e-14, s.frequency, true);
    std::vector<double> const& p = s.frequencies;
    double const share = p[3] * p[0] / (p[3] * p[0] + p[2] * p[1]);
    EXPECT_NEAR(p[0], (10 + 2 + 4 * share) / 24, 1e-12);
    EXPECT_NEAR(p[1], (2 + 4 * (1 - share)) / 24, 1e-12);
    EXPECT_NEAR(p[2], 4 * (1 - share) / 24, 1e-12);
    EXPECT_NEAR(p[3], (2 + 4 * share) / 24, 1e-12);
}

// The expected counts of all completions against those of every completion by itself.
TEST(completion_counts, agree_with_the_subdivision) {
    uniform random(6);
    std::vector<double> p(1 << 9);
    for (double& p_h : p)
        p_h = random();
    completion_counts completions;
    for (char const* text : {"999990000", "919092999", "911192999", "911111999", "111199111"}) {
        genotype g = genotype_of(text);
        std::vector<double> ratios(p.size()), expected(p.size());
        completions.add(g.masks(), 3, p.data(), ratios.data());
        g.subdivide(0);
        for (genotype const& complete : *g.subdivision)
            frequency(complete, 3, p.data(), expected.data());
        delete g.subdivision;
        for (std::size_t h = 0; h < p.size(); ++h)
            EXPECT_NEAR(p[h] * ratios[h], expected[h], 1e-12 * expected[h]) << text << " " << h;
    }
}

TEST(hwq_frequency, iterations_and_statuses) {
    sample s(simulate(design_of(3, 0.0), 9), spec_for(3));
    data const d = s.estimator();
    result& r = s.frequency;
    EXPECT_EQ(hwq_frequency(d, 4, 10, 1e-6, r, true), 104);
    EXPECT_EQ(hwq_frequency(d, 0, 0, 1e-6, r, true), 5);
    EXPECT_EQ(s.frequencies[5], 0.125);
    // Five iterations at once, and in two calls.
    hwq_frequency(d, 0, 5, 1e-300, r, true);
    std::vector<double> const at_once = s.frequencies;
    hwq_frequency(d, 0, 2, 1e-300, r, true);
    EXPECT_EQ(hwq_frequency(d, 0, 5, 1e-300, r, false), 5);
    EXPECT_EQ(r.iterations, 5u);
    EXPECT_EQ(s.frequencies, at_once);
}

// A long run leaves frequencies at exactly 0 instead of denormal, and lets none of them grow again.
TEST(hwq_frequency, has_no_denormal_products) {
    sample s(simulate(design_of(4, 0.05), 3), spec_for(4));
    hwq_frequency(s.estimator(), 2, 20000, 1e-300, s.frequency, true);
    for (double const p : s.frequencies)
        EXPECT_TRUE(p == 0 || p * p >= 2.2250738585072014e-308) << p;
}

// More than ten missing loci: every completion weighs once, and log L leaves the genotype out.
TEST(hwq_frequency, subdivided_genotypes) {
    unsigned const loci = 11;
    std::string const zeros = " 0 0 0 0 0 0 0 0 0 0 0\n", unknown = " 9 9 9 9 9 9 9 9 9 9 9\n";
    std::string text = "ID STATUS A B C D E F G H I J K\n";
    for (int i = 0; i < 9; ++i)
        text += "x " + std::to_string(i % 2) + zeros;
    study s(text + "x 0" + unknown, spec_for(loci) + "FITERATIONS=1\nITERATIONS=1\n");
    double const sum = std::accumulate(s.frequencies.begin(), s.frequencies.end(), 0.0);
    EXPECT_NEAR(sum, (5 + 177147) / 6.0, 1e-6); // 3^11 completions of one control in six
    EXPECT_EQ(s.ccg.n_controls, 5u);
    EXPECT_NEAR(s.frequency.log_likelihood, 5 * 2 * std::log(s.frequencies[0]), 1e-9);
}
