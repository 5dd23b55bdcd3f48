// The score test of a window: against haplo.stats and glm, against sums over subjects and listed
// pairs of haplotypes.
#include "scan/error.h"
#include "scan/score/tails.h"
#include "scan/score/window_runner.h"
#include "tests/plain_tail.h"
#include "tests/scan_data.h"
#include "tests/scan_reference.h"
#include "tests/support.h"

#include <Eigen/Dense>
#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <thread>

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;

// A sample as the scan reads it. The .bed holds each subject behind one of no
// phenotype that has all first alleles.
struct scan_input {
    scan::null_model model;
    std::vector<std::uint32_t> sample;
    std::vector<std::vector<std::uint8_t>> bed;

    explicit scan_input(scan_sample const& s)
        : model(scan::fit_null_model(s.status, s.design, s.names)) {
        std::size_t const n = s.status.size();
        for (std::size_t i = 0; i < n; ++i)
            sample.push_back(static_cast<std::uint32_t>(2 * i + 1));
        for (std::vector<int> const& snp : s.copies) {
            bed.emplace_back((2 * n + 3) / 4);
            for (std::size_t i = 0; i < n; ++i) {
                unsigned const code = snp[i] == 2 ? 0 : snp[i] == 1 ? 2 : snp[i] == 0 ? 3 : 1;
                bed.back()[sample[i] / 4] |= static_cast<std::uint8_t>(code << sample[i] % 4 * 2);
            }
        }
    }

    std::vector<std::uint8_t const*> rows(std::size_t first, std::size_t n) const {
        std::vector<std::uint8_t const*> result;
        for (std::size_t l = first; l < first + n; ++l)
            result.push_back(bed[l].data());
        return result;
    }
};

scan::window_row run(scan_sample const& s, scan::window_settings const& settings = {}) {
    scan_input const input(s);
    scan::window_row row;
    scan::window_runner(input.model, input.sample, settings).run(input.rows(0, s.n_snps), row);
    return row;
}

scan::haplotype_row const& find(scan::window_row const& row, std::uint32_t bits) {
    for (scan::haplotype_row const& h : row.haplotypes)
        if (h.bits == bits) return h;
    throw std::out_of_range("haplotype " + std::to_string(bits));
}

// The test written out: EM over the listed pairs of every distinct genotype, then matrices with a
// row per subject, and the score as a weighted least-squares problem.
struct plain_test {
    using pair = std::pair<unsigned, unsigned>; // ordered
    std::map<std::string, std::vector<pair>> pairs;
    std::vector<std::string> genotypes; // of the subjects used
    std::vector<std::size_t> used;
    VectorXd p;
    MatrixXd X, squares; // expected copies of all haplotypes, and expected squares
    VectorXd mu, r, w;
    Eigen::CompleteOrthogonalDecomposition<MatrixXd> covariates; // of W^(1/2) Z

    plain_test(scan_sample const& s, unsigned max_missing) {
        for (std::size_t i = 0; i < s.status.size(); ++i) {
            std::string text;
            for (std::vector<int> const& snp : s.copies)
                text += snp[i] == scan_sample::MISSING ? '9' : static_cast<char>('0' + snp[i]);
            if (std::count(text.begin(), text.end(), '9') > max_missing) continue;
            used.push_back(i);
            genotypes.push_back(text);
        }
        for (std::string const& g : genotypes)
            if (pairs.count(g) == 0) pairs[g] = list(g);
        estimate(1u << s.n_snps);
        expect(s);
    }

    static std::vector<pair> list(std::string const& g) {
        std::vector<pair> result;
        auto const L = static_cast<unsigned>(g.size());
        for (unsigned a = 0; a < 1u << L; ++a)
            for (unsigned b = 0; b < 1u << L; ++b) {
                bool fits = true;
                for (unsigned l = 0; l < L && fits; ++l) {
                    unsigned const sum = (a >> (L - 1 - l) & 1) + (b >> (L - 1 - l) & 1);
                    fits = g[l] == '9' || sum == static_cast<unsigned>(g[l] - '0');
                }
                if (fits) result.emplace_back(a, b);
            }
        return result;
    }

    double total(std::vector<pair> const& list) const {
        double sum = 0;
        for (auto const& [a, b] : list)
            sum += p[a] * p[b];
        return sum;
    }

    void estimate(unsigned size) {
        std::map<std::string, int> counts;
        for (std::string const& g : genotypes)
            ++counts[g];
        p = VectorXd::Constant(size, 1.0 / size);
        for (double change = 1; change > 1e-13;) {
            VectorXd next = VectorXd::Zero(size);
            for (auto const& [g, count] : counts) {
                double const sum = total(pairs[g]);
                for (auto const& [a, b] : pairs[g])
                    next[a] += count * p[a] * p[b] / sum;
            }
            next /= static_cast<double>(genotypes.size());
            change = (next - p).cwiseAbs().maxCoeff();
            p = next;
        }
    }

    void expect(scan_sample const& s) {
        auto const n = static_cast<Eigen::Index>(used.size());
        X = squares = MatrixXd::Zero(n, p.size());
        MatrixXd Z(n, s.design.cols());
        std::vector<std::uint8_t> status;
        for (Eigen::Index i = 0; i < n; ++i) {
            std::size_t const k = used[static_cast<std::size_t>(i)];
            Z.row(i) = s.design.row(static_cast<Eigen::Index>(k));
            status.push_back(s.status[k]);
        }
        scan::null_model const model = scan::fit_null_model(status, Z, s.names);
        mu.resize(n), r.resize(n), w.resize(n);
        for (Eigen::Index i = 0; i < n; ++i) {
            mu[i] = 1 / (1 + std::exp(-Z.row(i).dot(model.coefficients)));
            r[i] = status[static_cast<std::size_t>(i)] - mu[i];
            w[i] = mu[i] * (1 - mu[i]);
            std::vector<pair> const& g = pairs[genotypes[static_cast<std::size_t>(i)]];
            for (auto const& [a, b] : g) {
                double const posterior = p[a] * p[b] / total(g);
                X(i, a) += posterior;
                X(i, b) += posterior;
                squares(i, a) += posterior * (a == b ? 2 : 1);
                squares(i, b) += posterior * (a == b ? 2 : 1);
            }
        }
        covariates.compute(w.cwiseSqrt().asDiagonal() * Z);
    }

    // What the covariates leave of the columns of M in weighted least squares.
    MatrixXd without_covariates(MatrixXd const& M) const {
        MatrixXd const scaled = w.cwiseSqrt().asDiagonal() * M;
        MatrixXd const Q = covariates.matrixQ() * MatrixXd::Identity(M.rows(), covariates.rank());
        return scaled - Q * (Q.transpose() * scaled);
    }
    VectorXd working_residual() const { return without_covariates(r.cwiseQuotient(w)); }

    double z(unsigned h) const {
        VectorXd const x = without_covariates(X.col(h));
        return x.dot(working_residual()) / x.norm();
    }
    double log_p(unsigned h, scan::p_type type) const {
        if (type == scan::p_type::normal)
            return std::log(std::erfc(std::fabs(z(h)) / std::sqrt(2.0)));
        VectorXd const g = without_covariates(X.col(h)).cwiseQuotient(w.cwiseSqrt());
        std::vector<score_subject> subjects;
        for (Eigen::Index i = 0; i < g.size(); ++i)
            subjects.push_back({mu[i], g[i], X(i, h) > 0});
        return plain_log_p(subjects, g.dot(r));
    }
    double chisq(std::vector<unsigned> const& columns) const {
        MatrixXd chosen(X.rows(), static_cast<Eigen::Index>(columns.size()));
        for (std::size_t c = 0; c < columns.size(); ++c)
            chosen.col(static_cast<Eigen::Index>(c)) = X.col(columns[c]);
        MatrixXd const x = without_covariates(chosen);
        Eigen::CompleteOrthogonalDecomposition<MatrixXd> basis;
        basis.setThreshold(1e-4).compute(x);
        return (x * basis.solve(working_residual())).squaredNorm();
    }
    // z with the variance of Schaid et al.: sum of w E(n n') - r^2 Cov(n), less what
    // the covariates take.
    double z_observed_information(unsigned h) const {
        double variance = without_covariates(X.col(h)).squaredNorm();
        for (Eigen::Index i = 0; i < X.rows(); ++i)
            variance += (w[i] - r[i] * r[i]) * (squares(i, h) - X(i, h) * X(i, h));
        return X.col(h).dot(r) / std::sqrt(variance);
    }
};

// Every number of the row against the plain test.
void expect_plain(scan_sample const& s, scan::window_row const& row, plain_test const& plain,
                  unsigned df = 0) {
    ASSERT_EQ(row.code, scan::error_code::none);
    ASSERT_EQ(row.obs, plain.used.size());
    std::vector<unsigned> columns;
    double rare = 1;
    for (scan::haplotype_row const& h : row.haplotypes) {
        VectorXd cases(row.obs);
        for (unsigned i = 0; i < row.obs; ++i)
            cases[i] = s.status[plain.used[i]];
        double const case_count = plain.X.col(h.bits).dot(cases);
        EXPECT_NEAR(h.freq, plain.p[h.bits], 1e-7);
        EXPECT_NEAR(h.case_count, case_count, 1e-4);
        EXPECT_NEAR(h.control_count, plain.X.col(h.bits).sum() - case_count, 1e-4);
        EXPECT_NEAR(h.case_freq, case_count / 2 / row.cases, 1e-7);
        EXPECT_NEAR(h.control_freq, h.control_count / 2 / row.controls, 1e-9);
        EXPECT_NEAR(h.z, plain.z(h.bits), 1e-6);
        bool const is_far = row.type == scan::p_type::cauchy && std::fabs(h.z) > 2;
        EXPECT_EQ(scan::text(h.type), std::string(is_far ? "SPA" : "N"));
        EXPECT_NEAR(h.log_p, plain.log_p(h.bits, h.type), 1e-5);
        rare -= plain.p[h.bits];
        if (&h != &row.haplotypes[0]) columns.push_back(h.bits);
    }
    EXPECT_NEAR(row.rare_freq, rare, 1e-7);
    EXPECT_EQ(row.df, df > 0 ? df : columns.size());
    EXPECT_NEAR(row.chisq, plain.chisq(columns), 1e-6);
}

TEST(ScanScore, EqualsHaploStatsAndGlm) {
    for (std::size_t k = 0; k < scan_references.size(); ++k) {
        scan_reference const& expected = scan_references[k];
        SCOPED_TRACE(expected.data_set);
        scan_sample const s(scan_data_sets[k]);
        scan::window_row const row = run(s, {1, 0.01, 0});
        ASSERT_EQ(row.n_haplotypes, expected.bits.size());
        EXPECT_EQ(row.df, row.n_haplotypes - 1);
        EXPECT_NEAR(row.chisq, expected.chisq, 1e-4);
        for (std::size_t h = 0; h < expected.bits.size(); ++h) {
            EXPECT_NEAR(find(row, expected.bits[h]).freq, expected.frequencies[h], 1e-6);
            EXPECT_NEAR(find(row, expected.bits[h]).z, expected.z[h], 1e-4);
        }
        scan::null_model const model = scan::fit_null_model(s.status, s.design, s.names);
        for (std::size_t c = 0; c < expected.coefficients.size(); ++c) {
            auto const i = static_cast<Eigen::Index>(c);
            EXPECT_NEAR(model.coefficients[i], expected.coefficients[c], 1e-8);
            EXPECT_NEAR(model.standard_errors[i], expected.standard_errors[c], 1e-8);
        }
    }
}

TEST(ScanScore, EqualsSumsOverSubjects) {
    for (std::size_t k = 0; k < 4; ++k) {
        SCOPED_TRACE(scan_references[k].data_set);
        scan_sample const s(scan_data_sets[k]);
        plain_test const plain(s, s.n_snps / 2);
        expect_plain(s, run(s), plain);
        expect_plain(s, run(s, {0.5, 0.01, 0, scan::test_kind::score, scan::saddlepoint_use::on}),
                     plain);
        for (std::size_t h = 0; h < scan_references[k].bits.size(); ++h)
            EXPECT_NEAR(plain.z_observed_information(scan_references[k].bits[h]),
                        scan_references[k].haplo_score[h], 1e-4);
    }
}

TEST(ScanScore, LeavesSubjectsWithoutGenotypesOut) {
    scan_sample s(scan_data_sets[3]);
    scan::window_settings settings;
    settings.window_mind = 0.2; // of 8 SNPs: one may be missing
    settings.saddlepoint = scan::saddlepoint_use::on;
    plain_test const plain(s, 1);
    EXPECT_LT(plain.used.size(), s.status.size());
    expect_plain(s, run(s, settings), plain);
}

TEST(ScanScore, TheNullModelIsThatOfTheWindowsSubjects) {
    for (left_out_reference const& expected : left_out_references) {
        std::string const& who = expected.who; // as in scan_reference.R
        SCOPED_TRACE(who + (expected.adjusted ? ", adjusted" : ""));
        bool const are_few = who == "few_of_many";
        scan_data_set const& set = scan_data_sets[are_few ? 5 : 4];
        scan_sample s(set);
        auto const misses = [&](std::size_t i) {
            bool const is_case = s.status[i] != 0;
            std::size_t const k = is_case ? i - set.n_controls : i;
            auto const z = s.design.row(static_cast<Eigen::Index>(i));
            return who == "controls"       ? !is_case && k % 10 > 0
                   : who == "cases"        ? is_case && k % 2 == 0
                   : who == "old_controls" ? !is_case && z[1] > 1.2
                   : who == "one_sex"      ? z[2] == 1
                                           : k % 200 == 7;
        };
        auto snps = s.copies;
        for (std::vector<int>& snp : snps)
            for (std::size_t i = 0; i < s.status.size(); ++i)
                if (misses(i)) snp[i] = scan_sample::MISSING;
        if (!expected.adjusted) s.design.conservativeResize(Eigen::NoChange, 1), s.names.resize(1);
        s.n_snps = 1;
        for (std::size_t l = 0; l < snps.size(); ++l) {
            s.copies = {snps[l]};
            double const z = find(run(s), 1).z,
                         tolerance = are_few && expected.adjusted ? 5e-4 : 1e-6;
            EXPECT_NEAR(z, expected.z[l], tolerance * std::max(1.0, std::fabs(z)));
        }
    }
}

// Of the subjects who stay, a site has cases alone: they say nothing. Where each site has one group
// alone, nobody does.
TEST(ScanScore, CovariatesMaySeparateTheSubjectsOfAWindow) {
    scan_sample s(scan_data_sets[2]);
    s.copies = {s.copies[0]}, s.n_snps = 1;
    for (Eigen::Index i = 0; i < s.design.rows(); ++i)
        s.design(i, 2) = i % 6 == 0;
    double z[3];
    for (int const step : {0, 1, 2}) { // all; without the site's controls; nor its cases
        for (std::size_t i = 0; i < s.status.size(); i += 6)
            if (step > s.status[i]) s.copies[0][i] = scan_sample::MISSING;
        z[step] = find(run(s), 1).z;
    }
    EXPECT_GT(std::fabs(z[0] - z[1]), 1e-3);
    EXPECT_NEAR(z[1], z[2], 1e-6);
    for (std::size_t i = 0; i < s.status.size(); ++i) {
        bool const is_kept = (s.status[i] != 0) == (i % 6 == 0);
        s.copies[0][i] = is_kept ? static_cast<int>(i / 6 % 3) : scan_sample::MISSING;
    }
    EXPECT_EQ(scan::text(run(s).code), "SEPARATED");
}

TEST(ScanScore, FrequenciesEqualQuilmars) {
    scan_sample const s(scan_data_sets[3]);
    std::ostringstream data;
    data << "ID STATUS 1 2 3 4 5 6 7 8\n";
    for (std::size_t i = 0; i < s.status.size(); ++i) {
        data << i << ' ' << int{s.status[i]};
        for (std::vector<int> const& snp : s.copies)
            data << ' ' << (snp[i] == scan_sample::MISSING ? 9 : snp[i]);
        data << '\n';
    }
    scratch files;
    files.write("d", data.str());
    files.write("s", "STATUS=2\nGENE=3 4 5 6 7 8 9 10\nEFFECT=0\nSAMPLE=combined\n"
                     "FTOLERANCE=1e-12\nFITERATIONS=100000\nTHRESHOLD=0.005\n");
    run_quilmar(files, "d s");
    std::istringstream report(files.read("d.out"));
    std::map<std::string, double> printed;
    for (std::string line, haplotype; std::getline(report, line);) {
        double frequency;
        std::istringstream tokens(line);
        if (tokens >> haplotype >> frequency && haplotype.size() == 8)
            printed.emplace(haplotype, frequency);
    }
    scan::window_row const row = run(s);
    ASSERT_EQ(row.n_haplotypes, 7u);
    for (scan::haplotype_row const& h : row.haplotypes)
        EXPECT_NEAR(h.freq, printed.at(haplotype{h.bits, 0}.str(8)), 0.5e-6);
}

TEST(ScanScore, CodesOfWindowsWithoutATest) {
    std::vector<std::uint8_t> status;
    std::string const half(50, '1'), none(100, '9'), cases_only = half + std::string(50, '9');
    status.insert(status.end(), 50, 1);
    status.insert(status.end(), 50, 0);
    std::string rare(100, '0');
    rare[3] = rare[77] = '1'; // frequency 0.01, 2 copies
    struct {
        std::vector<std::string> snps;
        char const* code;
        unsigned obs, cases;
    } const table[] = {
        {{none, none}, "NO_SUBJECTS", 0, 0},
        {{cases_only}, "ONE_GROUP", 50, 50},
        {{std::string(100, '0'), std::string(100, '2')}, "ONE_HAPLOTYPE", 100, 50},
        {{rare}, "ONE_HAPLOTYPE", 100, 50},
        {{half + half}, "ONE_HAPLOTYPE", 100, 50}, // two haplotypes, but all subjects are alike
        {{half + half, half + half}, "ONE_HAPLOTYPE", 100, 50},
    };
    for (auto const& c : table) {
        SCOPED_TRACE(c.snps[0]);
        scan::window_row const row = run(scan_sample(status, c.snps));
        EXPECT_EQ(scan::text(row.code), c.code);
        scan::window_settings ratio;
        ratio.test = scan::test_kind::lrt;
        EXPECT_EQ(scan::text(run(scan_sample(status, c.snps), ratio).code), c.code);
        EXPECT_EQ(row.obs, c.obs);
        EXPECT_EQ(row.cases, c.cases);
        EXPECT_EQ(row.controls, c.obs - c.cases);
        EXPECT_TRUE(std::isnan(row.chisq) && std::isnan(row.log_p) && std::isnan(row.rare_freq) &&
                    std::isnan(row.top.freq) && std::isnan(row.top_log_p_bonferroni));
        EXPECT_TRUE(row.haplotypes.empty());
        EXPECT_EQ(row.n_haplotypes, 0u);
    }
    EXPECT_EQ(scan::text(scan::error_code::none), ".");
    EXPECT_EQ(scan::text(scan::error_code::too_long), "TOO_LONG");
}

// Of frequencies .293 .212 .164 .141 .076 .050 .031 .023 .009, and 200 cases among 800 subjects.
TEST(ScanScore, FrequencyAndCopiesChooseTheHaplotypes) {
    scan_sample const s(scan_data_sets[3]);
    plain_test const plain(s, 4);
    struct {
        double min_freq, min_copies;
        unsigned tested;
    } const table[] = {{0.01, 10, 7}, {0.01, 9, 8},  {0.031, 0, 6},
                       {0.005, 0, 9}, {0.01, 56, 4}, {0.01, 57, 3}};
    for (auto const& c : table) {
        scan::window_row const row = run(s, {0.5, c.min_freq, c.min_copies});
        EXPECT_EQ(row.n_haplotypes, c.tested) << c.min_freq << ' ' << c.min_copies;
        expect_plain(s, row, plain);
        for (std::size_t h = 1; h < row.haplotypes.size(); ++h)
            EXPECT_GE(row.haplotypes[h - 1].freq, row.haplotypes[h].freq);
    }
}

// A frequency is found by iteration.
TEST(ScanScore, ExactlyTheLeastCopiesAreEnough) {
    std::vector<std::uint8_t> status(60, 0);
    std::fill_n(status.begin(), 30, 1);
    for (unsigned copies = 2; copies < 20; ++copies) {
        std::string carriers(60, '0'), other(60, '0');
        std::fill_n(carriers.begin(), copies, '1');
        std::fill_n(other.begin() + 10, 40, '1');
        scan_sample const s(status, {carriers, other});
        scan::haplotype_row const last = run(s, {0.5, 0, 0.1}).haplotypes.back();
        double const exact = std::round(120 * last.freq);
        if (std::fabs(120 * last.freq - exact) > 1e-6) continue;
        EXPECT_EQ(run(s, {0.5, 0, exact / 2}).haplotypes.back().bits, last.bits) << exact;
        EXPECT_EQ(run(s, {0.5, exact / 120, 0}).haplotypes.back().bits, last.bits) << exact;
    }
}

TEST(ScanScore, TheTopHaplotypeIsCorrectedForTheirNumber) {
    scan::window_row const row = run(scan_sample(scan_data_sets[3]));
    EXPECT_EQ(row.top.bits, 30u);
    EXPECT_DOUBLE_EQ(row.top.z, find(row, 30).z);
    EXPECT_DOUBLE_EQ(row.top.log_p, find(row, 30).log_p);
    EXPECT_DOUBLE_EQ(row.top_log_p_bonferroni, row.top.log_p + std::log(7));
    // The tests of two haplotypes are one, but where there are others.
    scan_sample const snp({0, 0, 0, 1, 1, 1}, {"012112"}),
        pair({0, 0, 0, 1, 1, 1}, {"012112", "000001"});
    scan::window_row const two = run(snp, {0.5, 0.01, 1}), others = run(pair, {0.5, 0.2, 1});
    EXPECT_DOUBLE_EQ(two.top_log_p_bonferroni, two.top.log_p);
    ASSERT_EQ(others.n_haplotypes, 2u);
    EXPECT_DOUBLE_EQ(others.top_log_p_bonferroni, std::min(0.0, others.top.log_p + std::log(2)));
}

TEST(ScanScore, WhatCovariatesExplainIsNotTested) {
    scan_sample s(scan_data_sets[0]);
    auto const n = static_cast<Eigen::Index>(s.status.size());
    s.design.conservativeResize(n, 2);
    s.names.push_back("dosage");
    auto const adjust_for = [&](std::size_t snp) {
        for (Eigen::Index i = 0; i < n; ++i)
            s.design(i, 1) = s.copies[snp][static_cast<std::size_t>(i)];
    };
    adjust_for(3); // allele 1 is on 0001 and 0011, of which the sum is then known
    expect_plain(s, run(s), plain_test(s, 2), 3);
    EXPECT_NEAR(find(run(s), 1).z, -find(run(s), 3).z, 1e-6);
    adjust_for(1); // and here on 1100 alone
    scan::window_row const row = run(s);
    EXPECT_TRUE(std::isnan(find(row, 12).z) && std::isnan(find(row, 12).log_p));
    EXPECT_EQ(row.n_haplotypes, 5u);
    EXPECT_EQ(row.df, 3u);
    EXPECT_DOUBLE_EQ(row.top_log_p_bonferroni, std::min(0.0, row.top.log_p + std::log(4)));
    s.copies = {s.copies[1]}, s.n_snps = 1;
    EXPECT_EQ(scan::text(run(s).code), "ONE_HAPLOTYPE");
}

// Work arrays that are used again, of larger and smaller windows, by threads side by side.
TEST(ScanScore, WindowsDoNotDependOnEachOther) {
    scan_sample const s(scan_data_sets[3]);
    scan_input const input(s);
    auto const scan_all = [&](std::vector<double>& numbers) {
        scan::window_runner test(input.model, input.sample, {});
        for (std::size_t n : {3, 8, 2, 5, 1})
            for (std::size_t first = 0; first + n <= 8; ++first) {
                scan::window_row again, fresh;
                test.run(input.rows(first, n), again);
                scan::window_runner(input.model, input.sample, {}).run(input.rows(first, n), fresh);
                for (scan::window_row const* row : {&again, &fresh}) {
                    numbers.insert(numbers.end(), {row->chisq, row->log_p, row->rare_freq});
                    for (scan::haplotype_row const& h : row->haplotypes)
                        numbers.insert(numbers.end(), {h.freq, h.z, h.case_count});
                }
                EXPECT_EQ(again.chisq, fresh.chisq);
                EXPECT_EQ(again.obs, fresh.obs);
            }
    };
    std::vector<double> numbers[2];
    std::thread other([&] { scan_all(numbers[1]); });
    scan_all(numbers[0]);
    other.join();
    EXPECT_EQ(numbers[0], numbers[1]);
}

TEST(ScanScore, TailsOnTheLogScale) {
    for (double const chisq : {0.0, 1.0, 300.0, 5000.0})
        EXPECT_NEAR(scan::log_p_chi_square(chisq, 2), -chisq / 2, 1e-12 * (1 + chisq));
    for (double const z : {0.0, -0.5, 1.96, -8.0, 30.0})
        EXPECT_NEAR(scan::log_p_two_sided(z), std::log(std::erfc(std::fabs(z) / std::sqrt(2.0))),
                    1e-10 * (1 + z * z));
    // Mills' ratio: P(Z > z) = phi(z) / z (1 - 1/z^2 + 3/z^4 - ...)
    double const z = 60, pi = std::acos(-1.0);
    EXPECT_NEAR(scan::log_p_two_sided(z),
                std::log(2 / (z * std::sqrt(2 * pi)) * (1 - 1 / (z * z) + 3 / std::pow(z, 4))) -
                    z * z / 2,
                1e-8);
}

TEST(ScanScore, ACovariateThatSeparatesIsNamed) {
    scan_sample s(scan_data_sets[2]);
    for (bool const complete : {true, false}) {
        // All of "site" are cases; or cases and controls do not overlap.
        for (Eigen::Index i = 0; i < s.design.rows(); ++i)
            s.design(i, 2) = complete ? s.status[static_cast<std::size_t>(i)] * 2.0 - 1 : i > 570;
        s.names[2] = "site";
        try {
            scan::fit_null_model(s.status, s.design, s.names);
            FAIL();
        } catch (scan::failure const& e) {
            EXPECT_EQ(e.status, scan::no_fit);
            EXPECT_NE(std::string(e.what()).find(" site "), std::string::npos) << e.what();
        }
    }
}

} // namespace
