// The distinct genotypes of windows and their sums, against counting subject by subject.
#include "scan/score/block_counter.h"

#include <gtest/gtest.h>
#include <map>
#include <random>
#include <tuple>

namespace {

// Random genotypes in rows of a .bed. Some subjects of the .fam are not in the sample, the last among
// them or not; their genotypes must not be noticed.
struct random_study {
    std::size_t n_fam;
    std::vector<std::vector<unsigned>> codes; // [SNP][subject of the .fam]
    std::vector<std::vector<std::uint8_t>> bed;
    std::vector<std::uint32_t> sample;
    scan::null_model model;

    random_study(std::size_t fam, double share_used, double missing, Eigen::Index n_covariates)
        : n_fam(fam) {
        std::mt19937_64 random(fam);
        auto const draw = [&] { return std::uniform_real_distribution<double>()(random); };
        for (unsigned l = 0; l < 24; ++l) {
            codes.emplace_back(fam);
            bed.emplace_back((fam + 3) / 4);
            for (std::size_t s = 0; s < fam; ++s) {
                bool const is_copied = l > 0 && draw() < 0.8; // so that distinct ones are few
                codes[l][s] = is_copied          ? codes[l - 1][s]
                              : draw() < missing ? 1
                                                 : std::vector<unsigned>{0, 2, 3, 3}[random() % 4];
                bed[l][s / 4] |= static_cast<std::uint8_t>(codes[l][s] << s % 4 * 2);
            }
        }
        std::vector<std::uint8_t> is_case;
        for (std::uint32_t s = 0; s < fam; ++s)
            if (draw() < share_used) {
                sample.push_back(s);
                is_case.push_back(draw() < 0.3);
            }
        Eigen::MatrixXd design =
            Eigen::MatrixXd::Ones(static_cast<Eigen::Index>(sample.size()), 1 + n_covariates);
        for (Eigen::Index c = 1; c <= n_covariates; ++c)
            for (Eigen::Index i = 0; i < design.rows(); ++i)
                design(i, c) = draw();
        model = scan::fit_null_model(
            is_case, design, std::vector<std::string>(static_cast<std::size_t>(n_covariates + 1)));
    }

    std::vector<scan::genotype_row> rows(unsigned first, unsigned n) const {
        std::vector<scan::genotype_row> result;
        for (unsigned l = first; l < first + n; ++l)
            result.push_back(bed[l].data());
        return result;
    }
};

// By missing, twos and ones: controls, cases and sums.
struct plain_genotype {
    unsigned controls = 0, cases = 0;
    Eigen::RowVectorXd sums;
};
struct plain_window {
    std::map<std::tuple<unsigned, unsigned, unsigned>, plain_genotype> genotypes;
    std::vector<std::uint32_t> left_out;
    unsigned n_subjects = 0, n_cases = 0;

    plain_window(random_study const& s, unsigned first, unsigned n_snps, unsigned max_missing) {
        for (std::uint32_t i = 0; i < s.sample.size(); ++i) {
            unsigned missing = 0, twos = 0, ones = 0, n_missing = 0;
            for (unsigned l = first; l < first + n_snps; ++l) {
                unsigned const code = s.codes[l][s.sample[i]];
                missing = 2 * missing + (code == 1);
                twos = 2 * twos + (code == 0);
                ones = 2 * ones + (code == 0 || code == 2);
                n_missing += code == 1;
            }
            if (n_missing > max_missing) {
                left_out.push_back(i);
                continue;
            }
            plain_genotype& g = genotypes[{missing, twos, ones}];
            ++(s.model.is_case[i] != 0 ? g.cases : g.controls);
            ++n_subjects;
            n_cases += s.model.is_case[i];
            Eigen::RowVectorXd sums = s.model.subjects.row(i);
            sums.tail(s.model.n_columns()) *= sums[scan::null_model::WEIGHT];
            if (g.sums.size() == 0) g.sums.setZero(sums.size());
            g.sums += sums;
        }
    }
};

void expect_plain(random_study const& s, scan::genotype_table const& table,
                  plain_window const& plain) {
    EXPECT_EQ(table.n_subjects, plain.n_subjects);
    EXPECT_EQ(table.n_cases, plain.n_cases);
    if (s.model.has_covariates()) {
        EXPECT_EQ(table.left_out, plain.left_out);
    }
    ASSERT_EQ(table.genotypes.size(), plain.genotypes.size());
    for (std::size_t g = 0; g < table.genotypes.size(); ++g) {
        genotype_count const& found = table.genotypes[g];
        auto const at = plain.genotypes.find({found.missing, found.twos, found.ones});
        ASSERT_NE(at, plain.genotypes.end());
        EXPECT_EQ(found.controls, at->second.controls);
        EXPECT_EQ(found.cases, at->second.cases);
        if (!s.model.has_covariates()) continue;
        Eigen::RowVectorXd const error =
            table.sums().row(static_cast<Eigen::Index>(g)) - at->second.sums;
        EXPECT_LT(error.cwiseAbs().maxCoeff(), 3e-9 * std::sqrt(plain.n_subjects));
    }
}

// A window's table does not depend on its block, to the last bit.
void expect_same(scan::genotype_table const& a, scan::genotype_table const& b, bool has_sums) {
    ASSERT_EQ(a.genotypes.size(), b.genotypes.size());
    for (std::size_t g = 0; g < a.genotypes.size(); ++g) {
        EXPECT_EQ(a.genotypes[g].ones, b.genotypes[g].ones);
        EXPECT_EQ(a.genotypes[g].missing, b.genotypes[g].missing);
        EXPECT_EQ(a.genotypes[g].controls, b.genotypes[g].controls);
    }
    EXPECT_EQ(a.left_out, b.left_out);
    if (has_sums) {
        EXPECT_EQ(a.sums(), b.sums());
    }
}

} // namespace

TEST(scan_counts, equal_those_of_subjects) {
    struct {
        std::size_t n_fam;
        double share_used, missing;
        Eigen::Index n_covariates;
    } const studies[] = {{4501, 1, 0.1, 0},   {4501, 1, 0.1, 2}, {3007, 0.6, 0.02, 0},
                         {2048, 0.6, 0.1, 3}, {133, 0.9, 0, 13}, {1100, 0.05, 0.3, 18}};
    for (auto const& c : studies) {
        SCOPED_TRACE(std::to_string(c.n_fam) + " of the .fam, " + std::to_string(c.n_covariates));
        random_study const s(c.n_fam, c.share_used, c.missing, c.n_covariates);
        scan::block_counter counter(s.model, s.sample);
        scan::genotype_table table(s.model), alone(s.model);
        for (auto const& [n_block, n] : {std::pair{1u, 1u},
                                         {2u, 2u},
                                         {4u, 3u},
                                         {5u, 5u},
                                         {6u, 1u},
                                         {7u, 2u},
                                         {7u, 5u},
                                         {7u, 7u},
                                         {8u, 8u},
                                         {10u, 5u},
                                         {10u, 7u},
                                         {12u, 12u},
                                         {17u, 17u},
                                         {20u, 20u}})
            for (unsigned const max_missing : {0u, n / 2, n})
                for (unsigned first = 0; first + n <= n_block; ++first) {
                    SCOPED_TRACE(std::to_string(n) + " SNPs of " + std::to_string(n_block));
                    counter.count({s.rows(0, 3), s.rows(4, n_block), s.rows(1, 9)});
                    counter.make_window(1, first, n, max_missing, table);
                    expect_plain(s, table, plain_window(s, 4 + first, n, max_missing));
                    counter.count({s.rows(4 + first, n)});
                    counter.make_window(0, 0, n, max_missing, alone);
                    expect_same(table, alone, c.n_covariates > 0);
                }
    }
}
