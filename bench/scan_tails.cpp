// How often the p-values of the score test are below a level without any effect: in units of that level,
// of the normal distribution and of the saddlepoint, as Markdown tables.
//
//   scan_tails exact               one SNP, no covariate: sums over all tables with these margins
//   scan_tails bootstrap [draws]   windows of 5 SNPs with covariates: genotypes stay as they are, status
//                                  is drawn from the null model, which is fitted again
#include "examples/simulation.h"
#include "scan/error.h"
#include "scan/score/block_counter.h"
#include "scan/score/score_test.h"
#include "scan/score/tails.h"
#include "scan/score/window.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace {

// Of p-values given by logarithms: the share at or below each level, over the level.
struct level_counts {
    static constexpr double LEVELS[] = {1e-3, 1e-4, 1e-5, 5e-8};
    double below[4] = {}, all = 0;

    void add(double log_p, double weight = 1) {
        all += weight;
        for (int k = 0; k < 4; ++k)
            if (log_p <= std::log(LEVELS[k])) below[k] += weight;
    }
    void print(int n_levels) const {
        for (int k = 0; k < n_levels; ++k)
            std::printf(" %.2g |", below[k] / all / LEVELS[k]);
    }
};

double log_choose(double n, double k) {
    return std::lgamma(n + 1) - std::lgamma(k + 1) - std::lgamma(n - k + 1);
}

// A SNP in equilibrium: subjects by copies.
struct snp {
    double n[3];

    snp(double subjects, double f)
        : n{0, std::round(2 * f * (1 - f) * subjects), std::round(f * f * subjects)} {
        n[0] = subjects - n[1] - n[2];
    }
    // ln of the probability that the cases carry `copies`.
    double log_probability(double cases, double copies) const {
        double most = -INFINITY, sum = 0;
        for (int pass = 0; pass < 2; ++pass)
            for (double twos = 0; 2 * twos <= copies; ++twos) {
                double const ones = copies - 2 * twos, none = cases - ones - twos;
                if (ones > n[1] || twos > n[2] || none < 0 || none > n[0]) continue;
                double const l = log_choose(n[0], none) + log_choose(n[1], ones) +
                                 log_choose(n[2], twos) - log_choose(n[0] + n[1] + n[2], cases);
                if (pass == 0)
                    most = std::max(most, l);
                else
                    sum += std::exp(l - most);
            }
        return most + std::log(sum);
    }
};

void print_exact(double cases, double controls, double f) {
    double const N = cases + controls, mu = cases / N;
    snp const s(N, f);
    double const mean = (s.n[1] + 2 * s.n[2]) / N;
    scan::score_terms terms;
    terms.resize(2);
    terms.set(0, mu, 1 - mean, s.n[1]);
    terms.set(1, mu, 2 - mean, s.n[2]);
    terms.rest = mu * (1 - mu) * mean * mean * s.n[0];
    double const variance = mu * (1 - mu) * (s.n[1] + 4 * s.n[2] - N * mean * mean),
                 expected = cases * mean, reach = 12 * std::sqrt(variance) + 40;
    level_counts normal, saddlepoint;
    for (double copies = std::max(0.0, std::ceil(expected - reach)); copies <= expected + reach;
         ++copies) {
        double const probability = std::exp(s.log_probability(cases, copies)),
                     score = copies - expected, z = score / std::sqrt(variance);
        if (!(probability > 0)) continue;
        double const log_p = scan::log_p_two_sided(z);
        normal.add(log_p, probability);
        saddlepoint.add(std::fabs(z) > 2
                            ? scan::saddlepoint_log_p(terms, score, variance).value_or(log_p)
                            : log_p,
                        probability);
    }
    std::printf("| %g:%g | %g | %.0f |", cases, controls, f, expected);
    normal.print(4);
    saddlepoint.print(4);
    std::printf("\n");
}

void study_exact() {
    std::printf(
        "| cases:controls | frequency | copies | normal 1e-3 | 1e-4 | 1e-5 | 5e-8 | saddlepoint "
        "1e-3 | 1e-4 | 1e-5 | 5e-8 |\n|---|---|---|---|---|---|---|---|---|---|---|\n");
    struct {
        double cases, controls;
    } const designs[] = {{500, 2000},  {1000, 10000}, {200, 2000},
                         {100, 10000}, {100, 50000},  {500, 250000}};
    for (auto const& d : designs)
        for (double const copies : {10, 20, 50, 100, 400})
            if (copies / (2 * d.cases) <= 0.5)
                print_exact(d.cases, d.controls, copies / (2 * d.cases));
}

constexpr unsigned SNPS = 5, WINDOWS = 40;
constexpr double MISSING_SHARE = 0.02;

// Subjects with an age of ten levels and a sex, both with effects, and windows whose haplotypes are
// each half as frequent as the one before.
class bootstrap {
  public:
    bootstrap(double cases, double controls)
        : n_(static_cast<std::size_t>(cases + controls)), cases_(cases) {
        auto const n = static_cast<Eigen::Index>(n_);
        design_ = Eigen::MatrixXd::Ones(n, 3);
        for (Eigen::Index i = 0; i < n; ++i) {
            design_(i, 1) = (std::floor(10 * random_()) - 4.5) / 2.9;
            design_(i, 2) = random_() < 0.5 ? -1 : 1;
        }
        set_probabilities();
        for (std::size_t i = 0; i < n_; ++i)
            sample_.push_back(static_cast<std::uint32_t>(i));
        for (unsigned w = 0; w < WINDOWS; ++w)
            draw_window();
        estimates_.resize(WINDOWS), tested_.resize(WINDOWS);
    }

    void run(unsigned draws) {
        for (unsigned d = 0; d < draws; ++d) {
            std::vector<std::uint8_t> status(n_);
            for (std::size_t i = 0; i < n_; ++i)
                status[i] = random_() < mu_[i];
            try {
                model_ = scan::fit_null_model(status, design_, {"intercept", "age", "sex"});
            } catch (scan::failure const&) {
                continue; // a covariate separates few cases from the controls
            }
            scan::block_counter counter(model_, sample_);
            for (unsigned w = 0; w < WINDOWS; ++w)
                test(counter, w);
        }
    }

    void print() const {
        for (auto const& [name, both] : counts_) {
            std::printf("| %g:%g | %s | %.3g |", cases_, static_cast<double>(n_) - cases_,
                        name.c_str(), both[0].all);
            both[0].print(3);
            both[1].print(3);
            std::printf("\n");
        }
    }

  private:
    std::size_t n_;
    double cases_;
    uniform random_{7};
    Eigen::MatrixXd design_;
    std::vector<double> mu_;
    std::vector<std::uint32_t> sample_;
    std::vector<std::vector<std::vector<std::uint8_t>>> windows_; // by window and SNP
    scan::null_model model_;
    scan::genotype_table table_{model_};
    std::vector<scan::frequency_estimate>
        estimates_; // of the first draw; status has no part in them
    std::vector<std::vector<std::size_t>> tested_;
    scan::window_row row_;
    std::map<std::string, level_counts[2]> counts_; // normal or chi-square, and under --spa

    // The intercept gives the cases that are expected.
    void set_probabilities() {
        mu_.resize(n_);
        double low = -20, high = 20;
        for (int step = 0; step < 60; ++step) {
            double const a = (low + high) / 2;
            double sum = 0;
            for (std::size_t i = 0; i < n_; ++i) {
                auto const k = static_cast<Eigen::Index>(i);
                mu_[i] = 1 / (1 + std::exp(-a - 0.7 * design_(k, 1) - 0.3 * design_(k, 2)));
                sum += mu_[i];
            }
            (sum < cases_ ? low : high) = a;
        }
    }

    void draw_window() {
        unsigned haplotypes[7];
        for (unsigned& h : haplotypes)
            h = static_cast<unsigned>(random_() * (1 << SNPS));
        auto const draw = [&] {
            unsigned k = 0;
            while (k < 6 && random_() < 0.5)
                ++k;
            return haplotypes[k];
        };
        windows_.emplace_back(SNPS, std::vector<std::uint8_t>((n_ + 3) / 4));
        for (std::size_t i = 0; i < n_; ++i) {
            unsigned const a = draw(), b = draw();
            for (unsigned l = 0; l < SNPS; ++l) {
                unsigned const copies = (a >> l & 1) + (b >> l & 1);
                unsigned const code = random_() < MISSING_SHARE ? 1 : copies == 2 ? 0 : 3 - copies;
                windows_.back()[l][i / 4] |= static_cast<std::uint8_t>(code << i % 4 * 2);
            }
        }
    }

    void choose(unsigned w) {
        estimates_[w].run(table_.genotypes, SNPS);
        for (std::size_t h = 0; h < estimates_[w].list().n_haplotypes(); ++h)
            if (estimates_[w].frequency(h) * std::min(1.0, cases_ / 500) >= 0.01)
                tested_[w].push_back(h);
        std::sort(tested_[w].begin(), tested_[w].end(), [&](std::size_t a, std::size_t b) {
            return estimates_[w].frequency(a) > estimates_[w].frequency(b);
        });
    }

    void test(scan::block_counter& counter, unsigned w) {
        std::vector<scan::genotype_row> rows;
        for (auto const& snp : windows_[w])
            rows.push_back(snp.data());
        counter.count({rows});
        counter.make_window(0, 0, SNPS, SNPS, table_);
        if (tested_[w].empty()) choose(w);
        if (tested_[w].size() < 2) return;
        scan::score_test score(model_, scan::saddlepoint_use::on);
        row_.haplotypes.assign(tested_[w].size(), {});
        row_.cases = table_.n_cases, row_.controls = table_.n_subjects - table_.n_cases;
        if (score.run(table_, estimates_[w], tested_[w], row_) != scan::error_code::none) return;
        add("omnibus", scan::log_p_chi_square(row_.chisq, row_.df), row_.log_p);
        double best[2] = {0, 0};
        for (std::size_t h = 0; h < tested_[w].size(); ++h) {
            scan::haplotype_row const& x = row_.haplotypes[h];
            double const copies = 2 * cases_ * estimates_[w].frequency(tested_[w][h]),
                         normal = scan::log_p_two_sided(x.z);
            add(copies < 20    ? "10 to 20 copies"
                : copies < 50  ? "20 to 50 copies"
                : copies < 200 ? "50 to 200 copies"
                               : "more copies",
                normal, x.log_p);
            best[0] = std::min(best[0], normal), best[1] = std::min(best[1], x.log_p);
        }
        double const tests = std::log(static_cast<double>(tested_[w].size()));
        add("TOP_P_BONF", best[0] + tests, best[1] + tests);
    }

    void add(char const* name, double without, double with) {
        counts_[name][0].add(without);
        counts_[name][1].add(with);
    }
};

void study_bootstrap(double draws) {
    std::printf(
        "| cases:controls | test | number | without 1e-3 | 1e-4 | 1e-5 | saddlepoint 1e-3 | 1e-4 | "
        "1e-5 |\n|---|---|---|---|---|---|---|---|---|\n");
    struct {
        double cases, controls;
    } const designs[] = {{25, 100},    {200, 800},    {100, 2000},
                         {100, 10000}, {1000, 20000}, {1000, 100000}};
    for (auto const& d : designs) {
        bootstrap study(d.cases, d.controls);
        study.run(static_cast<unsigned>(draws / std::sqrt(d.cases + d.controls)));
        study.print();
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "exact") == 0)
        study_exact();
    else if (argc > 1 && std::strcmp(argv[1], "bootstrap") == 0)
        study_bootstrap(argc > 2 ? std::atof(argv[2]) : 1e6);
    else
        return std::fprintf(stderr, "scan_tails exact|bootstrap [draws]\n"), 1;
}
