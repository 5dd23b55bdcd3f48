// The retrospective models by the safeguarded fit: equal to quilmar's iteration where that
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

TEST(safeguarded_effects, equal_the_full_steps) {
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
                EXPECT_LE(got.fit.iterations, (hw ? 5 : 1.5) * expected.fit.iterations);
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
                EXPECT_NEAR(got.fit.rho_p / std::erfc(std::sqrt(ratio / 2)) * 2, 1, 1e-6);
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
        EXPECT_NEAR(rho_of_s(s_of_t(x[K - 1]), f), 1e-6, 1e-15);
        model.evaluate(x.data(), above, g.data());
        case_control_ggi_clear_model(s.ccg, DISEQUILIBRIUM);
        ASSERT_EQ(case_control_ggi_set_model(s.ccg, EQUILIBRIUM, s.v.model), SUCCESS);
        x.erase(x.begin() + K - 1);
        likelihood_work<case_control_ggi_hwq>(s.ccg).evaluate(x.data(), L, g.data());
        EXPECT_NEAR((above - L) / 1e-6 / score, 1, 1e-3);
        case_control_ggi_clear_model(s.ccg, EQUILIBRIUM);
    }
}

namespace {

// Log-likelihood of alleles in cases (a of b + a) and controls (c of d + c) at the effect b, with the
// best log odds of the frequency by golden section.
double allele_profile(double const (&n)[4], double beta, double penalty) {
    auto const log_share = [](double logit) { return -std::log1p(std::exp(-logit)); };
    auto const at = [&](double t) {
        double L = 0;
        double const logits[] = {t + beta, -t - beta, t, -t};
        for (unsigned i = 0; i < 4; ++i)
            L += n[i] > 0 ? n[i] * log_share(logits[i]) : 0;
        return L;
    };
    double low = -50, high = 50;
    double const ratio = (std::sqrt(5) - 1) / 2;
    while (high - low > 1e-8) {
        double const left = high - ratio * (high - low), right = low + ratio * (high - low);
        (at(left) < at(right) ? low : high) = at(left) < at(right) ? left : right;
    }
    return at(low) + penalty * (beta / 2 - std::log1p(std::exp(beta)));
}

// The maximum over beta, from wide to fine steps.
double best_beta(double const (&n)[4], double penalty) {
    double best = 0;
    for (double step = 4; step > 1e-6; step *= 0.7)
        for (double const sign : {-1.0, 1.0})
            while (std::fabs(best) < 30 && allele_profile(n, best + sign * step, penalty) >
                                               allele_profile(n, best, penalty))
                best += sign * step;
    return best;
}

// Where the profile is 1.92 below its maximum, by bisection.
double crossing(double const (&n)[4], double penalty, double best, int side) {
    double const level = allele_profile(n, best, penalty) - Z95 * Z95 / 2;
    double near = best, far = best + side * 60;
    while (std::fabs(far - near) > 1e-9) {
        double const middle = (near + far) / 2;
        (allele_profile(n, middle, penalty) > level ? near : far) = middle;
    }
    return near;
}

} // namespace

// One SNP is a table of alleles: what the maximum is, Woolf's standard error, the likelihood-ratio
// test and both intervals are found by a direct search over two parameters.
TEST(safeguarded_effects, tests_and_intervals_of_a_table) {
    struct {
        unsigned controls[3], cases[3];
    } const cases[] = {{{60, 30, 10}, {40, 40, 20}},
                       {{95, 5, 0}, {98, 2, 0}},
                       {{95, 5, 0}, {100, 0, 0}},
                       {{100, 0, 0}, {96, 3, 1}},
                       {{0, 3, 97}, {0, 0, 100}}};
    for (auto const& c : cases) {
        SCOPED_TRACE(c.cases[0]);
        double const n[4] = {c.cases[1] + 2.0 * c.cases[2], c.cases[1] + 2.0 * c.cases[0],
                             c.controls[1] + 2.0 * c.controls[2],
                             c.controls[1] + 2.0 * c.controls[0]};
        safeguarded_study s(one_snp(c.controls, c.cases),
                            "STATUS=1\nGENE=2\nEFFECT=1\nTHRESHOLD=0.001\n", EQUILIBRIUM);
        s.refit(EQUILIBRIUM, {RATIO + INTERVAL + PENALISED});
        ASSERT_EQ(s.fit.status, SUCCESS);
        fitted_term const& term = s.fit.terms[0];
        bool const is_finite = n[0] * n[1] * n[2] * n[3] > 0;
        ASSERT_EQ(term.end == term_end::finite, is_finite);
        double const best = best_beta(n, 0), L = allele_profile(n, best, 0);
        EXPECT_NEAR(term.ratio, 2 * (L - allele_profile(n, 0, 0)), 1e-5);
        if (is_finite) {
            EXPECT_NEAR(term.estimate, std::log(n[0] / n[1] * n[3] / n[2]), 1e-8);
            EXPECT_NEAR(term.standard_error, std::sqrt(1 / n[0] + 1 / n[1] + 1 / n[2] + 1 / n[3]),
                        1e-8);
        } else {
            EXPECT_EQ(term.estimate, best > 0 ? INFINITY : -INFINITY);
            EXPECT_TRUE(std::isnan(term.standard_error));
        }
        double const penalised = best_beta(n, 1), step = 1e-3;
        double const most = allele_profile(n, penalised, 1);
        double const curvature = (allele_profile(n, penalised - step, 1) - 2 * most +
                                  allele_profile(n, penalised + step, 1)) /
                                 (step * step);
        EXPECT_NEAR(term.penalised, penalised, 1e-4);
        EXPECT_NEAR(term.penalised_error * std::sqrt(-curvature), 1, 1e-3);
        EXPECT_NEAR(term.penalised_ratio, 2 * (most - allele_profile(n, 0, 1)), 1e-5);
        for (int const side : {-1, 1}) {
            double const got = side < 0 ? term.lower : term.upper;
            if (!is_finite && side * best > 0)
                EXPECT_EQ(got, side * INFINITY);
            else
                EXPECT_NEAR(got, crossing(n, 0, best, side), 1e-7);
            EXPECT_NEAR(side < 0 ? term.penalised_lower : term.penalised_upper,
                        crossing(n, 1, penalised, side), 1e-7);
        }
    }
}

namespace {

// Three SNPs of which no subject has more than one allele 1, so that every phase is known: counts of
// the haplotypes 000, 001, 010 and 100, each paired with 000 as far as they go.
std::string phased(std::vector<unsigned> const& controls, std::vector<unsigned> const& cases) {
    std::string text = "STATUS A B C\n";
    for (int status = 0; status < 2; ++status) {
        std::vector<unsigned> const& n = status == 0 ? controls : cases;
        std::string const line = status == 0 ? "0" : "1";
        unsigned base = n[0];
        for (unsigned h = 1; h < 4; ++h)
            for (unsigned i = 0; i < n[h]; ++i, --base)
                text += line + (h == 3 ? " 1" : " 0") + (h == 2 ? " 1" : " 0") +
                        (h == 1 ? " 1\n" : " 0\n");
        for (; base > 1; base -= 2)
            text += line + " 0 0 0\n";
    }
    return text;
}

std::string const PHASED = "STATUS=1\nGENE=2 3 4\nSAMPLE=combined\nTHRESHOLD=1e-9\n";

// Woolf's standard error of the log odds ratio of two columns of the table of haplotypes.
double woolf(double a, double b, double c, double d) {
    return std::sqrt(1 / a + 1 / b + 1 / c + 1 / d);
}

} // namespace

// With known phases and an effect for every haplotype but the first, additive effects are log odds
// ratios of the table: those that exist have their closed form, whatever the others do. An effect for
// every haplotype leaves them undetermined; a class of two haplotypes is one column of the table.
TEST(safeguarded_effects, infinite_and_unidentified_effects_beside_finite_ones) {
    using counts = std::vector<unsigned>;
    constexpr term_end FINITE = term_end::finite, LOW = term_end::minus_infinity,
                       HIGH = term_end::plus_infinity, NONE = term_end::not_identifiable;
    struct {
        char const* what;
        counts controls, cases, effects;
        std::vector<term_end> ends;
    } const table[] = {
        {"all finite", {120, 40, 30, 10}, {110, 50, 20, 20}, {1, 2, 4}, {FINITE, FINITE, FINITE}},
        {"none in cases", {120, 40, 30, 10}, {130, 50, 20, 0}, {1, 2, 4}, {FINITE, FINITE, LOW}},
        {"none in controls",
         {130, 40, 30, 0},
         {110, 50, 20, 20},
         {1, 2, 4},
         {FINITE, FINITE, HIGH}},
        {"one each", {160, 0, 30, 10}, {130, 50, 20, 0}, {1, 2, 4}, {HIGH, FINITE, LOW}},
        {"two in cases alone", {160, 0, 40, 0}, {110, 50, 20, 20}, {1, 2, 4}, {HIGH, FINITE, HIGH}},
        {"two in controls alone",
         {120, 30, 40, 10},
         {160, 0, 40, 0},
         {1, 2, 4},
         {LOW, FINITE, LOW}},
        {"one for each",
         {120, 40, 30, 10},
         {110, 50, 20, 20},
         {0, 1, 2, 4},
         {NONE, NONE, NONE, NONE}},
    };
    for (auto const& c : table) {
        SCOPED_TRACE(c.what);
        std::string spec = PHASED;
        for (unsigned const code : c.effects)
            spec += "EFFECT=" + std::to_string(code) + "\n";
        safeguarded_study s(phased(c.controls, c.cases), spec, EQUILIBRIUM);
        s.refit(EQUILIBRIUM, {RATIO, RATIO, RATIO});
        ASSERT_EQ(s.fit.status, SUCCESS);
        for (unsigned j = 0; j < c.effects.size(); ++j) {
            fitted_term const& term = s.fit.terms[j];
            EXPECT_EQ(term.end, c.ends[j]) << j;
            EXPECT_EQ(std::isnan(term.standard_error), c.ends[j] != FINITE) << j;
            EXPECT_EQ(std::isnan(term.estimate), c.ends[j] == NONE) << j;
            EXPECT_EQ(std::isnan(term.ratio), c.ends[j] == NONE) << j;
            if (c.ends[j] != FINITE) continue;
            double const q = c.cases[j + 1], q0 = c.cases[0], f = c.controls[j + 1],
                         f0 = c.controls[0];
            EXPECT_NEAR(term.estimate, std::log(q / q0 * f0 / f), 1e-7) << j;
            EXPECT_NEAR(term.standard_error, woolf(q, q0, f, f0), 1e-6) << j;
        }
        double L = 0;
        for (counts const& group : {c.controls, c.cases})
            for (double const n : group)
                L += n > 0 ? n * std::log(n / 200) : 0;
        for (counts const& group : {c.controls, c.cases})
            for (unsigned h = 1; h < 4; ++h) // heterozygotes
                L += group[h] * std::log(2);
        EXPECT_NEAR(s.fit.log_likelihood, L, 1e-6);
    }

    safeguarded_study s(phased({120, 40, 30, 10}, {110, 60, 20, 10}), PHASED + "EFFECT=1\n",
                        EQUILIBRIUM);
    unsigned const reference = s.ccg.n_haplotypes - 1;
    ASSERT_EQ(s.ccg.haplotypes[reference], 0u);
    unsigned const rare = pool_haplotypes(s.ccg, 0, {1, 2});
    set_effects(s.ccg, {{s.ccg.subhaplotypes[0][0]}, {rare}});
    s.refit(EQUILIBRIUM, {});
    ASSERT_EQ(s.fit.terms.size(), 2u);
    EXPECT_NEAR(s.fit.terms[0].estimate, std::log(60 / 110.0 * 120 / 40), 1e-7);
    EXPECT_NEAR(s.fit.terms[1].estimate, std::log(30 / 110.0 * 120 / 40), 1e-7);
    EXPECT_NEAR(s.fit.terms[1].standard_error, woolf(30, 110, 40, 120), 1e-7);
    EXPECT_NEAR(s.fit.frequencies[1] / s.fit.frequencies[2], 50 / 20.0, 1e-7);
}

// One SNP and sex. By haplotypes the effect in a sex is a log odds ratio of its cases against all
// controls, and the interaction that of the cases of both sexes; what there is of them when cells are
// empty does not depend on which sex is 0.
TEST(safeguarded_effects, cells_of_a_covariate_without_carriers) {
    constexpr term_end FINITE = term_end::finite, LOW = term_end::minus_infinity,
                       HIGH = term_end::plus_infinity, NONE = term_end::not_identifiable;
    // Carriers, all of one copy, of 120 controls and of 60 cases of either sex; the ends of the effect
    // in sex 0, of that in sex 1 and of the interaction.
    struct {
        unsigned controls, cases[2];
        term_end effects[2], interaction;
    } const table[] = {
        {12, {7, 5}, {FINITE, FINITE}, FINITE}, {12, {7, 0}, {FINITE, LOW}, LOW},
        {0, {7, 0}, {HIGH, NONE}, LOW},         {0, {7, 5}, {HIGH, HIGH}, FINITE},
        {12, {0, 0}, {LOW, LOW}, NONE},
    };
    for (auto const& c : table) {
        std::string text = "STATUS A SEX\n";
        auto const add = [&](unsigned status, unsigned sex, unsigned carriers) {
            for (unsigned i = 0; i < 60; ++i)
                text += std::to_string(status) + (i < carriers ? " 1 " : " 0 ") +
                        std::to_string(sex) + "\n";
        };
        double odds[2];
        for (unsigned const sex : {0u, 1u}) {
            add(0, sex, c.controls / 2);
            add(1, sex, c.cases[sex]);
            odds[sex] = c.cases[sex] / (120.0 - c.cases[sex]);
        }
        double const control_odds = c.controls / (240.0 - c.controls);
        for (unsigned const zero : {0u, 1u}) {
            SCOPED_TRACE(text.size() + c.cases[1] + zero);
            safeguarded_study s(text,
                                "STATUS=1\nGENE=2\nENVIRONMENT=3\nEFFECT=1 -1\nEFFECT=-1 1\n"
                                "EFFECT=1 1\nSAMPLE=combined\nTHRESHOLD=1e-9\n",
                                EQUILIBRIUM, zero, zero == 0 ? 1 : -1);
            s.refit(EQUILIBRIUM, {RATIO, 0, 0, RATIO});
            ASSERT_EQ(s.fit.status, SUCCESS);
            term_end const turned = c.interaction == LOW ? HIGH : c.interaction;
            EXPECT_EQ(s.fit.terms[0].end, c.effects[zero]);
            EXPECT_EQ(s.fit.terms[3].end, zero == 0 ? c.interaction : turned);
            if (c.effects[zero] == FINITE) {
                EXPECT_NEAR(s.fit.terms[0].estimate, std::log(odds[zero] / control_odds), 1e-6);
                double const a = c.cases[zero], b = c.controls;
                EXPECT_NEAR(s.fit.terms[0].standard_error, woolf(a, 120 - a, b, 240 - b), 1e-6);
            }
            if (c.interaction == FINITE) {
                EXPECT_NEAR(s.fit.terms[3].estimate, std::log(odds[!zero] / odds[zero]), 1e-6);
            }
        }
    }
}

// More heterozygotes than in equilibrium: rho is 0, and the rest is the fit under equilibrium.
TEST(safeguarded_effects, rho_at_zero_is_an_answer) {
    for (char const* mode : MODES) {
        SCOPED_TRACE(mode);
        safeguarded_study s(one_snp({40, 55, 10}, {30, 60, 20}),
                            std::string("STATUS=1\nGENE=2\nEFFECT=1\nMODEL=") + mode + "\n",
                            EQUILIBRIUM);
        safeguarded_result const equilibrium = s.fit;
        s.refit(DISEQUILIBRIUM, {});
        EXPECT_EQ(s.fit.status, SUCCESS);
        EXPECT_EQ(s.fit.rho, 0);
        EXPECT_LT(s.fit.rho_score, 0);
        EXPECT_EQ(s.fit.rho_ratio, 0);
        EXPECT_EQ(s.fit.rho_p, 1);
        EXPECT_EQ(s.fit.log_likelihood, equilibrium.log_likelihood);
        for (unsigned j = 0; j < s.fit.terms.size(); ++j)
            EXPECT_EQ(s.fit.terms[j].estimate, equilibrium.terms[j].estimate);
        EXPECT_TRUE(std::isnan(equilibrium.rho_p));
    }
    // An excess of homozygotes in cases alone: without the effect, when both groups are one table of
    // genotypes, rho is above 0.
    safeguarded_study s(one_snp({81, 19, 0}, {70, 20, 10}),
                        "STATUS=1\nGENE=2\nEFFECT=1\nMODEL=recessive\nTHRESHOLD=1e-9\n",
                        EQUILIBRIUM);
    s.refit(DISEQUILIBRIUM, {RATIO});
    double null = 0;
    for (double const n : {151.0, 39.0, 10.0})
        null += n * std::log(n / 200);
    EXPECT_EQ(s.fit.rho, 0);
    EXPECT_NEAR(s.fit.terms[0].ratio, 2 * (s.fit.log_likelihood - null), 1e-6);
}

// Estimates do not depend on origins and units of covariates: those of interactions and environment
// terms are per unit, and an effect beside its interaction is the one at covariate 0. Where nothing is
// finite the fit says so, and nothing else.
TEST(safeguarded_effects, covariates_far_away_and_in_other_units) {
    simulation design = one_gene(0.1, 300);
    design.covariates = {{0.4, 0.5}, {0, 0.3}};
    design.interactions = {{{3}, 0.3, 0, 1}};
    std::string const text = simulate(design, 4);
    // With an effect of the haplotype of the last interaction the origin is no part of the model.
    std::string const spec = COLUMNS + "ENVIRONMENT=6 7\nEFFECT=3 -1 -1\nEFFECT=6 -1 -1\n"
                                       "EFFECT=-1 1 -1\nEFFECT=-1 -1 1\nEFFECT=3 -1 1\n"
                                       "EFFECT=6 1 -1\n";
    for (unsigned const hw : {EQUILIBRIUM, DISEQUILIBRIUM}) {
        safeguarded_study a(text, spec, hw);
        a.refit(hw, {INTERVAL, 0, 0, 0, 0, INTERVAL});
        struct {
            double origin, scale, tolerance;
        } const cases[] = {
            {50, 10, 1e-8}, {0, 1e-10, 1e-8}, {0, 1e5, 1e-8}, {1, 1e-5, 1e-6}, {1e6, 1, 1e-5}};
        for (auto const& c : cases) {
            SCOPED_TRACE(c.origin + c.scale);
            safeguarded_study b(text, spec, hw, c.origin, c.scale);
            b.refit(hw, {0, 0, 0, 0, 0, INTERVAL});
            ASSERT_EQ(b.fit.status, SUCCESS);
            EXPECT_NEAR(b.fit.log_likelihood, a.fit.log_likelihood, 1e-6);
            EXPECT_NEAR(b.fit.rho, a.fit.rho, 1e-8);
            for (unsigned j = 3; j < 7; ++j) { // environment terms, interactions
                double const error = a.fit.terms[j].standard_error;
                EXPECT_NEAR((b.fit.terms[j].estimate * c.scale - a.fit.terms[j].estimate) / error,
                            0, c.tolerance)
                    << j;
                EXPECT_NEAR(b.fit.terms[j].standard_error * c.scale / error, 1, c.tolerance) << j;
            }
            // The effect at the origin of the other covariate.
            double const moved = c.origin / c.scale * a.fit.terms[5].estimate;
            EXPECT_NEAR(b.fit.terms[0].estimate, a.fit.terms[0].estimate - moved,
                        1e-8 * (1 + std::fabs(moved)));
            EXPECT_NEAR(b.fit.terms[5].lower * c.scale, a.fit.terms[5].lower, 1e-6);
            EXPECT_NEAR(b.fit.terms[5].upper * c.scale, a.fit.terms[5].upper, 1e-6);
        }
        EXPECT_NEAR(a.fit.terms[0].lower,
                    a.fit.terms[0].estimate - Z95 * a.fit.terms[0].standard_error, 0.02);
        EXPECT_NEAR(a.fit.terms[0].upper,
                    a.fit.terms[0].estimate + Z95 * a.fit.terms[0].standard_error, 0.02);
        safeguarded_study const none(text, spec, hw, NAN);
        EXPECT_EQ(none.fit.status, NOT_CONVERGED);
        EXPECT_EQ(none.fit.end, fit_end::broken_down);
        EXPECT_TRUE(none.fit.terms.empty());
    }
}

// A haplotype that only cases have, 10 of them twice: its frequency is 0 and its effect infinite, and
// under disequilibrium rho goes to 0 with the frequency, so that any share of homozygotes among cases
// is reached.
TEST(safeguarded_effects, rho_that_goes_to_zero_with_a_frequency) {
    safeguarded_study s(one_snp({150, 0, 0}, {130, 10, 10}),
                        "STATUS=1\nGENE=2\nEFFECT=1\nTHRESHOLD=0.0001\n", EQUILIBRIUM);
    double const at_equilibrium = s.fit.log_likelihood;
    s.refit(DISEQUILIBRIUM, {});
    ASSERT_EQ(s.fit.status, SUCCESS);
    EXPECT_EQ(s.fit.terms[0].end, term_end::plus_infinity);
    EXPECT_EQ(s.fit.frequencies[0], 0);
    EXPECT_EQ(s.fit.rho, 0);
    double const saturated = 130 * std::log(130 / 150.0) + 20 * std::log(10 / 150.0);
    EXPECT_NEAR(s.fit.log_likelihood, saturated, 1e-6);
    EXPECT_NEAR(s.fit.rho_ratio, 2 * (saturated - at_equilibrium), 1e-5);
}

// Homozygotes of rare haplotypes in excess among cases: recessive effects with rho = 0 are a maximum,
// at which the score of rho is negative, and rho with lesser effects is a higher one.
TEST(safeguarded_effects, higher_of_two_maxima) {
    double const beta = std::log(3.0);
    simulation design{{3}, {}, {}, 150, 150, 0.03, 0.1, RECESSIVE};
    design.haplotypes = {{0, .45}, {3, .30}, {5, .15},  {6, .06},
                         {1, .02}, {2, .01}, {4, .007}, {7, .003}};
    design.effects = {{{3}, 0.3}, {{1}, beta}, {{2}, beta}, {{4}, beta}, {{7}, beta}};
    safeguarded_study s(
        simulate(design, 3522),
        "STATUS=2\nGENE=3 4 5\nEFFECT=3\nEFFECT=1\nSAMPLE=combined\nMODEL=recessive\n"
        "THRESHOLD=1e-7\n",
        EQUILIBRIUM);
    std::vector<unsigned> rare;
    for (unsigned k = 0; k < s.ccg.n_haplotypes; ++k)
        if (std::string("247").find(static_cast<char>('0' + s.ccg.haplotypes[k])) < 3)
            rare.push_back(k);
    set_effects(s.ccg, {{3}, {1}, {pool_haplotypes(s.ccg, 0, rare)}});
    s.refit(DISEQUILIBRIUM, {});
    ASSERT_EQ(s.fit.status, SUCCESS);
    EXPECT_LT(s.fit.rho_score, 0);
    EXPECT_NEAR(s.fit.rho, 0.1002, 1e-4);
    EXPECT_NEAR(s.fit.rho_ratio, 5.9008, 1e-3);
}
