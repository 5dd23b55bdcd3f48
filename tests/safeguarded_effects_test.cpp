// The retrospective models by the safeguarded fit: equal to the prescribed iteration where that
// succeeds, and what is true where it does not.
#include "examples/simulation.h"
#include "ggi/case_control_ggi.h"
#include "ggi/case_control_ggi_init.h"
#include "ggi/case_control_ggi_safeguarded.h"
#include "ggi/console/common/effect_map.h"
#include "ggi/engine/rho_parameters.h"
#include "ggi/hwq_frequency.h"
#include "tests/derivatives.h"

namespace {

constexpr double Z95 = 1.959963984540054;

// A sample with selected haplotypes and terms, whose covariates become origin + scale x, and its fit.
struct safeguarded_study : sample {
    safeguarded_result fit;

    safeguarded_study(std::string const& data_text, std::string const& spec, unsigned hw,
                      double origin = 0, double scale = 1)
        : sample(data_text, spec) {
        for (unsigned c = 0; c < ccg.n_covariates; ++c)
            for (unsigned i = 0; i < ccg.n_subjects; ++i)
                ccg.covariates[c][i] = origin + scale * ccg.covariates[c][i];
        hwq_frequency(estimator(), COMBINED, 10000, 1e-10, frequency, true);
        EXPECT_EQ(case_control_ggi_init(ccg, EQUILIBRIUM, v.threshold, frequencies.data()),
                  SUCCESS);
        EXPECT_EQ(map_effects("data", v, ccg), SUCCESS);
        refit(hw, {});
    }
    void refit(unsigned hw, std::vector<unsigned> const& requests) {
        case_control_ggi_safeguarded(ccg, {hw, v.model, Z95, requests}, frequencies.data(), fit);
    }
};

simulation one_gene(double rho, unsigned n) {
    simulation design{{3}, {}, {}, n, n, 0.04, rho};
    design.haplotypes = {{0, .4}, {3, .3}, {5, .2}, {6, .1}};
    design.effects = {{{3}, 0.5, 0.2}, {{5}, -0.4, 0.3}};
    return design;
}

std::string const COLUMNS = "STATUS=2\nGENE=3 4 5\nSAMPLE=combined\nTHRESHOLD=0.02\n"
                            "FTOLERANCE=1e-10\nTOLERANCE=1e-9\n";
std::string const EFFECTS = "EFFECT=3\nEFFECT=5\n";

} // namespace

TEST(safeguarded_effects, equal_the_prescribed_iteration) {
    simulation plain = one_gene(0.15, 500), exposed = plain;
    exposed.covariates = {{0.4, 0.5}, {0, 0.3}};
    exposed.interactions = {{{3}, 0.3, 0, 1}};
    std::string const environment = "ENVIRONMENT=6 7\nEFFECT=3 -1 -1\nEFFECT=5 -1 -1\n"
                                    "EFFECT=-1 1 -1\nEFFECT=-1 1 1\nEFFECT=3 -1 1\nEFFECT=6 1 -1\n";
    std::string const texts[] = {simulate(plain, 4), simulate(exposed, 4)};
    for (char const* mode : MODES)
        for (bool const is_exposed : {false, true})
            for (unsigned const hw : {EQUILIBRIUM, DISEQUILIBRIUM}) {
                SCOPED_TRACE(std::string(mode) + (is_exposed ? ", exposed " : " ") +
                             std::to_string(hw));
                std::string const spec = COLUMNS + (is_exposed ? environment : EFFECTS) +
                                         "MODEL=" + mode + (hw ? "\nHW=HWD\n" : "\n");
                safeguarded_study const got(texts[is_exposed], spec, hw);
                study expected(texts[is_exposed], spec);
                ASSERT_EQ(expected.run(), SUCCESS);
                ASSERT_EQ(got.fit.status, SUCCESS);
                EXPECT_EQ(got.fit.end, fit_end::converged);
                EXPECT_LE(got.fit.iterations, (hw ? 2.5 : 1.5) * expected.fit.iterations);
                EXPECT_NEAR(got.fit.log_likelihood, expected.fit.log_likelihood, 1e-8);
                for (unsigned k = 0; k < got.ccg.n_haplotypes; ++k)
                    for (unsigned l = 0; l < expected.ccg.n_haplotypes; ++l) {
                        if (got.ccg.haplotypes[k] != expected.ccg.haplotypes[l]) continue;
                        EXPECT_NEAR(got.fit.frequencies[k], expected.estimate(l), 1e-7);
                        EXPECT_NEAR(got.fit.frequency_errors[k], expected.error(l), 1e-7);
                    }
                for (unsigned j = 0; j < got.fit.terms.size(); ++j) {
                    unsigned const row = expected.first_effect() + j;
                    EXPECT_NEAR(got.fit.terms[j].estimate, expected.estimate(row), 2e-6) << j;
                    EXPECT_NEAR(got.fit.terms[j].standard_error, expected.error(row), 2e-6) << j;
                }
                if (hw == EQUILIBRIUM) continue;
                EXPECT_NEAR(got.fit.rho, expected.estimate(got.ccg.n_haplotypes), 1e-7);
                EXPECT_NEAR(got.fit.rho_error, expected.error(got.ccg.n_haplotypes), 1e-7);
                safeguarded_study const at_zero(texts[is_exposed], spec, EQUILIBRIUM);
                double const ratio = 2 * (got.fit.log_likelihood - at_zero.fit.log_likelihood);
                EXPECT_NEAR(got.fit.rho_ratio, ratio, 1e-7);
                EXPECT_NEAR(got.fit.rho_p, std::erfc(std::sqrt(ratio / 2)) / 2, 1e-7);
            }
}

// Score and information in (r, t), terms included, against numerical derivatives, and the score of rho
// at 0 against the log-likelihood's way there from the equilibrium model.
TEST(safeguarded_effects, regular_at_rho_zero) {
    for (char const* mode : MODES) {
        SCOPED_TRACE(mode);
        std::string const spec = COLUMNS + EFFECTS + "MODEL=" + mode + "\n";
        safeguarded_study s(simulate(one_gene(0.15, 150), 4), spec, EQUILIBRIUM);
        ASSERT_EQ(case_control_ggi_set_model(s.ccg, DISEQUILIBRIUM, s.v.model), SUCCESS);
        unsigned const p = s.ccg.n_parameters, K = s.ccg.n_haplotypes;
        likelihood_work<case_control_ggi_hwd> work(s.ccg);
        safeguarded_model const plain{
            p, [&](double const* x, double& L, double* g) { return work.evaluate(x, L, g); },
            [&](double* H) { work.information(H); }, nullptr};
        safeguarded_model const model = regular_at_zero(plain, K);
        std::vector<double> x(p), g(p), H(p * p), up(p), down(p);
        double L, above, below;
        for (unsigned k = 0; k < p; ++k)
            x[k] = (k < K ? -0.5 : 0) + 0.3 * std::sin(5.0 * (k + 1));
        for (double const t : {0.4, 0.03, 0.0}) {
            x[K - 1] = t;
            ASSERT_EQ(model.evaluate(x.data(), L, g.data()), SUCCESS);
            model.information(H.data());
            double const h = 1e-4;
            for (unsigned i = 0; i < p; ++i) {
                std::vector<double> y = x;
                y[i] += h;
                model.evaluate(y.data(), above, up.data());
                y[i] -= 2 * h;
                model.evaluate(y.data(), below, down.data());
                EXPECT_NEAR(g[i], (above - below) / (2 * h), 1e-4) << t << " " << i;
                for (unsigned j = 0; j <= i; ++j) {
                    double const slope = (up[j] - down[j]) / (2 * h);
                    EXPECT_NEAR(H[i * p + j], -slope, 1e-4 * (1 + std::fabs(slope)))
                        << t << " " << i << "," << j;
                }
            }
        }
        double score, f = 1;
        for (unsigned k = 0; k + 1 < K; ++k)
            f += std::exp(x[k]);
        f = 1 / f;
        ASSERT_EQ(rho_score(plain, K, x.data(), score), SUCCESS);
        x[K - 1] = t_of_rho(1e-6, f);
        EXPECT_NEAR(rho_of_t(x[K - 1], f), 1e-6, 1e-15);
        EXPECT_NEAR(rho_slope(0.4, f), (rho_of_t(0.4001, f) - rho_of_t(0.3999, f)) / 2e-4, 1e-7);
        model.evaluate(x.data(), above, g.data());
        case_control_ggi_clear_model(s.ccg, DISEQUILIBRIUM);
        ASSERT_EQ(case_control_ggi_set_model(s.ccg, EQUILIBRIUM, s.v.model), SUCCESS);
        x.erase(x.begin() + K - 1);
        likelihood_work<case_control_ggi_hwq>(s.ccg).evaluate(x.data(), L, g.data());
        EXPECT_NEAR((above - L) / 1e-6 / score, 1, 1e-3);
        case_control_ggi_clear_model(s.ccg, EQUILIBRIUM);
    }
}
