// Score and information matrix against numerical derivatives of the log-likelihood, and fits
// against exact identities.
#include "examples/simulation.h"
#include "ggi/ccg_hwd.h"
#include "ggi/hwq_frequency.h"
#include "numeric/nutil.h"
#include "tests/derivatives.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace {

char const* const MODES[] = {"additive", "recessive", "dominant", "codominant"};

simulation one_gene() {
    simulation design{{3}, {}, {}, 150, 130, 0.08, 0};
    design.haplotypes = {{0, .35}, {3, .25}, {5, .2}, {6, .15}, {7, .05}};
    design.effects = {{{3}, 0.5}};
    return design;
}

template <typename likelihood> void expect_study(study const& s) {
    expect_derivatives<likelihood>(s);
    expect_standard_errors<likelihood, likelihood>(s);
}

template <typename likelihood> void expect_model(std::string const& settings) {
    simulation one = one_gene(), two = two_genes();
    one.rho = two.rho = settings.find("HWD") == std::string::npos ? 0 : 0.15;
    two.controls = two.cases = 120;
    two.missing = 0.05;
    for (char const* mode : MODES) {
        SCOPED_TRACE(mode);
        std::string const model = settings + "STATUS=2\nSAMPLE=combined\nMODEL=" + mode + "\n";
        expect_study<likelihood>(
            study(simulate(one, 1), model + "GENE=3 4 5\nEFFECT=3\nEFFECT=5\n"));
        expect_study<likelihood>(study(simulate(two, 2), model + "GENE=3 4 5\nGENE=6 7 8 9\n"
                                                                 "EFFECT=3 -1\nEFFECT=5 6\n"
                                                                 "EFFECT=0 6\nTHRESHOLD=0.02\n"));
    }
}

double log_ratio(std::vector<double> const& f, unsigned h, unsigned reference) {
    return std::log(f[h] / f[reference]);
}

} // namespace

TEST(case_control_ggi_hwq, derivatives_and_standard_errors) {
    expect_model<case_control_ggi_hwq>("HW=HWE\n");
}

TEST(case_control_ggi_hwd, derivatives_and_standard_errors) {
    expect_model<case_control_ggi_hwd>("HW=HWD\n");
}

// One SNP, additive: the allelic log odds ratio and Woolf's standard error.
TEST(fit, one_snp_additive) {
    study s(one_snp({50, 40, 20}, {30, 45, 28}),
            "STATUS=1\nGENE=2\nEFFECT=1\nFTOLERANCE=1e-12\nTOLERANCE=1e-10\n");
    ASSERT_EQ(s.run(), 1);
    double const a = 45 + 2 * 28, b = 45 + 2 * 30, c = 40 + 2 * 20, d = 40 + 2 * 50;
    unsigned const effect = s.first_effect();
    EXPECT_NEAR(s.estimate(effect), std::log(a * d / (b * c)), 1e-12);
    EXPECT_NEAR(s.error(effect), std::sqrt(1 / a + 1 / b + 1 / c + 1 / d), 1e-12);
    // Frequencies: the reference, allele 0, is last.
    double const f = c / (c + d);
    EXPECT_NEAR(s.estimate(0), f, 1e-12);
    EXPECT_NEAR(s.estimate(1), 1 - f, 1e-12);
    EXPECT_NEAR(s.error(0), std::sqrt(f * (1 - f) / (c + d)), 1e-12);
    EXPECT_NEAR(s.error(1), s.error(0), 1e-14);
    double const z = s.estimate(effect) / s.error(effect);
    EXPECT_NEAR(s.stats.p[effect], std::erfc(z / std::sqrt(2.0)), 1e-15);
}

// One SNP, other modes: the cases' odds against the controls' Hardy-Weinberg proportions. With
// f estimated from both groups the fit is not closed, but codominant is: its two effects make the
// cases' distribution saturated, so that f is the controls'.
TEST(fit, one_snp_codominant) {
    study s(one_snp({50, 40, 20}, {30, 45, 28}),
            "STATUS=1\nGENE=2\nEFFECT=1\nMODEL=codominant\nFTOLERANCE=1e-12\nTOLERANCE=1e-10\n");
    ASSERT_EQ(s.run(), 1);
    double const f = 80.0 / 220, odds = f / (1 - f);
    unsigned const effect = s.first_effect();
    EXPECT_NEAR(s.estimate(0), f, 1e-12);
    EXPECT_NEAR(s.estimate(effect), std::log(45.0 / 30 / (2 * odds)), 1e-11);
    EXPECT_NEAR(2 * s.estimate(effect) + s.estimate(effect + 1),
                std::log(28.0 / 30 / (odds * odds)), 1e-11);
    // Var(beta1) = 1/n_het + 1/n_00 + Var(logit f) of the cases and the controls.
    EXPECT_NEAR(s.error(effect), std::sqrt(1 / 45.0 + 1 / 30.0 + 1 / (220 * f * (1 - f))), 1e-11);
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
    unsigned const K = fitted.ccg.n_haplotypes, reference = fitted.ccg.haplotypes[K - 1];
    ASSERT_EQ(reference, 0u);
    ASSERT_EQ(fitted.run(), 1);
    EXPECT_NEAR(fitted.fit.log_likelihood, log_likelihood, 1e-8);
    for (unsigned i = 0; i + 1 < K; ++i) {
        unsigned const h = fitted.ccg.haplotypes[i];
        EXPECT_NEAR(fitted.estimate(i), f[0][h], 1e-7);
        EXPECT_NEAR(fitted.estimate(K + i),
                    log_ratio(f[1], h, reference) - log_ratio(f[0], h, reference), 1e-5);
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

TEST(fit, iteration_limit) {
    study s(simulate(one_gene(), 4),
            "STATUS=2\nGENE=3 4 5\nEFFECT=3\nITERATIONS=2\nTOLERANCE=1e-12\n");
    EXPECT_EQ(s.run(), 5);
    EXPECT_EQ(s.fit.iterations, 2u);
    EXPECT_GT(s.fit.error, 1e-12);
}

// One SNP under disequilibrium: the controls' genotype distribution is saturated, so that the
// effects are those of the ordinary logistic regression of status on the coding.
TEST(fit, one_snp_disequilibrium) {
    unsigned const controls[] = {60, 30, 20}, cases[] = {40, 33, 37};
    std::string const settings =
        "STATUS=1\nGENE=2\nEFFECT=1\nHW=HWD\nFTOLERANCE=1e-13\nTOLERANCE=1e-10\nMODEL=";
    double const codings[][3] = {{0, 1, 2}, {0, 0, 1}, {0, 1, 1}};
    for (int mode = 0; mode < 3; ++mode) {
        study s(one_snp({60, 30, 20}, {40, 33, 37}), settings + MODES[mode] + "\n");
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
    study s(one_snp({60, 30, 20}, {40, 33, 37}), settings + "codominant\n");
    ASSERT_EQ(s.run(), 1);
    double const p = (30 + 2 * 20) / 220.0;
    unsigned const effect = s.first_effect();
    EXPECT_NEAR(s.estimate(effect), std::log(33 * 60 / (30.0 * 40)), 1e-9);
    EXPECT_NEAR(2 * s.estimate(effect) + s.estimate(effect + 1), std::log(37 * 60 / (20.0 * 40)),
                1e-9);
    EXPECT_NEAR(s.estimate(1), p, 1e-9);
    EXPECT_NEAR(s.estimate(2), 1 - 30 / (110 * 2 * p * (1 - p)), 1e-9); // rho
    EXPECT_NEAR(s.fit.rho, s.estimate(2), 1e-15);
}

// An evaluation that fails at the start ends the fit without an iteration.
TEST(ccg_hwd, fails_at_the_start) {
    for (auto const& c : {std::make_pair(QNAN, 114), std::make_pair(1e4, 115)}) {
        study s(one_snp({60, 30, 20}, {40, 33, 37}), "STATUS=1\nGENE=2\nEFFECT=1\nHW=HWD\n");
        s.fit.estimates[0] = c.first;
        EXPECT_EQ(ccg_hwd(s.ccg, 10, 1e-4, s.fit), c.second);
        EXPECT_EQ(s.fit.iterations, 0u);
        EXPECT_EQ(s.fit.error, MAX_DOUBLE);
        EXPECT_EQ(s.fit.status, c.second);
    }
    // An effect that overflows makes the cases' sum infinite.
    study s(one_snp({60, 30, 20}, {40, 33, 37}), "STATUS=1\nGENE=2\nEFFECT=1\nHW=HWD\n");
    s.fit.estimates[2] = 1e3;
    EXPECT_EQ(ccg_hwd(s.ccg, 10, 1e-4, s.fit), 115);
}
