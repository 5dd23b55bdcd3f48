// The environment models: derivatives, and the identities that they owe to the plain models, to
// logistic regression and to the case-only table.
#include "examples/simulation.h"
#include "ggi/case_control_ggi_hwdx.h"
#include "ggi/case_control_ggi_hwqx.h"
#include "tests/derivatives.h"

namespace {

// One gene of 3 SNPs in columns 3 to 5, a binary covariate in column 6 and a normal one in
// column 7.
std::string data_text(double rho) {
    simulation design{{3}, {}, {}, 150, 150, 0.06, rho};
    design.haplotypes = {{0, .4}, {3, .3}, {5, .2}, {6, .1}};
    design.effects = {{{3}, 0.4}};
    design.covariates = {{0.4, 0.5}, {0, 0.3}};
    design.interactions = {{{3}, 0.3, 0, 1}};
    return simulate(design, 8);
}

std::string const COLUMNS = "STATUS=2\nGENE=3 4 5\nENVIRONMENT=6 7\nSAMPLE=combined\n"
                            "THRESHOLD=0.02\nFTOLERANCE=1e-10\nTOLERANCE=1e-9\n";

// The logistic regression of status on the covariates, over the subjects that keep a pair.
regression of_covariates(study const& s) {
    std::vector<std::vector<double>> X;
    std::vector<double> y;
    for (unsigned i = 0; i < s.ccg.n_subjects; ++i) {
        if (s.ccg.genotypes[i]->pairs->empty()) continue;
        X.push_back({1, s.ccg.covariates[0][i], s.ccg.covariates[1][i]});
        y.push_back(s.ccg.status[i]);
    }
    return logistic(X, y);
}

} // namespace

TEST(environment, derivatives_and_standard_errors) {
    // Several effects, main effects and products, interactions of one gene and of both.
    simulation two = two_genes();
    two.controls = two.cases = 100;
    two.missing = 0.05;
    two.rho = 0.15;
    two.covariates = {{0.4, 0.5}, {0, 0.3}};
    std::string const text = simulate(two, 2);
    for (char const* mode : MODES) {
        SCOPED_TRACE(mode);
        std::string const spec = std::string("STATUS=2\nGENE=3 4 5\nGENE=6 7 8 9\n") +
                                 "ENVIRONMENT=10 11\nSAMPLE=combined\nTHRESHOLD=0.02\n" +
                                 "EFFECT=3 -1 -1 -1\nEFFECT=5 6 -1 -1\nEFFECT=-1 -1 1 -1\n"
                                 "EFFECT=-1 -1 1 1\nEFFECT=3 -1 1 -1\nEFFECT=5 0 -1 1\nMODEL=" +
                                 mode + "\n";
        study const hwq(text, spec);
        expect_derivatives<case_control_ggi_hwqx>(hwq);
        expect_standard_errors<case_control_ggi_hwqx>(hwq);
        study const hwd(text, spec + "HW=HWD\n");
        expect_derivatives<case_control_ggi_hwdx>(hwd);
        expect_standard_errors<case_control_ggi_hwdx>(hwd);
    }
}

// Without interactions the likelihood is that of the plain model times the logistic one.
TEST(environment, factors_without_interactions) {
    for (char const* hw : {"HW=HWE\n", "HW=HWD\n"})
        for (char const* mode : MODES) {
            SCOPED_TRACE(std::string(hw) + mode);
            std::string const text = data_text(hw[5] == 'D' ? 0.2 : 0);
            std::string const spec =
                COLUMNS + hw + "MODEL=" + mode + "\nEFFECT=3 -1 -1\n" + "EFFECT=5 -1 -1\n";
            study plain(text, spec), with(text, spec + "EFFECT=-1 1 -1\nEFFECT=-1 -1 1\n");
            ASSERT_EQ(plain.run(), 1);
            ASSERT_EQ(with.run(), 1);
            unsigned const n = plain.ccg.n_parameters + 1;
            for (unsigned i = 0; i < n; ++i) {
                EXPECT_NEAR(with.estimate(i), plain.estimate(i), 1e-8) << i;
                EXPECT_NEAR(with.error(i), plain.error(i), 1e-8) << i;
            }
            regression const expected = of_covariates(with);
            EXPECT_NEAR(with.fit.log_likelihood, plain.fit.log_likelihood + expected.log_likelihood,
                        1e-7);
            for (unsigned c = 1; c < 3; ++c) {
                EXPECT_NEAR(with.estimate(n + c), expected.beta[c], 1e-8);
                EXPECT_NEAR(with.error(n + c), expected.error[c], 1e-8);
            }
            // kappa is the intercept less ln(A1 / a0).
            std::vector<double> const x(plain.fit.estimates, plain.fit.estimates + n - 1);
            std::vector<double> const a = plain.v.hw == 0
                                              ? evaluation<case_control_ggi_hwq>(plain.ccg, x).a
                                              : evaluation<case_control_ggi_hwd>(plain.ccg, x).a;
            EXPECT_NEAR(with.estimate(n), expected.beta[0] - std::log(a[1] / a[0]), 1e-8);
        }
}

// Neither effect nor interaction: logistic regression over the subjects that keep a pair.
TEST(environment, logistic_regression) {
    study s(data_text(0), COLUMNS + "THRESHOLD=0.15\nEFFECT=-1 1 -1\nEFFECT=-1 -1 1\n");
    ASSERT_LT(s.ccg.n_informative, s.ccg.n_subjects);
    ASSERT_EQ(s.run(), 1);
    regression const expected = of_covariates(s);
    for (unsigned c = 0; c < 3; ++c) {
        EXPECT_NEAR(s.estimate(s.first_effect() + c), expected.beta[c], 1e-9);
        EXPECT_NEAR(s.error(s.first_effect() + c), expected.error[c], 1e-9);
    }
}

// One SNP, a binary covariate, dominant: the interaction is the cases' log odds ratio of carrier
// and covariate, with Woolf's standard error.
TEST(environment, interaction_is_case_only) {
    // Subjects by status, copies and covariate.
    unsigned const n[] = {30, 20, 25, 15, 10, 4, 22, 17, 14, 28, 6, 13};
    std::string text = "D A X\n";
    for (unsigned k = 0; k < 12; ++k)
        for (unsigned i = 0; i < n[k]; ++i)
            text += std::to_string(k / 6) + " " + std::to_string(k / 2 % 3) + " " +
                    std::to_string(k % 2) + "\n";
    study s(text, "STATUS=1\nGENE=2\nENVIRONMENT=3\nMODEL=dominant\nTOLERANCE=1e-9\n"
                  "EFFECT=1 -1\nEFFECT=-1 1\nEFFECT=1 1\n");
    ASSERT_EQ(s.run(), 1);
    double const a = 28 + 13, b = 14 + 6, c = 17, d = 22;
    unsigned const interaction = s.ccg.n_parameters;
    EXPECT_NEAR(s.estimate(interaction), std::log(a * d / (b * c)), 1e-9);
    EXPECT_NEAR(s.error(interaction), std::sqrt(1 / a + 1 / b + 1 / c + 1 / d), 1e-9);
}

// The scale and origin of a covariate change nothing that does not depend on them.
TEST(environment, scale_of_a_covariate) {
    simulation design{{1}, {{0, .6}, {1, .4}}, {{{1}, 0.3}}, 200, 200, 0.02, 0};
    design.covariates = {{0, 0.4}};
    design.interactions = {{{1}, 0.3, 0, 0}};
    std::string const text = simulate(design, 3);
    std::string const spec = "STATUS=2\nGENE=3\nENVIRONMENT=4\nEFFECT=1 -1\nEFFECT=-1 1\n"
                             "EFFECT=1 1\n";
    // Reported: two frequencies, beta, kappa, xi, gamma.
    std::vector<double> estimates, errors;
    double log_likelihood;
    {
        study centred(text, spec);
        ASSERT_EQ(centred.run(), 1);
        log_likelihood = centred.fit.log_likelihood;
        estimates.assign(centred.stats.estimates, centred.stats.estimates + 6);
        errors.assign(centred.stats.standard_errors, centred.stats.standard_errors + 6);
    }
    for (auto const& [origin, scale] : {std::pair(1960.0, 10.0), {0.0, 1e-5}, {0.0, 1e5}}) {
        study s(text, spec, origin, scale);
        EXPECT_EQ(s.run(), 1) << scale;
        EXPECT_NEAR(s.fit.log_likelihood, log_likelihood, 1e-5);
        for (unsigned i : {4u, 5u}) {
            EXPECT_NEAR(s.estimate(i) * scale, estimates[i], 1e-5) << scale;
            EXPECT_NEAR(s.error(i) * scale, errors[i], 1e-5) << scale;
        }
        EXPECT_NEAR(s.estimate(2) + s.estimate(5) * origin, estimates[2], 1e-5) << scale;
    }
}
