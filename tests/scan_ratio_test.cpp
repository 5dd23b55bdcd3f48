// The likelihood-ratio test of windows by the built quilmar-scan: beside quilmar, with rare haplotypes
// as a class, and where a haplotype is in one group alone.
#include "tests/scan_data.h"
#include "tests/scan_support.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <sstream>

namespace {

double number(std::map<std::string, std::string> const& row, std::string const& column) {
    return std::stod(row.at(column));
}

// One window of all SNPs of a sample, tested by `--test lrt` and these options.
struct scanned : scratch {
    std::map<std::string, std::string> window;
    std::vector<std::map<std::string, std::string>> haplotypes;

    scanned(scan_sample const& s, std::string const& options) {
        std::vector<snp_text> snps;
        for (unsigned l = 0; l < s.n_snps; ++l) {
            snps.push_back(
                {"1 s" + std::to_string(l) + " 0 " + std::to_string(l + 1) + " A C", ""});
            for (int const copies : s.copies[l])
                snps.back().copies += copies == scan_sample::MISSING ? "9" : std::to_string(copies);
        }
        std::vector<std::string> statuses;
        for (std::uint8_t const status : s.status)
            statuses.push_back(status != 0 ? "2" : "1");
        write_study(*this, snps, statuses);
        outcome const o = run_shell(
            *this, QUILMAR_SCAN_PROGRAM " --bfile s --test lrt --window-mind 1 --out t --window " +
                       std::to_string(s.n_snps) + " " + options);
        EXPECT_EQ(o.exit_status, 0) << o.err;
        EXPECT_NE(o.err.find("Test: likelihood ratio, not adjusted for covariates.\n"),
                  std::string::npos);
        window = table(read("t.win.tsv")).rows.at(0);
        haplotypes = table(read("t.hap.tsv")).rows;
        EXPECT_EQ(window.at("TEST"), "LRT");
        EXPECT_EQ(window.at("N_HAP"), std::to_string(haplotypes.size()));
    }

    std::map<std::string, std::string> const& haplotype(std::string const& bits) const {
        for (auto const& h : haplotypes)
            if (h.at("BITS") == bits) return h;
        throw std::out_of_range("haplotype " + bits);
    }
};

// quilmar's log-likelihoods, without and with effects, and by haplotype the effect and its standard
// error, where each of the scan's haplotypes but the first has an effect.
struct analysed {
    double without = 0, with = 0;
    std::map<std::string, std::pair<double, double>> effects;

    // omitted: of the scan's haplotypes, one without an effect.
    analysed(scan_sample const& s, scanned const& scan, std::size_t omitted = 0) {
        std::ostringstream data, spec;
        data << "ID STATUS";
        spec << "STATUS=2\nSAMPLE=combined\nTHRESHOLD=1e-9\nFTOLERANCE=1e-14\n"
                "FITERATIONS=1000000\nTOLERANCE=1e-9\nGENE=";
        for (unsigned l = 0; l < s.n_snps; ++l) {
            data << ' ' << l;
            spec << l + 3 << ' ';
        }
        for (std::size_t i = 0; i < s.status.size(); ++i) {
            data << '\n' << i << ' ' << int{s.status[i]};
            for (std::vector<int> const& snp : s.copies)
                data << ' ' << (snp[i] == scan_sample::MISSING ? 9 : snp[i]);
        }
        for (std::size_t h = 1; h < scan.haplotypes.size(); ++h)
            if (h != omitted)
                spec << "\nEFFECT=" << std::stoi(scan.haplotypes[h].at("BITS"), nullptr, 2);
        scan.write("d", data.str() + "\n");
        scan.write("q", spec.str() + "\n");
        run_quilmar(scan, "d q");
        std::istringstream report(scan.read("d.out"));
        bool is_effect = false;
        for (std::string line; std::getline(report, line);) {
            std::istringstream tokens(line);
            std::string name;
            double value, error;
            tokens >> name;
            if (name == "Gene" || name == "Frequencies") is_effect = name == "Gene";
            if (!(tokens >> value)) continue;
            if (name == "Log-Likelihood") (without == 0 ? without : with) = value;
            if (is_effect && tokens >> error) effects[name] = {value, error};
        }
    }
};

void expect_quilmars(std::size_t data_set, std::string const& options, std::size_t n_effects) {
    SCOPED_TRACE(scan_data_sets[data_set].name + options);
    scan_sample const s(scan_data_sets[data_set]);
    scanned const scan(s, options);
    analysed const quilmar(s, scan);
    ASSERT_EQ(quilmar.effects.size(), n_effects) << scan.read("d.out");
    EXPECT_EQ(scan.window.at("DF"), std::to_string(n_effects));
    EXPECT_NEAR(number(scan.window, "CHISQ"), 2 * (quilmar.with - quilmar.without), 1.1e-4);
    for (std::size_t k = 0; k < scan.haplotypes.size(); ++k) {
        auto const& h = scan.haplotypes[k];
        EXPECT_EQ(h.at("TEST") + h.at("REF_HAP"), "LRT" + scan.haplotypes[0].at("HAP"));
        auto const& [beta, error] = quilmar.effects.count(h.at("BITS")) == 1
                                        ? quilmar.effects.at(h.at("BITS"))
                                        : std::pair<double, double>(0, 0);
        if (error == 0) {
            EXPECT_EQ(h.at("BETA") + h.at("SE") + h.at("Z") + h.at("P") + h.at("P_TYPE"),
                      "NANANANANA");
            continue;
        }
        EXPECT_NEAR(number(h, "BETA"), beta, 0.51e-4);
        EXPECT_NEAR(number(h, "SE"), error, 0.51e-4);
        EXPECT_NEAR(number(h, "Z"), number(h, "BETA") / number(h, "SE"), 1e-4);
        EXPECT_GE(number(h, "P"), number(scan.window, "TOP_P"));
        // Few copies: P is that of the model without this effect.
        std::size_t const cases = std::count(s.status.begin(), s.status.end(), 1);
        bool const is_few = 2.0 * std::min(cases, s.status.size() - cases) * number(h, "FREQ") < 50;
        EXPECT_EQ(h.at("P_TYPE"), is_few ? "LRT" : "WALD");
        double const z2 =
            is_few ? 2 * (quilmar.with - analysed(s, scan, k).with) : std::pow(number(h, "Z"), 2);
        EXPECT_NEAR(number(h, "P"), std::erfc(std::sqrt(std::max(0.0, z2) / 2)), 1e-4);
    }
}

} // namespace

TEST(scan_ratio, equals_quilmar) {
    expect_quilmars(0, "", 4);
    expect_quilmars(1, "", 4);
    // Haplotypes with fewer copies share the reference's effect, one of them being in cases alone.
    expect_quilmars(2, "--min-hap-copies 5", 5);
    expect_quilmars(1, "--min-hap-copies 40", 3);
    expect_quilmars(3, "--min-hap-copies 8", 7);
    expect_quilmars(4, "--min-hap-copies 70", 8);
}

namespace {

// The maximum by plain EM for a class with one effect, written out: a group's common haplotypes have
// their own counts, the rare ones share the class's by the counts of both groups.
struct plain_ratio {
    double lrt = 0;
    std::vector<double> f[2];

    plain_ratio(scan_sample const& s, std::vector<unsigned> const& common) {
        std::size_t const size = std::size_t{1} << s.n_snps;
        std::map<std::string, std::pair<double, double>> counts; // controls, cases
        double n[2] = {};
        for (std::size_t i = 0; i < s.status.size(); ++i) {
            std::string text;
            for (std::vector<int> const& snp : s.copies)
                text += snp[i] == scan_sample::MISSING ? '9' : static_cast<char>('0' + snp[i]);
            ++(s.status[i] != 0 ? counts[text].second : counts[text].first);
            ++n[s.status[i]];
        }
        std::vector<bool> is_rare(size, true);
        for (unsigned const h : common)
            is_rare[h] = false;
        f[0] = f[1] = std::vector<double>(size, 1.0 / static_cast<double>(size));
        double pooled = 0, l = 0;
        for (int together = 1; together >= 0; --together)
            for (int step = 0; step < 3000; ++step) {
                std::vector<double> c[2];
                l = 0;
                for (int d : {0, 1}) {
                    c[d].assign(size, 0.0);
                    for (auto const& [text, count] : counts) {
                        genotype const g = genotype_of(text);
                        genotype_sides sides;
                        sides.sum(g.masks(), f[d].data());
                        double const m = d == 0 ? count.first : count.second;
                        sides.add_counts(2 * m / sides.S, 0, c[d].data());
                        if (m > 0) l += m * std::log(sides.S);
                    }
                    for (std::size_t h = 0; h < size; ++h)
                        c[d][h] *= f[d][h];
                }
                double class_count[2] = {}, chromosomes = 2 * (n[0] + n[1]);
                for (std::size_t h = 0; h < size; ++h)
                    for (int d : {0, 1})
                        class_count[d] += is_rare[h] ? c[d][h] : 0;
                for (std::size_t h = 0; h < size; ++h) {
                    double const both = c[0][h] + c[1][h],
                                 share = both / (class_count[0] + class_count[1]);
                    for (int d : {0, 1})
                        f[d][h] = together != 0 ? both / chromosomes
                                  : is_rare[h]  ? share * class_count[d] / (2 * n[d])
                                                : c[d][h] / (2 * n[d]);
                }
                if (together != 0) pooled = l;
            }
        lrt = 2 * (l - pooled);
    }
};

} // namespace

TEST(scan_ratio, rare_haplotypes_have_one_effect) {
    scan_sample const s(scan_data_sets[4]);
    // Of 10 haplotypes those below 5 % are rare.
    scanned const scan(s, "--min-hap-freq 0.05 --min-hap-copies 100");
    ASSERT_EQ(scan.haplotypes.size(), 7u);
    EXPECT_EQ(scan.window.at("DF"), "7");
    std::vector<unsigned> common;
    for (auto const& h : scan.haplotypes)
        common.push_back(static_cast<unsigned>(std::stoi(h.at("BITS"), nullptr, 2)));
    plain_ratio const plain(s, common);
    EXPECT_NEAR(number(scan.window, "CHISQ"), plain.lrt, 1e-4);
    for (std::size_t h = 0; h < common.size(); ++h) {
        double const f = plain.f[0][common[h]], q = plain.f[1][common[h]];
        EXPECT_NEAR(number(scan.haplotypes[h], "CTRL_FREQ"), f, 1e-6);
        EXPECT_NEAR(number(scan.haplotypes[h], "CASE_FREQ"), q, 1e-6);
        EXPECT_NEAR(number(scan.haplotypes[h], "CASE_HAP_CT"), 3200 * q, 0.01);
        if (h == 0) continue;
        EXPECT_NEAR(number(scan.haplotypes[h], "BETA"),
                    std::log(q / f * plain.f[0][common[0]] / plain.f[1][common[0]]), 1e-5);
    }
}

// Haplotypes 00, 01 and 10, of which the cases do not have 01.
TEST(scan_ratio, a_haplotype_in_one_group_has_an_infinite_effect) {
    scan_sample const s({0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1},
                        {"00002100002210", "12100000000000"});
    scanned const scan(s, "--min-hap-copies 1 --min-hap-freq 0.01");
    ASSERT_EQ(scan.haplotypes.size(), 3u);
    auto const &infinite = scan.haplotype("01"), &finite = scan.haplotype("10");
    EXPECT_EQ(infinite.at("BETA") + infinite.at("SE") + infinite.at("Z"), "-infNANA");
    // Controls 5, 4, 3 of 12 chromosomes and cases 11, 0, 5 of 16.
    auto const sum = [](std::vector<double> const& counts) {
        double l = 0, n = 0;
        for (double const c : counts)
            l += c > 0 ? c * std::log(c) : 0, n += c;
        return l - n * std::log(n);
    };
    double const l = sum({5, 4, 3}) + sum({11, 0, 5});
    EXPECT_NEAR(number(scan.window, "CHISQ"), 2 * (l - sum({16, 4, 8})), 1e-5);
    // With its shares as the reference's.
    EXPECT_NEAR(number(infinite, "P"),
                std::erfc(std::sqrt(l - (sum({9, 3}) + sum({11, 5}) + sum({16, 4})))), 1e-6);
    EXPECT_NEAR(number(finite, "P"),
                std::erfc(std::sqrt(l - (sum({8, 4}) + sum({16, 0}) + sum({16, 8})))), 1e-6);
    EXPECT_EQ(infinite.at("P_TYPE") + finite.at("P_TYPE"), "LRTLRT");
    EXPECT_EQ(scan.window.at("DF"), "2");
    EXPECT_EQ(scan.window.at("TOP_HAP"), infinite.at("HAP"));
    EXPECT_NEAR(number(finite, "BETA"), std::log(5.0 / 11 * 5 / 3), 1e-5);
    EXPECT_NEAR(number(finite, "SE"), std::sqrt(1 / 5.0 + 1 / 11.0 + 1 / 5.0 + 1 / 3.0), 1e-5);
}

// Small groups, in which a haplotype, the reference or both vanish from one.
TEST(scan_ratio, is_the_same_with_cases_and_controls_exchanged) {
    struct {
        unsigned controls;
        std::vector<std::string> snps;
        char const* betas;
    } const table[] = {
        {12, {"00000000000022222222222222"}, " NA -inf"},
        {15,
         {"211122212221212111201001111110", "011000010001010221011112211110",
          "121202211101021111221221111112"},
         " NA inf inf inf inf"},
    };
    auto const negative = [](std::string const& x) {
        return x == "NA" || x == "0" ? x : x[0] == '-' ? x.substr(1) : "-" + x;
    };
    for (auto const& c : table) {
        std::vector<std::uint8_t> status(c.snps[0].size(), 1), exchanged(status.size(), 0);
        std::fill_n(status.begin(), c.controls, 0);
        std::fill_n(exchanged.begin(), c.controls, 1);
        scanned const scan({status, c.snps}, "--min-hap-copies 1"),
            other({exchanged, c.snps}, "--min-hap-copies 1");
        EXPECT_EQ(scan.window.at("ERRCODE") + scan.window.at("CHISQ"),
                  other.window.at("ERRCODE") + other.window.at("CHISQ"));
        std::string betas;
        for (auto const& h : scan.haplotypes) {
            auto const& o = other.haplotype(h.at("BITS"));
            betas += " " + h.at("BETA");
            EXPECT_EQ(h.at("BETA") + h.at("Z"), negative(o.at("BETA")) + negative(o.at("Z")));
            EXPECT_EQ(h.at("SE") + h.at("P"), o.at("SE") + o.at("P"));
        }
        EXPECT_EQ(betas, c.betas);
    }
}

// 01 is in both groups, with the reference's effect, but not in the maximum of all subjects.
TEST(scan_ratio, retrospective_effects_are_the_same) {
    std::vector<std::uint8_t> status(30, 0);
    std::fill_n(status.begin(), 15, 1);
    scanned const scan(
        {status, {"122222222222222022222222222222", "110011101101000011220111010211"}},
        "--min-hap-copies 1 --effects all --model retrospective");
    auto const& h = scan.haplotype("11");
    auto const effect = table(scan.read("t.effects.tsv")).rows.at(0);
    EXPECT_EQ(effect.at("HAP") + effect.at("ERRCODE"), h.at("HAP") + ".");
    EXPECT_NEAR(number(effect, "BETA"), number(h, "BETA"), 1e-5);
    EXPECT_NEAR(number(effect, "SE"), number(h, "SE"), 1e-5);
    EXPECT_NEAR(number(effect, "LRT_P"), number(h, "P"), 1e-6);
}

TEST(scan_ratio, is_not_adjusted) {
    example_study files;
    outcome o = files.scan("--test lrt");
    EXPECT_EQ(o.exit_status, 8);
    EXPECT_NE(o.err.find("--test lrt and --covar exclude each other"), std::string::npos);
    o = files.scan("--test wald");
    EXPECT_EQ(o.exit_status, 8);
    EXPECT_NE(o.err.find("wald"), std::string::npos);
    o = files.scan("--chr 21");
    EXPECT_NE(o.err.find("Test: score, adjusted for covariates.\n"), std::string::npos);
    table const windows(files.read("t.win.tsv")), haplotypes(files.read("t.hap.tsv"));
    EXPECT_EQ(windows.rows.at(0).at("TEST") + haplotypes.rows.at(0).at("TEST"), "SCORESCORE");
    EXPECT_EQ(haplotypes.rows.at(0).count("BETA"), 0u);
}
