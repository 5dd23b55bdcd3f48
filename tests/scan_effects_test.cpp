// The prospective likelihood: against its definition, numerical derivatives and haplo.glm.
#include "scan/effects/effect_test.h"
#include "scan/effects/prospective.h"
#include "scan/score/haplotypes.h"
#include "scan/score/window_runner.h"
#include "tests/scan_data.h"
#include "tests/scan_effects_reference.h"
#include "tests/support.h"

#include "numeric/status_code.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>

namespace {

using scan::effect_row;

std::map<std::string, inheritance> const MODES = {{"additive", ADDITIVE},
                                                  {"recessive", RECESSIVE},
                                                  {"dominant", DOMINANT},
                                                  {"codominant", CODOMINANT}};

// A sample as a run of the scan has it, its columns of covariates centred and scaled.
struct effects_case {
    scan_sample const& s;
    scan::null_design design;
    std::vector<std::uint32_t> places;
    std::vector<std::vector<std::uint8_t>> bed;
    scan::window_settings test;

    explicit effects_case(scan_sample const& sample) : s(sample) {
        Eigen::Index const c = s.design.cols();
        design.columns = s.design;
        design.names = s.names;
        design.units.assign(static_cast<std::size_t>(c), 1);
        design.means.assign(static_cast<std::size_t>(c), 0);
        for (Eigen::Index j = 1; j < c; ++j) {
            double& mean = design.means[static_cast<std::size_t>(j)];
            double& unit = design.units[static_cast<std::size_t>(j)];
            auto column = design.columns.col(j);
            mean = column.mean();
            column.array() -= mean;
            unit = std::sqrt(column.squaredNorm() / static_cast<double>(column.size()));
            column /= unit;
        }
        for (std::vector<int> const& snp : s.copies) {
            bed.emplace_back((snp.size() + 3) / 4);
            for (std::size_t i = 0; i < snp.size(); ++i) {
                unsigned const code = snp[i] == 2 ? 0 : snp[i] == 1 ? 2 : snp[i] == 0 ? 3 : 1;
                bed.back()[i / 4] |= static_cast<std::uint8_t>(code << i % 4 * 2);
            }
        }
        for (std::size_t i = 0; i < s.status.size(); ++i)
            places.push_back(static_cast<std::uint32_t>(i));
        test.min_hap_copies = 0;
    }

    std::vector<std::uint8_t const*> rows() const {
        std::vector<std::uint8_t const*> result;
        for (auto const& row : bed)
            result.push_back(row.data());
        return result;
    }

    scan::effect_result run(scan::effect_settings const& settings) const {
        scan::null_model const model = scan::fit_null_model(s.status, design.columns, design.names);
        scan::window_row tested;
        scan::window_runner(model, places, test).run(rows(), tested);
        scan::effect_input const input(settings, test, design, places, s.status);
        scan::effect_result result;
        scan::effect_test(input, model).run(rows(), tested, result);
        return result;
    }
};

scan_data_set const& data_set(std::string const& name) {
    for (scan_data_set const& set : scan_data_sets)
        if (set.name == name) return set;
    throw std::out_of_range(name);
}

// The likelihood of a small sample, with two haplotypes and a rare class as terms.
struct small_likelihood {
    scan_sample sample;
    effects_case c;
    scan::run_subjects subjects;
    scan::window_sample window;
    scan::supported_haplotypes haplotypes;
    scan::haplotype_terms terms;
    scan::prospective_likelihood likelihood;

    static scan_data_set small(bool adjusted) {
        scan_data_set set = data_set(adjusted ? "adjusted" : "unequal");
        set.n_controls = 30;
        set.n_cases = 40;
        set.missing = 0.1;
        return set;
    }
    scan::supported_haplotypes supported() const {
        std::vector<double> frequencies;
        EXPECT_TRUE(scan::estimate_frequencies(window.genotypes, sample.n_snps, frequencies));
        return scan::find_supported(window.genotypes, frequencies, sample.n_snps,
                                    window.n_subjects);
    }
    scan::haplotype_terms three_terms(inheritance mode) const {
        scan::haplotype_terms t;
        for (std::size_t h = 0; h < haplotypes.size(); ++h)
            t.labels.push_back(h < 4 ? static_cast<unsigned>(h + 2) % 4 : 3);
        coding_of(mode, t.code);
        t.names.resize(3);
        return t;
    }

    small_likelihood(bool adjusted, inheritance mode, int environment)
        : sample(small(adjusted)), c(sample), subjects(c.places, sample.status, c.design.columns),
          window(subjects, c.rows(), 2), haplotypes(supported()), terms(three_terms(mode)),
          likelihood(window, haplotypes, terms, environment) {}

    // Parameters away from the start, where no score vanishes.
    std::vector<double> point() const {
        Eigen::VectorXd const x =
            likelihood.start(Eigen::VectorXd::Constant(c.design.columns.cols(), 0.2));
        std::vector<double> values(x.data(), x.data() + x.size());
        for (std::size_t k = 0; k < values.size(); ++k)
            values[k] += 0.4 * std::sin(5.0 * static_cast<double>(k + 1));
        return values;
    }

    // The definition, subject by subject and pair by pair.
    double plain(std::vector<double> const& x, int environment) const {
        unsigned const K = static_cast<unsigned>(haplotypes.size());
        std::vector<double> p(K, 1);
        double sum = 1;
        for (unsigned h = 1; h < K; ++h)
            sum += p[h] = std::exp(x[h - 1]);
        double const* const b = x.data() + likelihood.first_covariate();
        double L = 0;
        for (std::size_t i = 0; i < sample.status.size(); ++i) {
            double probability = 0;
            unsigned missing = 0;
            for (auto const& snp : sample.copies)
                missing += snp[i] == scan_sample::MISSING;
            if (missing > 2) continue;
            for (unsigned a = 0; a < K; ++a)
                for (unsigned d = 0; d < K; ++d) {
                    bool fits = true;
                    for (unsigned l = 0; l < sample.n_snps; ++l) {
                        unsigned const shift = sample.n_snps - 1 - l;
                        int const copies = static_cast<int>((haplotypes.bits[a] >> shift & 1) +
                                                            (haplotypes.bits[d] >> shift & 1));
                        fits = fits && (sample.copies[l][i] == scan_sample::MISSING ||
                                        sample.copies[l][i] == copies);
                    }
                    if (!fits) continue;
                    auto const row = c.design.columns.row(static_cast<Eigen::Index>(i));
                    double eta = 0;
                    for (Eigen::Index j = 0; j < row.size(); ++j)
                        eta += b[j] * row[j];
                    for (unsigned t = 0; t < 3; ++t) {
                        unsigned const n = (terms.labels[a] == t + 1) + (terms.labels[d] == t + 1);
                        auto const add = [&](unsigned code, double z) {
                            eta += z * x[likelihood.effect(code)];
                            if (environment >= 0)
                                eta += z * x[likelihood.interaction(code)] * row[environment];
                        };
                        if (terms.code.is_codominant) {
                            add(2 * t, n);
                            add(2 * t + 1, n == 2);
                        } else
                            add(t, n == 2 ? terms.code.two_copies : n * terms.code.one_copy);
                    }
                    probability += p[a] * p[d] / (sum * sum) /
                                   (1 + std::exp(sample.status[i] != 0 ? -eta : eta));
                }
            L += std::log(probability);
        }
        return L;
    }
};

} // namespace

TEST(scan_effects, likelihood_and_derivatives) {
    for (auto const& [name, mode] : MODES)
        for (int const environment : {-2, -1, 1}) {
            SCOPED_TRACE(name + " " + std::to_string(environment));
            small_likelihood m(environment != -2, mode, std::max(environment, -1));
            std::vector<double> const x = m.point();
            std::size_t const p = x.size();
            ASSERT_EQ(p, m.likelihood.n_parameters());
            std::vector<double> g(p), H(p * p), above(p), below(p);
            double L, up, down;
            ASSERT_EQ(m.likelihood.evaluate(x.data(), L, g.data()), SUCCESS);
            m.likelihood.information(H.data());
            EXPECT_NEAR(L, m.plain(x, std::max(environment, -1)), 1e-9);
            double const h = 1e-5;
            for (std::size_t k = 0; k < p; ++k) {
                std::vector<double> moved = x;
                moved[k] += h;
                m.likelihood.evaluate(moved.data(), up, above.data());
                moved[k] -= 2 * h;
                m.likelihood.evaluate(moved.data(), down, below.data());
                EXPECT_NEAR(g[k], (up - down) / (2 * h), 1e-6) << k;
                for (std::size_t j = k; j < p; ++j)
                    EXPECT_NEAR(H[j * p + k], -(above[j] - below[j]) / (2 * h), 1e-6)
                        << j << "," << k;
            }
        }
}

// Rows of fewer than 10 and of fewer than 50 expected copies, carriers or homozygotes in the smaller
// group, whichever value of the code is rarer; for an interaction those in the rarer half of a covariate
// of two values.
TEST(scan_effects, rows_of_few_copies) {
    scan_sample const sample(data_set("adjusted"));
    double const sex = sample.design.col(2).mean(), share = std::min(sex, 1 - sex);
    int n[3] = {};
    for (auto const& [name, mode] : MODES) {
        scan::effect_settings settings;
        settings.mode = mode;
        settings.interaction = "sex";
        for (bool const is_vs_rest : {false, true}) {
            settings.is_vs_rest = is_vs_rest;
            for (effect_row const& row : effects_case(sample).run(settings).rows) {
                if (row.estimate.code == scan::effect_code::not_identifiable) continue;
                double const p = row.frequency, q = 1 - p;
                double const none = q * q, one = 2 * p * q, two = p * p;
                double const least = row.test[0] == 'R'   ? std::min(two, none + one)
                                     : row.test[0] == 'D' ? std::min(none, one + two)
                                     : row.test[0] == 'H' ? std::min(none, two)
                                     : name == "codominant"
                                         ? std::min(none, one)
                                         : std::min(2 * none + one, one + 2 * two);
                double const copies =
                    300 * least * (row.test.find('x') == row.test.npos ? 1 : share);
                auto const& e = row.estimate;
                bool const is_penalised = scan::text(e.code).find("PENAL") != std::string::npos;
                EXPECT_EQ(is_penalised, copies < 10) << row.test << " " << p;
                EXPECT_EQ(e.type == scan::p_type::likelihood_ratio,
                          copies < 50 || std::isinf(e.beta));
                if (is_penalised) {
                    EXPECT_TRUE(std::isinf(e.beta) || (e.lower < e.beta && e.beta < e.upper));
                }
                ++n[copies < 10 ? 0 : copies < 50 ? 1 : 2];
            }
        }
    }
    EXPECT_GE(*std::min_element(n, n + 3), 10);
}

// A SNP that all cases miss tells nothing there of haplotypes that differ by it alone, but against all
// others; the retrospective likelihood is flat in the same effects.
TEST(scan_effects, unknown_in_cases) {
    scan_sample sample(data_set("balanced"));
    for (std::size_t i = 0; i < sample.status.size(); ++i)
        if (sample.status[i] != 0) sample.copies[3][i] = scan_sample::MISSING;
    for (bool const is_vs_rest : {false, true}) {
        std::string codes[2];
        for (unsigned const k : {0u, 1u}) {
            scan::effect_settings settings;
            settings.model =
                k == 0 ? scan::effect_model::prospective : scan::effect_model::retrospective;
            settings.is_vs_rest = is_vs_rest;
            for (effect_row const& row : effects_case(sample).run(settings).rows)
                codes[k] += scan::text(row.estimate.code) + " ";
        }
        EXPECT_EQ(codes[0], codes[1]);
        EXPECT_EQ(codes[0].find("NOT_IDENTIFIABLE") == std::string::npos, is_vs_rest);
    }
}

TEST(scan_effects, haplo_glm) {
    for (effects_reference const& r : effects_references) {
        SCOPED_TRACE(r.data_set + " " + r.mode);
        scan_sample const sample(data_set(r.data_set));
        scan::effect_settings settings;
        settings.mode = MODES.at(r.mode);
        settings.shows_covariates = true;
        std::vector<effect_row> const rows = effects_case(sample).run(settings).rows;
        auto const compare = [](effect_row const& row, double beta, double error) {
            if (std::isnan(beta) || row.estimate.code != scan::effect_code::none) return 0;
            EXPECT_NEAR(row.estimate.beta, beta, 1e-6) << row.test;
            EXPECT_NEAR(row.estimate.standard_error, error, 1e-6) << row.test;
            return 1;
        };
        int n = 0;
        for (effect_row const& row : rows) {
            if (row.haplotype.kind == scan::haplotype_name::one) {
                EXPECT_EQ(row.reference.bits, r.base);
                auto const h = std::find(r.bits.begin(), r.bits.end(), row.haplotype.bits);
                ASSERT_NE(h, r.bits.end());
                auto const k = static_cast<std::size_t>(h - r.bits.begin());
                n += compare(row, r.beta[k], r.standard_errors[k]);
            } else if (row.haplotype.kind == scan::haplotype_name::nothing) {
                auto const j = static_cast<std::size_t>(
                    std::find(sample.names.begin(), sample.names.end(), row.test) -
                    sample.names.begin() - 1);
                n += compare(row, r.covariates.at(j), r.covariate_errors[j]);
            }
        }
        EXPECT_GE(n, r.mode == "recessive" ? 1 : 4); // of which others are penalised
    }
}
