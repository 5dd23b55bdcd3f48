// Saddlepoint p-values: against the definition written out, against exact tails, and in whole runs.
#include "scan/score/saddlepoint.h"

#include "examples/simulation.h"
#include "scan/score/tails.h"
#include "tests/plain_tail.h"
#include "tests/scan_support.h"

#include <gtest/gtest.h>

TEST(scan_saddlepoint, equals_the_definition) {
    uniform random(1);
    int n_series = 0, n_without = 0, n_one_sided = 0;
    for (int k = 0; k < 300; ++k) {
        // Few or many carriers with mu of 1e-4 to 1, and others or none.
        double const carriers = std::exp(1 + 6 * random()), risk = std::exp(-9 * random());
        std::size_t const others = k % 3 == 0 ? 0 : static_cast<std::size_t>(400 * random());
        std::vector<score_subject> subjects;
        scan::score_terms terms;
        double variance = 0, largest = 0;
        for (std::size_t i = 0; i < static_cast<std::size_t>(carriers) + others; ++i) {
            bool const is_carrier = i >= others;
            double const mu = risk * (0.1 + 0.8 * random()),
                         g = is_carrier ? 2 * random() + (k % 2 == 0 ? 0.0 : -0.5)
                                        : -0.1 * random();
            subjects.push_back({mu, g, is_carrier});
            variance += mu * (1 - mu) * g * g;
            (is_carrier ? largest : terms.rest) += mu * (1 - mu) * g * g;
            terms.resize(i + 1 - std::min(i + 1, others));
            if (is_carrier) terms.set(terms.size() - 1, mu, g, 1);
        }
        largest = 0;
        for (auto const& [mu, g, is_carrier] : subjects)
            largest += g > 0 ? g * (1 - mu) : -g * mu;
        double const z = 2 + 38 * std::pow(random(), 3);
        double const score =
            (k % 4 == 0 ? -1 : 1) *
            (k % 30 == 3 ? largest : std::min(z * std::sqrt(variance), 0.99 * largest));
        double const expected = plain_log_p(subjects, score);
        auto const log_p = scan::saddlepoint_log_p(terms, score, variance);
        ASSERT_EQ(log_p.has_value(), !std::isnan(expected)) << k;
        if (!log_p && ++n_without) continue;
        EXPECT_NEAR(*log_p, expected, 2e-8 * (1 - expected)) << k;
        n_series += z / std::sqrt(variance) < 0.1;
        n_one_sided += std::isinf(plain_log_tail(subjects, score > 0 ? -1 : 1, std::fabs(score)));
    }
    EXPECT_GT(n_series, 20);
    EXPECT_GT(n_one_sided, 20);
    EXPECT_GE(n_without, 3);
}

// m of n subjects carry one copy, of whom the cases have as many as they have by chance.
TEST(scan_saddlepoint, exact_tails) {
    struct {
        double cases, controls, copies;
    } const designs[] = {{1000, 10000, 20}, {200, 2000, 20}, {100, 10000, 10}, {100, 50000, 40}};
    for (auto const& [cases, controls, copies] : designs) {
        double const n = cases + controls, m = std::round(copies * n / cases), mu = cases / n;
        auto const log_choose = [](double a, double b) {
            return std::lgamma(a + 1) - std::lgamma(b + 1) - std::lgamma(a - b + 1);
        };
        scan::score_terms terms;
        terms.resize(1);
        terms.set(0, mu, 1 - m / n, m);
        terms.rest = mu * (1 - mu) * (n - m) * m * m / n / n;
        double const variance = mu * (1 - mu) * m * (1 - m / n);
        for (double const level : {1e-3, 1e-4, 1e-5, 5e-8}) {
            double below = 0;
            for (double x = 0; x <= std::min(cases, 8 * copies); ++x) {
                double const score = x - m * mu, z = score / std::sqrt(variance);
                if (std::fabs(z) > 2 &&
                    *scan::saddlepoint_log_p(terms, score, variance) <= std::log(level))
                    below += std::exp(log_choose(m, x) + log_choose(n - m, cases - x) -
                                      log_choose(n, cases));
            }
            EXPECT_GT(below, 0.2 * level) << cases << ":" << controls << " " << level;
            EXPECT_LT(below, 1.6 * level) << cases << ":" << controls << " " << level;
        }
    }
}

TEST(scan_saddlepoint, cauchy_combination) {
    // Of 700 digits.
    struct {
        std::vector<double> p; // or their logarithms
        double log_p;
    } const table[] = {
        {{0.9, 1e-4, 0.2}, -8.11119372424537},  {{-1000, -1001, 0.5, 1}, -999.926967326398},
        {{1e-12, 1e-3}, -26.9378739363686},     {{-40, -30, -20}, -38.9014331122922},
        {{0.9, 1e-4, 1}, -3.00300054734829e-7}, {{1, 1}, -1.00000005e-7}};
    for (auto [p, expected] : table) {
        for (double& x : p)
            x = x > 0 ? std::log(x) : x;
        EXPECT_NEAR(scan::log_p_cauchy(p) / expected, 1, 1e-8);
    }
}

TEST(scan_saddlepoint, whole_runs) {
    example_study files;
    run_shell(files, "awk 'NR>1&&$3==2&&NR%7{$3=\"NA\"}{print}' pheno.txt >few");
    outcome const o = files.scan("--pheno few --min-hap-copies 2");
    ASSERT_EQ(o.exit_status, 0) << o.err;
    EXPECT_NE(o.err.find("adjusted for covariates, with saddlepoint p-values beyond |z| 2.\n"),
              std::string::npos);
    table const windows(files.read("t.win.tsv")), haplotypes(files.read("t.hap.tsv"));
    files.scan("--pheno few --min-hap-copies 2 --spa off");
    table const normal_windows(files.read("t.win.tsv")), normal(files.read("t.hap.tsv"));
    std::map<std::string, double> smallest;
    for (std::size_t i = 0; i < normal.rows.size(); ++i) {
        auto const &h = haplotypes.rows.at(i), &plain = normal.rows[i];
        bool const is_far = std::fabs(std::stod(h.at("Z"))) > 2;
        EXPECT_EQ(h.at("P_TYPE") + plain.at("P_TYPE"), is_far ? "SPAN" : "NN");
        EXPECT_EQ(h.at("Z"), plain.at("Z"));
        EXPECT_EQ(h.at("P") == plain.at("P"), !is_far) << h.at("Z");
        double& p = smallest.emplace(h.at("WINDOW"), 1).first->second;
        p = std::min(p, std::stod(h.at("P")));
    }
    for (std::size_t i = 0; i < windows.rows.size(); ++i) {
        auto const &w = windows.rows[i], &plain = normal_windows.rows.at(i);
        EXPECT_EQ(w.at("CHISQ") + w.at("P_TYPE"), plain.at("CHISQ") + "CAUCHY");
        EXPECT_EQ(plain.at("P_TYPE"), "CHISQ");
        EXPECT_EQ(std::stod(w.at("TOP_P")), smallest.at(w.at("WINDOW")));
    }
    // As many cases: none of it by itself. All cases have two copies, and all controls one.
    files.scan("--chr 21");
    EXPECT_EQ(files.read("t.win.tsv").find("CAUCHY"), std::string::npos);
    write_study(files, {{"1 a 0 100 A G", "2222222211111111"}}, std::vector<std::string>(16, "1"));
    run_shell(files, "awk 'NR<9{$6=2}{print}' s.fam >f; mv f s.fam");
    for (std::string const resume : {"", "--resume "})
        EXPECT_NE(files
                      .run("quilmar-scan --bfile s --allow-no-covars --min-hap-copies 1 --window 1 "
                           "--spa on --out t " +
                           resume)
                      .err.find("1 haplotype without a saddle point: P is the normal one.\n"),
                  std::string::npos);
    EXPECT_EQ(table(files.read("t.hap.tsv")).column("P_TYPE"), "N SPA ");
    EXPECT_EQ(files.run("quilmar-scan --bfile s --test lrt --spa on").exit_status, 8);
}
