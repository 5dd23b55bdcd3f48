// Score and information matrix against numerical derivatives of the log-likelihood, and fits
// against exact identities.
#include "examples/simulation.h"
#include "ggi/ccg_hwd.h"
#include "ggi/hwq_frequency.h"
#include "ggi/zstat.h"
#include "numeric/nutil.h"
#include "tests/derivatives.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace {

std::string const ONE_SNP = "STATUS=1\nGENE=2\nEFFECT=1\nFTOLERANCE=1e-13\nTOLERANCE=1e-10\nMODEL=";

simulation one_gene() {
    simulation design{{3}, {}, {}, 150, 130, 0.08, 0};
    design.haplotypes = {{0, .35}, {3, .25}, {5, .2}, {6, .15}, {7, .05}};
    design.effects = {{{3}, 0.5}};
    return design;
}

template <typename likelihood> void expect_model(std::string const& settings) {
    simulation one = one_gene(), two = two_genes();
    one.rho = two.rho = settings.find("HWD") == std::string::npos ? 0 : 0.15;
    two.controls = two.cases = 120;
    two.missing = 0.05;
    for (char const* mode : MODES) {
        SCOPED_TRACE(mode);
        std::string const model = settings + "STATUS=2\nSAMPLE=combined\nMODEL=" + mode + "\n";
        std::string const cases[][2] = {
            {simulate(one, 1), "GENE=3 4 5\nEFFECT=3\nEFFECT=5\n"},
            {simulate(two, 2), "GENE=3 4 5\nGENE=6 7 8 9\nEFFECT=3 -1\nEFFECT=5 6\nEFFECT=0 6\n"
                               "THRESHOLD=0.02\n"}};
        for (auto const& c : cases) {
            study const s(c[0], model + c[1]);
            expect_derivatives<likelihood>(s);
            expect_standard_errors<likelihood>(s);
        }
    }
}

} // namespace

TEST(case_control_ggi_hwq, derivatives_and_standard_errors) {
    expect_model<case_control_ggi_hwq>("HW=HWE\n");
}

TEST(case_control_ggi_hwd, derivatives_and_standard_errors) {
    expect_model<case_control_ggi_hwd>("HW=HWD\n");
}

// One SNP, codominant: two effects make the cases' distribution saturated, so that the effects are
// the cases' odds against the controls', in Hardy-Weinberg proportions or as observed.
TEST(fit, one_snp_codominant) {
    double const f = 70.0 / 220, odds = f / (1 - f);
    struct {
        char const* hw;
        double heterozygous, homozygous, variance;
    } const cases[] = {{"HWE", 2 * odds, odds * odds, 1 / (220 * f * (1 - f))},
                       {"HWD", 30 / 60.0, 20 / 60.0, 1 / 30.0 + 1 / 60.0}};
    for (auto const& c : cases) {
        study s(one_snp({60, 30, 20}, {40, 33, 37}), ONE_SNP + "codominant\nHW=" + c.hw + "\n");
        ASSERT_EQ(s.run(), 1);
        unsigned const effect = s.first_effect();
        EXPECT_NEAR(s.estimate(s.v.hw == 0 ? 0 : 1), f, 1e-9);
        EXPECT_NEAR(s.estimate(effect), std::log(33 / 40.0 / c.heterozygous), 1e-9);
        EXPECT_NEAR(2 * s.estimate(effect) + s.estimate(effect + 1),
                    std::log(37 / 40.0 / c.homozygous), 1e-9);
        EXPECT_NEAR(s.error(effect), std::sqrt(1 / 33.0 + 1 / 40.0 + c.variance), 1e-9);
        if (s.v.hw == 0) continue;
        EXPECT_NEAR(s.fit.rho, 1 - 30 / (220 * f * (1 - f)), 1e-9);
        EXPECT_NEAR(s.fit.rho, s.estimate(2), 1e-15);
    }
}

// An additive effect for every haplotype but the reference leaves cases and controls their own
// frequencies.
TEST(fit, saturated_additive) {
    std::string const data = simulate(one_gene(), 21);
    std::string const settings = "STATUS=2\nGENE=3 4 5\nFTOLERANCE=1e-13\nFITERATIONS=100000\n"
                                 "TOLERANCE=1e-10\nTHRESHOLD=1e-9\n";
    sample s(data, settings + "EFFECT=0\n");
    double log_likelihood = 0;
    std::vector<double> f[2];
    for (unsigned status : {0u, 1u}) {
        ASSERT_EQ(hwq_frequency(s.estimator(), status, 100000, 1e-13, s.frequency, true), 1);
        f[status] = s.frequencies;
        log_likelihood += s.frequency.log_likelihood;
    }
    std::string effects;
    for (unsigned h = 1; h < 8; ++h)
        if (f[0][h] > 1e-9) effects += "EFFECT=" + std::to_string(h) + "\n";
    study fitted(data, settings + effects);
    unsigned const K = fitted.ccg.n_haplotypes;
    ASSERT_EQ(fitted.ccg.haplotypes[K - 1], 0u); // the reference
    ASSERT_EQ(fitted.run(), 1);
    EXPECT_NEAR(fitted.fit.log_likelihood, log_likelihood, 1e-8);
    for (unsigned i = 0; i + 1 < K; ++i) {
        unsigned const h = fitted.ccg.haplotypes[i];
        EXPECT_NEAR(fitted.estimate(i), f[0][h], 1e-7);
        EXPECT_NEAR(fitted.estimate(K + i), std::log(f[1][h] * f[0][0] / (f[0][h] * f[1][0])),
                    1e-5);
    }
}

// The genotypes' log-likelihood from the subjects equals the estimator's from the distinct
// genotypes.
TEST(case_control_ggi_hwq, llh0) {
    study s(simulate(one_gene(), 4), "STATUS=2\nGENE=3 4 5\nEFFECT=3\nSAMPLE=combined\n"
                                     "THRESHOLD=1e-9\nFTOLERANCE=1e-12\n");
    EXPECT_NEAR(case_control_ggi_hwq::llh0(s.ccg, s.frequencies.data()), s.frequency.log_likelihood,
                1e-6);
}

// One SNP under disequilibrium: the controls' genotype distribution is saturated, so that the
// effects are those of the ordinary logistic regression of status on the coding.
TEST(fit, one_snp_disequilibrium) {
    unsigned const controls[] = {60, 30, 20}, cases[] = {40, 33, 37};
    double const codings[][3] = {{0, 1, 2}, {0, 0, 1}, {0, 1, 1}};
    for (int mode = 0; mode < 3; ++mode) {
        study s(one_snp({60, 30, 20}, {40, 33, 37}), ONE_SNP + MODES[mode] + "\nHW=HWD\n");
        ASSERT_EQ(s.run(), 1) << MODES[mode];
        std::vector<std::vector<double>> X;
        std::vector<double> y;
        for (int copies = 0; copies < 3; ++copies)
            for (unsigned i = 0; i < controls[copies] + cases[copies]; ++i) {
                X.push_back({1, codings[mode][copies]});
                y.push_back(i < cases[copies]);
            }
        regression const expected = logistic(X, y);
        EXPECT_NEAR(s.estimate(s.first_effect()), expected.beta[1], 1e-9) << MODES[mode];
        EXPECT_NEAR(s.error(s.first_effect()), expected.error[1], 1e-9) << MODES[mode];
    }
}

// A standard error that is 0 or not a number ends the statistics where it stands, from the last on.
TEST(zstat, stops_at_a_standard_error_of_nothing) {
    for (double const bad : {0.0, QNAN}) {
        double const estimates[] = {1, 2, 3}, errors[] = {0.5, bad, 0.5};
        double z[] = {7, 7, 7};
        EXPECT_EQ(zstat(3, estimates, errors, z), 4);
        EXPECT_EQ(z[2], 6);
        EXPECT_EQ(z[1], 7);
    }
}

// An evaluation that fails at the start ends the fit without an iteration; an effect that overflows
// makes the cases' sum infinite.
TEST(ccg_hwd, fails_at_the_start) {
    struct {
        unsigned parameter;
        double value;
        int status;
    } const cases[] = {{0, QNAN, 114}, {0, 1e4, 115}, {2, 1e3, 115}};
    for (auto const& c : cases) {
        study s(one_snp({60, 30, 20}, {40, 33, 37}), "STATUS=1\nGENE=2\nEFFECT=1\nHW=HWD\n");
        s.fit.estimates[c.parameter] = c.value;
        EXPECT_EQ(ccg_hwd(s.ccg, 10, 1e-4, s.fit), c.status);
        EXPECT_EQ(s.fit.iterations, 0u);
        EXPECT_EQ(s.fit.error, MAX_DOUBLE);
        EXPECT_EQ(s.fit.status, c.status);
    }
}
