// Whole runs of quilmar-scan with --effects: every code and kind of row of the table, against closed forms,
// R and quilmar itself; errors of the options.
#include "tests/scan_support.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>

namespace {

using row = std::map<std::string, std::string>;

double number(row const& r, std::string const& column) {
    return std::stod(r.at(column));
}

// One SNP: subjects with 0, 1 and 2 copies of A among controls and cases; c has their covariates carrier,
// of 0 and 1, and x.
std::string write_snp(scratch const& files, std::vector<int> const& controls,
                      std::vector<int> const& cases) {
    std::string copies, covariates = "IID carrier x\n";
    std::vector<std::string> statuses;
    for (auto const* group : {&controls, &cases})
        for (std::size_t c = 0; c < 3; ++c) {
            copies.append(static_cast<std::size_t>((*group)[c]), static_cast<char>('0' + c));
            statuses.resize(copies.size(), group == &cases ? "2" : "1");
        }
    for (std::size_t i = 0; i < copies.size(); ++i)
        covariates += "P" + std::to_string(i + 1) + (copies[i] == '0' ? " 0 " : " 1 ") +
                      std::to_string(i * i % 17) + "\n";
    files.write("c", covariates);
    write_study(files, {{"1 s 0 100 A C", copies}}, statuses);
    return "quilmar-scan --bfile s --window 1 --min-hap-copies 1 --min-hap-freq 0 --effects all "
           "--quiet --out t ";
}

std::vector<row> effects_of(example_study const& files, std::string const& command) {
    outcome const o = files.run(command);
    EXPECT_EQ(o.exit_status, 0) << command << o.err;
    return table(files.read("t.effects.tsv")).rows;
}

// The study's example of one window.
std::string const WINDOW = "--chr 22 --from-bp 30453000 --to-bp 30465000 --effects all --quiet ";

// A data file of quilmar's examples as a study, its columns 6 and 7 as covariates e and f.
std::string write_example(example_study const& files, std::string const& name, unsigned n_snps) {
    run_shell(files, "cp " QUILMAR_SOURCE "/examples/" + name +
                         " data; awk '{print NR==1 ? \"IID "
                         "e f\" : \"P\" NR-1 \" \" $6 \" \" $7}' data >c");
    std::istringstream data(files.read("data"));
    std::vector<snp_text> snps(n_snps);
    std::vector<std::string> statuses;
    std::string line;
    std::getline(data, line);
    while (std::getline(data, line)) {
        std::istringstream stream(line);
        std::vector<std::string> const fields{std::istream_iterator<std::string>(stream), {}};
        statuses.push_back(fields[1] == "1" ? "2" : "1");
        for (std::size_t l = 0; l < n_snps; ++l)
            snps[l].copies += fields[2 + l];
    }
    for (std::size_t l = 0; l < n_snps; ++l)
        snps[l].line = "1 s" + std::to_string(l) + " 0 " + std::to_string(100 + l) + " 1 0";
    write_study(files, snps, statuses);
    return "quilmar-scan --bfile s --window " + std::to_string(n_snps) +
           " --window-mind 1 --effects all --model retrospective --quiet --out t ";
}

// Estimate and standard error of the rows of quilmar's report, by name; the second row of a
// codominant term has the name of the first one and "+".
std::map<std::string, std::pair<double, double>> report_of(std::string const& text) {
    std::map<std::string, std::pair<double, double>> rows;
    std::istringstream stream(text.substr(text.find("\nEffects\n")));
    std::string last;
    for (std::string line; std::getline(stream, line) && line != "Frequencies";) {
        std::istringstream fields(line);
        std::vector<std::string> const f{std::istream_iterator<std::string>(fields), {}};
        if (f.size() == 5) rows[last = f[0]] = {std::stod(f[1]), std::stod(f[2])};
        if (f.size() == 4 && f[1].find('.') != f[1].npos)
            rows[last + "+"] = {std::stod(f[0]), std::stod(f[1])};
    }
    std::size_t const rho = text.find("\n  Rho ");
    if (rho != text.npos) {
        std::istringstream fields(text.substr(rho + 6));
        fields >> rows["Rho"].first >> rows["Rho"].second;
    }
    return rows;
}

} // namespace

// One SNP and the dominant mode make a table of two by two.
TEST(scan_effects_run, one_snp) {
    struct {
        std::vector<int> controls, cases;
        char const *code, *beta, *odds_ratio;
        double lower, upper, ratio_p; // of R's optimize and uniroot on the (penalised) likelihood
    } const cases[] = {
        {{80, 20, 0},
         {60, 40, 0},
         ".",
         "0.980829",
         "2.66667",
         1.416591089,
         5.019873107,
         0.0018802629},
        {{100, 0, 0}, {70, 30, 0}, "INFINITE", "inf", "inf", 21.129725, INFINITY, 7.429314e-12},
        {{70, 30, 0}, {100, 0, 0}, "INFINITE", "-inf", "0", 0, 1 / 21.129725, 7.429314e-12},
        {{59, 1, 0},
         {56, 4, 0},
         "PENALISED",
         "1.13472",
         "3.1103",
         0.56030777,
         31.511187,
         0.20256218},
        {{60, 0, 0},
         {55, 5, 0},
         "INFINITE_PENALISED",
         "inf",
         "inf",
         1.2916326,
         INFINITY,
         0.024963675},
    };
    for (std::string const model : {"prospective", "retrospective"})
        for (auto const& c : cases) {
            example_study files;
            auto const rows =
                effects_of(files, write_snp(files, c.controls, c.cases) +
                                      "--allow-no-covars --mode dominant --model " + model);
            ASSERT_EQ(rows.size(), 1u);
            row const& r = rows[0];
            SCOPED_TRACE(model + " " + c.code + " " + r.at("BETA"));
            EXPECT_EQ(r.at("ERRCODE"), c.code);
            EXPECT_EQ(r.at("MODEL"), model == "prospective" ? model : "retrospective_unadjusted");
            EXPECT_EQ(r.at("HAP") + r.at("REF_HAP") + r.at("TEST"), "ACDOM");
            // The retrospective likelihood has equilibrium among controls in it.
            if (model != "prospective") continue;
            EXPECT_EQ(r.at("BETA"), c.beta);
            EXPECT_EQ(r.at("OR"), c.odds_ratio);
            EXPECT_NEAR(number(r, "L95"), c.lower, 1e-3 * c.lower);
            if (std::isfinite(c.upper)) {
                EXPECT_NEAR(number(r, "U95"), c.upper, 1e-3 * c.upper);
            } else {
                EXPECT_EQ(r.at("U95"), "inf");
            }
            EXPECT_NEAR(number(r, "LRT_P") / c.ratio_p, 1, 1e-4);
            bool const is_wald = r.at("ERRCODE") == ".";
            EXPECT_EQ(r.at("SE") == "NA" && r.at("Z_STAT") == "NA", !is_wald);
            if (is_wald) {
                EXPECT_NEAR(number(r, "SE"), std::sqrt(1 / 80. + 1 / 20. + 1 / 60. + 1 / 40.),
                            1e-6);
                EXPECT_NEAR(number(r, "Z_STAT"), number(r, "BETA") / number(r, "SE"), 1e-4);
                EXPECT_NEAR(number(r, "P"), std::erfc(number(r, "Z_STAT") / std::sqrt(2)), 1e-6);
            } else
                EXPECT_EQ(r.at("P"), r.at("LRT_P"));
            EXPECT_NEAR(number(r, "NEG_LOG10_P"), -std::log10(number(r, "P")), 1e-4);
        }
}

// What the data cannot tell apart has no number, and the other rows are as good as ever.
TEST(scan_effects_run, not_identifiable) {
    struct {
        std::vector<int> controls, cases;
        char const *arguments, *tests, *codes;
    } const cases[] = {
        // Nobody has two copies: under equilibrium this says something of cases, else nothing.
        {{80, 20, 0},
         {60, 40, 0},
         "--allow-no-covars --mode codominant",
         "ADD HOMDEV ",
         ". NOT_IDENTIFIABLE "},
        {{80, 20, 0},
         {60, 40, 0},
         "--allow-no-covars --mode codominant --model retrospective",
         "ADD HOMDEV ",
         ". INFINITE_PENALISED "},
        {{50, 30, 20},
         {30, 40, 30},
         "--covar c --mode dominant --show-covar",
         "DOM carrier x ",
         "NOT_IDENTIFIABLE NOT_IDENTIFIABLE . "},
        {{50, 30, 20}, {30, 40, 30}, "--covar c --show-covar", "ADD carrier x ", ". . . "},
    };
    for (auto const& c : cases) {
        example_study files;
        effects_of(files, write_snp(files, c.controls, c.cases) + c.arguments);
        table const effects(files.read("t.effects.tsv"));
        EXPECT_EQ(effects.column("TEST"), c.tests);
        EXPECT_EQ(effects.column("ERRCODE"), c.codes) << c.arguments;
        for (row const& r : effects.rows)
            for (char const* column : {"BETA", "SE", "OR", "L95", "U95", "Z_STAT", "P", "LRT_P"}) {
                if (r.at("ERRCODE") == ".") {
                    EXPECT_TRUE(std::isfinite(number(r, column))) << r.at("TEST") << column;
                } else if (r.at("ERRCODE") == "NOT_IDENTIFIABLE") {
                    EXPECT_EQ(r.at(column), "NA") << r.at("TEST") << column;
                }
            }
    }
}

TEST(scan_effects_run, retrospective_rows_are_quilmars) {
    struct {
        char const *data, *gene, *effects;
        unsigned n_snps;
        char const *mode, *hw, *interaction;
    } const cases[] = {
        {"inbred.txt", "3 4 5 6", "3 6 10 13", 4, "additive", "HWE", ""},
        {"inbred.txt", "3 4 5 6", "3 6 10 13", 4, "additive", "HWD", ""},
        {"inbred.txt", "3 4 5 6", "3 6 10 13", 4, "dominant", "HWE", ""},
        {"inbred.txt", "3 4 5 6", "3 6 10 13", 4, "recessive", "HWD", ""},
        {"inbred.txt", "3 4 5 6", "3 6 10 13", 4, "codominant", "HWD", ""},
        {"exposed.txt", "3 4 5", "3 5 6", 3, "additive", "HWE", "f"},
        {"exposed.txt", "3 4 5", "3 5 6", 3, "codominant", "HWE", "e"},
        {"exposed.txt", "3 4 5", "3 5 6", 3, "dominant", "HWD", "e"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(std::string(c.data) + " " + c.mode + " " + c.hw);
        example_study files;
        std::string command =
            write_example(files, c.data, c.n_snps) + "--mode " + c.mode + " --hw " + c.hw;
        std::string const e = c.interaction, environment = e == "e" ? "ENV1" : "ENV2";
        std::string spec = "STATUS=2\nGENE=" + std::string(c.gene) +
                           "\nSAMPLE=combined\nHW=" + c.hw + "\nMODEL=" + c.mode +
                           "\nTHRESHOLD=0.0001\nTOLERANCE=0.000001\nFTOLERANCE=0.00000001\n";
        if (!e.empty()) spec += "ENVIRONMENT=" + std::string(e == "e" ? "6" : "7") + "\n";
        std::istringstream numbers(c.effects);
        for (std::string h; numbers >> h;)
            spec += e.empty() ? "EFFECT=" + h + "\n" : "EFFECT=" + h + " -1\nEFFECT=" + h + " 1\n";
        if (!e.empty()) spec += "EFFECT=-1 1\n";
        files.write("spec", spec);
        command += e.empty() ? " --allow-no-covars"
                             : " --covar c --show-covar --independence --interaction " + e;
        auto const rows = effects_of(files, command);
        outcome const o = run_quilmar(files, "data spec");
        std::string const report = files.read("data.out");
        ASSERT_NE(report.rfind("Status: Success."), std::string::npos) << o.err;
        auto const quilmar = report_of(report);
        ASSERT_EQ(rows.size(), quilmar.size()) << report;
        for (row const& r : rows) {
            std::string const test = r.at("TEST");
            bool const is_interaction = test.find('x') != test.npos;
            std::string name = test == "RHO" ? "Rho" : test == e ? environment : r.at("HAP");
            if (is_interaction) name += "*" + environment;
            if (test.compare(0, 6, "HOMDEV") == 0) name += "+";
            ASSERT_EQ(quilmar.count(name), 1u) << name << report;
            if (r.at("ERRCODE") == "PENALISED") continue;
            EXPECT_EQ(r.at("ERRCODE"), ".");
            EXPECT_NEAR(number(r, "BETA"), quilmar.at(name).first, 1.1e-6) << name;
            EXPECT_NEAR(number(r, "SE"), quilmar.at(name).second, 1.1e-6) << name;
        }
    }
}
