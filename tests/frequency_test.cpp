// EM estimates against the conditions that the maximum of the likelihood satisfies.
#include "examples/simulation.h"
#include "ggi/hwq_frequency.h"
#include "tests/support.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

std::string spec_for(unsigned loci) {
    std::string text = "STATUS=2\nEFFECT=0\nGENE=";
    for (unsigned l = 0; l < loci; ++l)
        text += " " + std::to_string(l + 3);
    return text + "\n";
}

simulation design_of(unsigned loci, double missing) {
    uniform random(loci);
    simulation design{{loci}, {}, {}, 300, 100, missing};
    for (int k = 0; k < 6; ++k)
        design.haplotypes.push_back({static_cast<unsigned>(random() * (1u << loci)), 1.0 + k});
    double sum = 0;
    for (simulated_haplotype const& h : design.haplotypes)
        sum += h.frequency;
    for (simulated_haplotype& h : design.haplotypes)
        h.frequency /= sum;
    return design;
}

// dP(g)/dp for every haplotype, written from the definition over all pairs of haplotypes.
void add_gradient(genotype const& g, double weight, std::vector<double> const& p,
                  std::vector<double>& gradient) {
    std::size_t const H = p.size();
    std::vector<double> dP(H);
    double P = 0;
    for (unsigned a = 0; a < H; ++a)
        for (unsigned b = 0; b < H; ++b) {
            genotype complete;
            complete.init(g.nsnp, 0, a & b, a | b);
            if (!g.equals(complete, false)) continue;
            P += p[a] * p[b];
            dP[a] += p[b];
            dP[b] += p[a];
        }
    for (std::size_t h = 0; h < H; ++h)
        gradient[h] += weight * dP[h] / P;
}

} // namespace

// At the maximum the derivative of log L by p_h is 2N where p_h > 0 and at most that where p_h = 0
// (Karush, Kuhn and Tucker, with the multiplier of sum p = 1).
TEST(hwq_frequency, satisfies_the_conditions_of_a_maximum) {
    for (double const missing : {0.0, 0.1})
        for (unsigned const weight : {0u, 1u, 2u}) {
            sample s(simulate(design_of(4, missing), 5), spec_for(4));
            ASSERT_EQ(hwq_frequency(s.estimator(), weight, 100000, 1e-14, s.frequency, true), 1);
            double sum = 0, N = 0;
            std::vector<double> gradient(16);
            for (double const p : s.frequencies)
                sum += p;
            EXPECT_NEAR(sum, 1, 1e-12);
            for (unsigned r = 0; r < s.ccg.distinct->count; ++r) {
                genotype const& g = *s.ccg.distinct->genotypes[r];
                N += g.multiplicity[weight];
                add_gradient(g, g.multiplicity[weight], s.frequencies, gradient);
            }
            for (unsigned h = 0; h < 16; ++h)
                if (s.frequencies[h] > 1e-10)
                    EXPECT_NEAR(gradient[h] / (2 * N), 1, 1e-6) << h;
                else
                    EXPECT_LE(gradient[h] / (2 * N), 1 + 1e-6) << h;
        }
}

// Two loci, worked by hand: the double heterozygotes split in the ratio ad : bc of the haplotypes,
// and the share of (11, 00) among them solves a cubic equation.
TEST(hwq_frequency, two_loci) {
    std::string text = "ID STATUS A B\n";
    auto add = [&](int n, char const* genotype) {
        while (n-- > 0)
            text += std::string("x 0 ") + genotype + "\n";
    };
    add(10, "0 0"), add(4, "0 1"), add(2, "2 2"), add(8, "1 1");
    sample s(text, spec_for(2));
    hwq_frequency(s.estimator(), 0, 1000, 1e-14, s.frequency, true);
    std::vector<double> const& p = s.frequencies;
    double const share = p[3] * p[0] / (p[3] * p[0] + p[2] * p[1]);
    double const N2 = 48;
    EXPECT_NEAR(p[0], (20 + 4 + 8 * share) / N2, 1e-12);
    EXPECT_NEAR(p[1], (4 + 8 * (1 - share)) / N2, 1e-12);
    EXPECT_NEAR(p[2], 8 * (1 - share) / N2, 1e-12);
    EXPECT_NEAR(p[3], (4 + 8 * share) / N2, 1e-12);
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
    study s(text + "x 0" + unknown, spec_for(loci) + "FITERATIONS=1\n");
    double sum = 0;
    for (double const p : s.frequencies)
        sum += p;
    EXPECT_NEAR(sum, (5 + 177147) / 6.0, 1e-6); // 3^11 completions of one control in six
    EXPECT_EQ(s.ccg.n_controls, 5u);
    EXPECT_NEAR(s.frequency.log_likelihood, 5 * 2 * std::log(s.frequencies[0]), 1e-9);
}
