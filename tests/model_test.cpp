// Score and information matrix against numerical derivatives of the log-likelihood, and fits
// against exact identities.
#include "examples/simulation.h"
#include "ggi/case_control_ggi_hwq.h"
#include "ggi/hwq_frequency.h"
#include "tests/support.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

char const* const MODES[] = {"additive", "recessive", "dominant", "codominant"};

// One evaluation of the model at x.
struct evaluation {
    std::vector<double> W, b, g, H;
    double a[2], llh;

    evaluation(case_control_ggi_data const& data, std::vector<double> const& x)
        : W(2 * triangle(data.n_haplotypes)), b(2 * data.distinct->count), g(x.size()),
          H(x.size() * x.size()) {
        case_control_ggi_hwq::f(data, x.data(), W.data(), a, b.data(), g.data());
        llh = case_control_ggi_hwq::llh(data, a, b.data());
        case_control_ggi_hwq::df(data, W.data(), a, b.data(), H.data());
    }
};

void expect_derivatives(study const& s) {
    std::size_t const p = s.ccg.n_parameters;
    std::vector<double> x(s.fit.estimates, s.fit.estimates + p);
    for (std::size_t i = 0; i < p; ++i)
        x[i] += 0.3 * std::sin(5.0 * static_cast<double>(i + 1)); // away from the starting values
    evaluation const at(s.ccg, x);
    double const h = 1e-4;
    for (std::size_t i = 0; i < p; ++i) {
        std::vector<double> up = x, down = x;
        up[i] += h;
        down[i] -= h;
        evaluation const above(s.ccg, up), below(s.ccg, down);
        EXPECT_NEAR(at.g[i], (above.llh - below.llh) / (2 * h), 2e-4) << i;
        for (std::size_t j = 0; j <= i; ++j)
            EXPECT_NEAR(at.H[i * p + j], -(above.g[j] - below.g[j]) / (2 * h), 2e-4)
                << i << "," << j;
    }
}

simulation one_gene() {
    simulation design{{3}, {}, {}, 150, 130, 0.08};
    design.haplotypes = {{0, .35}, {3, .25}, {5, .2}, {6, .15}, {7, .05}};
    design.effects = {{{3}, 0.5}};
    return design;
}

double log_ratio(std::vector<double> const& f, unsigned h, unsigned reference) {
    return std::log(f[h] / f[reference]);
}

} // namespace

TEST(case_control_ggi_hwq, score_and_matrix_are_the_derivatives) {
    simulation two = two_genes();
    two.controls = two.cases = 120;
    two.missing = 0.05;
    for (char const* mode : MODES) {
        SCOPED_TRACE(mode);
        std::string const model = std::string("STATUS=2\nMODEL=") + mode + "\n";
        expect_derivatives(
            study(simulate(one_gene(), 1), model + "GENE=3 4 5\nEFFECT=3\nEFFECT=5\n"));
        expect_derivatives(study(simulate(two, 2), model + "GENE=3 4 5\nGENE=6 7 8 9\n"
                                                           "EFFECT=3 -1\nEFFECT=5 6\nEFFECT=0 6\n"
                                                           "THRESHOLD=0.02\n"));
    }
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
