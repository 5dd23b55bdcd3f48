// The retrospective models by the safeguarded fit: equal to the prescribed iteration where that
// succeeds, and what is true where it does not.
#include "examples/simulation.h"
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
