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
    for (int k = 0; k < 200; ++k) {
        // Carriers of all risks, many alike or none, and others or none.
        double const risk = std::exp(-9 * random()), alike = k % 2 == 0 ? 1 : 20000 * random();
        std::size_t const carriers = 1 + static_cast<std::size_t>(30 * random()), others = k % 3;
        std::vector<score_subject> subjects;
        scan::score_terms terms;
        terms.resize(carriers);
        double variance = 0, largest = 0, largest_g = 0;
        for (std::size_t i = 0; i < carriers + others; ++i) {
            bool const is_carrier = i < carriers;
            double const mu = risk * (0.1 + 0.8 * random()), count = std::ceil(alike * random()),
                         g = is_carrier ? 2 * random() - 0.2 * (k % 5) : -0.1 * random(),
                         part = count * mu * (1 - mu) * g * g;
            subjects.push_back({mu, g, count, is_carrier});
            variance += part;
            largest += count * (g > 0 ? g * (1 - mu) : -g * mu);
            largest_g = std::max(largest_g, std::fabs(g));
            if (is_carrier)
                terms.set(i, mu, g, count);
            else
                terms.rest += part;
        }
        double const z = 2 + 38 * std::pow(random(), 3), sign = k % 4 == 0 ? -1 : 1,
                     score =
                         k % 30 == 3 ? largest : std::min(z * std::sqrt(variance), 0.99 * largest),
                     expected = plain_log_p(subjects, score);
        auto const log_p = scan::saddlepoint_log_p(terms, sign * score, variance);
        ASSERT_EQ(log_p.has_value(), !std::isnan(expected)) << k;
        n_series += largest_g * score / variance < 0.3;
        n_one_sided += std::isinf(plain_log_tail(subjects, -1, score));
        if (log_p)
            EXPECT_NEAR(*log_p, expected, 1e-8 * (1 - expected)) << k;
        else
            ++n_without;
    }
    EXPECT_TRUE(n_series > 20 && n_one_sided > 20 && n_without > 2);
}

// 220 of 11,000 subjects carry one copy, of whom the 1,000 cases have as many as they have by chance.
TEST(scan_saddlepoint, exact_tails) {
    double const n = 11000, cases = 1000, m = 220, mu = cases / n;
    scan::score_terms terms;
    terms.resize(1);
    terms.set(0, mu, 1 - m / n, m);
    terms.rest = mu * (1 - mu) * (n - m) * m * m / n / n;
    double const variance = mu * (1 - mu) * m * (1 - m / n);
    for (double const level : {1e-3, 1e-4, 1e-5, 5e-8}) {
        double below = 0;
        for (double x = 0; x <= m; ++x) {
            double const score = x - m * mu,
                         ways = std::lgamma(m + 1) - std::lgamma(x + 1) - std::lgamma(m - x + 1) +
                                std::lgamma(n - m + 1) - std::lgamma(cases - x + 1) -
                                std::lgamma(n - m - cases + x + 1),
                         all = std::lgamma(n + 1) - std::lgamma(cases + 1) -
                               std::lgamma(n - cases + 1);
            if (score * score > 4 * variance &&
                *scan::saddlepoint_log_p(terms, score, variance) <= std::log(level))
                below += std::exp(ways - all);
        }
        EXPECT_NEAR(below, level, 0.6 * level);
    }
}

TEST(scan_saddlepoint, cauchy_combination) {
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
    for (std::size_t i = 0; i < normal.rows.size(); ++i) {
        auto const &h = haplotypes.rows.at(i), &plain = normal.rows[i];
        bool const is_far = std::fabs(std::stod(h.at("Z"))) > 2;
        EXPECT_EQ(h.at("P_TYPE") + plain.at("P_TYPE"), is_far ? "SPAN" : "NN");
        EXPECT_EQ(h.at("Z"), plain.at("Z"));
        EXPECT_EQ(h.at("P") == plain.at("P"), !is_far) << h.at("Z");
    }
    for (std::size_t i = 0; i < windows.rows.size(); ++i) {
        auto const &w = windows.rows[i], &plain = normal_windows.rows.at(i);
        EXPECT_EQ(w.at("CHISQ") + w.at("P_TYPE") + plain.at("P_TYPE"),
                  plain.at("CHISQ") + "CAUCHYCHISQ");
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
