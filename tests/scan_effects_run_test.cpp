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
        char const *code, *type;
        // By R's optimize and uniroot on the likelihood, with the penalty where there are few copies;
        // error is 0 for an infinite effect.
        double beta, error, lower, upper, ratio_p;
    } const cases[] = {
        {{160, 40, 0}, {120, 80, 0}, ".", "WALD", 0.9808293, 0.22821773, 0, 0, 1.1020681e-05},
        {{80, 20, 0}, {60, 40, 0}, ".", "LRT", 0.9808293, 0.32274861, 0, 0, 0.0018802629},
        {{3200, 800, 0}, {240, 160, 0}, ".", "LRT", 0.9808293, 0.10944938, 0, 0, 5.1414865e-18},
        {{100, 0, 0}, {70, 30, 0}, "INFINITE", "LRT", 1, 0, 21.129725, INFINITY, 7.429314e-12},
        {{70, 30, 0}, {100, 0, 0}, "INFINITE", "LRT", -1, 0, 0, 1 / 21.129725, 7.429314e-12},
        {{59, 1, 0},
         {56, 4, 0},
         "PENALISED",
         "LRT",
         1.1347204,
         0.95558508,
         0.56030777,
         31.511187,
         0.20256218},
        {{60, 0, 0},
         {55, 5, 0},
         "INFINITE_PENALISED",
         "LRT",
         1,
         0,
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
            EXPECT_EQ(r.at("ERRCODE") + r.at("P_TYPE"), std::string(c.code) + c.type);
            EXPECT_EQ(r.at("MODEL"), model + "_unadjusted");
            EXPECT_NE(files.read("t.log").find("Effects: " + model +
                                               " likelihood, not adjusted for any covariate; "),
                      std::string::npos);
            EXPECT_EQ(r.at("HAP") + r.at("REF_HAP") + r.at("TEST"), "ACDOM");
            EXPECT_EQ(r.at("U95") == "inf", std::isinf(c.upper));
            EXPECT_EQ(r.at("L95") == "0", c.lower == 0 && c.upper > 0);
            EXPECT_EQ(std::isinf(number(r, "BETA")), c.error == 0);
            EXPECT_GT(number(r, "BETA") * c.beta, 0);
            EXPECT_EQ(r.at("P") == r.at("LRT_P"), c.type == std::string("LRT"));
            EXPECT_NEAR(number(r, "NEG_LOG10_P"), -std::log10(number(r, "P")), 1e-4);
            // The retrospective likelihood has equilibrium among controls in it.
            if (model != "prospective") continue;
            EXPECT_NEAR(number(r, "LRT_P") / c.ratio_p, 1, 1e-4);
            double lower = c.lower, upper = c.upper;
            if (c.error > 0) {
                EXPECT_NEAR(number(r, "BETA"), c.beta, 1e-5);
                EXPECT_NEAR(number(r, "OR"), std::exp(c.beta), 1e-4);
                EXPECT_NEAR(number(r, "SE"), c.error, 1e-5);
                EXPECT_NEAR(number(r, "Z_STAT"), c.beta / c.error, 1e-4);
                if (c.type == std::string("WALD")) {
                    EXPECT_NEAR(number(r, "P") / std::erfc(c.beta / c.error / M_SQRT2), 1, 1e-3);
                }
                if (upper == 0) {
                    lower = std::exp(c.beta - 1.959964 * c.error);
                    upper = std::exp(c.beta + 1.959964 * c.error);
                }
            } else
                EXPECT_EQ(r.at("SE") + r.at("Z_STAT"), "NANA");
            EXPECT_NEAR(number(r, "L95"), lower, 1e-3 * lower);
            if (std::isfinite(upper)) {
                EXPECT_NEAR(number(r, "U95"), upper, 1e-3 * upper);
            }
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
        // Nobody with the covariate 0 has a copy.
        {{50, 30, 20},
         {30, 40, 30},
         "--covar c --covar-name carrier --interaction carrier --show-covar",
         "ADD ADDxcarrier carrier ",
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

// Homozygotes of one sex alone, or of cases alone: effects that run away beside ones that cannot be told
// apart.
TEST(scan_effects_run, every_fit_is_decided) {
    example_study files;
    ASSERT_EQ(files
                  .scan("--chr 22 --from-bp 30009000 --to-bp 30021000 --covar-name sex,age --mode "
                        "codominant --interaction sex --effects all --quiet")
                  .exit_status,
              0);
    std::string const codes = table(files.read("t.effects.tsv")).column("ERRCODE");
    for (char const* code : {"INFINITE", "NOT_IDENTIFIABLE", "PENALISED", ". "})
        EXPECT_NE(codes.find(code), std::string::npos) << code;
    EXPECT_EQ(codes.find("NO_CONVERGENCE"), std::string::npos) << codes;

    // Rare haplotypes of one subject whose frequencies can hardly be told apart: copies at 5 SNPs,
    // controls and cases.
    std::istringstream genotypes(
        "00020 0 1 01010 14 10 01019 0 1 01110 0 1 01910 1 0 02000 34 30 02009 0 1 02010 2 0 "
        "02100 10 11 02200 0 1 02900 1 0 09010 1 0 10011 1 4 11000 1 0 11001 18 16 11009 0 1 "
        "11010 2 0 11100 1 0 11101 4 9 12000 2 5 19001 0 1 19110 1 0 20002 3 3 21001 1 1 "
        "21100 1 0 22000 2 1 22090 0 1 91001 0 1 91101 0 1");
    std::vector<snp_text> snps(5, {"1 s 0 100 A C", ""});
    std::vector<std::string> statuses;
    std::string copies;
    for (unsigned n[2]; genotypes >> copies >> n[0] >> n[1];)
        for (unsigned i = 0; i < n[0] + n[1]; ++i) {
            statuses.push_back(i < n[0] ? "1" : "2");
            for (std::size_t l = 0; l < 5; ++l)
                snps[l].copies += copies[l];
        }
    write_study(files, snps, statuses);
    for (std::string const arguments : {"prospective", "retrospective --vs rest --mode dominant",
                                        "retrospective --mode dominant --hw HWD"}) {
        effects_of(files, "quilmar-scan --bfile s --window 5 --window-mind 1 --effects all --quiet "
                          "--allow-no-covars --out t --model " +
                              arguments);
        std::string const ends = table(files.read("t.effects.tsv")).column("ERRCODE");
        EXPECT_NE(ends, "");
        EXPECT_EQ(ends.find("NO_CONVERGENCE"), std::string::npos) << arguments << ends;
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
    int n_compared = 0;
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
            if (r.at("ERRCODE") == "PENALISED") continue; // few homozygotes
            EXPECT_EQ(r.at("ERRCODE"), ".");
            ++n_compared;
            // The table has 6 digits, the report as many decimals.
            for (auto const& [column, printed] :
                 {std::pair("BETA", quilmar.at(name).first), {"SE", quilmar.at(name).second}})
                EXPECT_NEAR(number(r, column), printed, std::fabs(printed) < 1 ? 1.1e-6 : 6e-6)
                    << name << column;
        }
    }
    EXPECT_GE(n_compared, 30);
}

// Known haplotypes make the prospective likelihood an ordinary logistic regression, whatever the units
// of its covariates.
TEST(scan_effects_run, interaction_is_that_of_logistic_regression) {
    example_study files;
    std::string const command = write_snp(files, {50, 30, 20}, {30, 40, 30}) +
                                "--covar-name x --show-covar --interaction x --covar ";
    std::vector<std::vector<double>> X;
    std::vector<double> y;
    for (std::size_t i = 0; i < 200; ++i) {
        std::size_t const within = i % 100, zero = i < 100 ? 50 : 30, one = i < 100 ? 80 : 70;
        double const copies = within < zero ? 0 : within < one ? 1 : 2;
        double const x = static_cast<double>(i * i % 17);
        X.push_back({1, copies, copies * x, x});
        y.push_back(i >= 100);
    }
    regression const expected = logistic(X, y);
    run_shell(files, "awk 'NR>1{$3*=1e-8}{print}' c >small");
    for (auto const& [file, unit] : {std::pair("c", 1.0), {"small", 1e-8}}) {
        auto const rows = effects_of(files, command + file);
        ASSERT_EQ(rows.size(), 3u);
        EXPECT_EQ(rows[0].at("TEST") + " " + rows[1].at("TEST") + " " + rows[2].at("TEST"),
                  "ADD ADDxx x");
        EXPECT_EQ(rows[1].at("HAP") + rows[2].at("HAP"), "A.");
        for (std::size_t k = 0; k < 3; ++k) {
            double const scale = k == 0 ? 1 : unit;
            EXPECT_NEAR(number(rows[k], "BETA") * scale / expected.beta[k + 1], 1, 1e-5);
            EXPECT_NEAR(number(rows[k], "SE") * scale / expected.error[k + 1], 1, 1e-5);
        }
    }
    // The penalty of few copies is at the mean of x, wherever x begins.
    effects_of(files, write_snp(files, {57, 3, 0}, {55, 5, 0}) + "--covar c");
    run_shell(files, "awk 'NR>1{$3+=100}{print}' c >moved");
    auto const here = effects_of(files, command + "c"),
               there = effects_of(files, command + "moved");
    EXPECT_EQ(here[1].at("ERRCODE"), "PENALISED");
    EXPECT_NEAR(number(here[1], "BETA"), number(there[1], "BETA"), 1e-6);
    EXPECT_NEAR(number(here[0], "BETA"), number(there[0], "BETA") + 100 * number(here[1], "BETA"),
                1e-3);
}

TEST(scan_effects_run, rho) {
    struct {
        std::vector<int> controls;
        char const* rho; // 1 - heterozygotes / (2 n p q) of the controls
    } const cases[] = {{{50, 30, 20}, "0.340659"}, {{30, 60, 10}, "0"}};
    for (auto const& c : cases) {
        example_study files;
        auto const rows =
            effects_of(files, write_snp(files, c.controls, {30, 40, 30}) +
                                  "--allow-no-covars --model retrospective --hw HWD --mode "
                                  "codominant");
        ASSERT_EQ(rows.size(), 3u);
        row const& r = rows[2];
        EXPECT_EQ(r.at("TEST") + r.at("HAP") + r.at("ERRCODE"), "RHO..");
        EXPECT_EQ(r.at("MODEL"), "retrospective_unadjusted_HWD");
        EXPECT_EQ(r.at("BETA"), c.rho);
        EXPECT_EQ(r.at("P"), r.at("LRT_P"));
        EXPECT_EQ(r.at("OR") + r.at("L95") + r.at("U95") + r.at("Z_STAT"), "NANANANA");
        bool const is_zero = std::string(c.rho) == "0";
        EXPECT_EQ(r.at("P") == "1", is_zero);
        EXPECT_EQ(r.at("SE") == "NA", is_zero);
    }
}

TEST(scan_effects_run, against_the_rest_and_levels) {
    example_study files;
    auto const rows = effects_of(files, write_snp(files, {50, 30, 20}, {30, 40, 30}) +
                                            "--covar c --covar-name x --show-covar --vs rest "
                                            "--ci 0.9");
    ASSERT_EQ(rows.size(), 4u);
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_EQ(rows[k].at("HAP"), k < 2 ? "C" : "A");
        EXPECT_EQ(rows[k].at("REF_HAP"), "rest");
        double const beta = number(rows[k], "BETA"), se = number(rows[k], "SE");
        EXPECT_NEAR(std::log(number(rows[k], "L90")), beta - 1.644854 * se, 1e-5);
        EXPECT_NEAR(std::log(number(rows[k], "U90")), beta + 1.644854 * se, 1e-5);
    }
    EXPECT_NEAR(number(rows[0], "BETA"), -number(rows[2], "BETA"), 1e-6);
    EXPECT_EQ(rows[1].at("BETA"), rows[3].at("BETA"));
    // Of all but the tested haplotypes a class is made where it has copies enough: here 15.7.
    for (auto const& [least, n] : {std::pair("15", 1), {"16", 0}}) {
        ASSERT_EQ(files
                      .scan("--chr 22 --from-bp 30438000 --to-bp 30450000 --effects all --quiet "
                            "--min-hap-copies " +
                            std::string(least))
                      .exit_status,
                  0);
        std::string const rare = table(files.read("t.win.tsv")).column("RARE_FREQ");
        int n_rare = 0;
        for (row const& r : table(files.read("t.effects.tsv")).rows)
            n_rare += r.at("HAP") == "rare" && r.at("HAP_FREQ") + " " == rare;
        EXPECT_EQ(n_rare, n) << least;
    }
}

TEST(scan_effects_run, windows_that_get_rows) {
    example_study files;
    auto const windows = [&] {
        std::string list;
        for (row const& r : table(files.read("t.effects.tsv")).rows)
            if (list.find(" " + r.at("WINDOW") + " ") == list.npos)
                list += " " + r.at("WINDOW") + " ";
        return list;
    };
    std::string const found = "--chr 22 --from-bp 30430000 --to-bp 30480000 ";
    outcome const best = files.scan(found);
    EXPECT_NE(best.err.find("t.lead.tsv: 1 lead windows, for 10 with P or TOP_P_BONF at most "
                            "0.0001.\n1 of 1 lead window done, 0 failed, effects of 1, "),
              std::string::npos)
        << best.err;
    EXPECT_EQ(windows(), " 8 ");
    outcome const all = files.scan(found + "--effects 1e-4");
    EXPECT_NE(all.err.find("13 of 13 windows done, 0 failed, effects of 10, "), std::string::npos)
        << all.err;
    std::string expected;
    for (row const& w : table(files.read("t.win.tsv")).rows)
        if (number(w, "P") <= 1e-4 || number(w, "TOP_P_BONF") <= 1e-4)
            expected += " " + w.at("WINDOW") + " ";
    EXPECT_NE(expected, "");
    EXPECT_EQ(windows(), expected);
    std::string tables[2];
    for (int const threads : {1, 2}) {
        ASSERT_EQ(files
                      .scan("--chr 22 --from-bp 30400000 --to-bp 30480000 --effects all "
                            "--mode Dominant --threads " +
                            std::to_string(threads))
                      .exit_status,
                  0);
        tables[threads - 1] = files.read("t.effects.tsv");
    }
    EXPECT_GT(tables[0].size(), 20000u);
    EXPECT_EQ(tables[0], tables[1]);
    ASSERT_EQ(files.scan("--effects 0").exit_status, 0);
    EXPECT_EQ(table(files.read("t.effects.tsv")).rows.size(), 0u);
    EXPECT_EQ(table(files.read("t.effects.tsv")).columns.size(), 23u);
    run_shell(files, "rm t.effects.tsv");
    ASSERT_EQ(files.scan("--effects none").exit_status, 0);
    EXPECT_FALSE(files.has("t.effects.tsv"));
    ASSERT_EQ(
        files.run("quilmar-scan --bfile study --pheno pheno.txt --test lrt --out t").exit_status,
        0);
    EXPECT_FALSE(files.has("t.effects.tsv"));
}

// The first 1,000 leads by P have effects; the SNP in the middle has the largest.
TEST(scan_effects_run, no_more_than_1000_leads) {
    example_study files;
    std::string const copies = std::string(30, '0') + std::string(10, '1'),
                      fewer = std::string(29, '0') + std::string(11, '1');
    std::vector<snp_text> snps;
    for (int l = 0; l < 1001; ++l)
        snps.push_back({"1 s" + std::to_string(l) + " 0 " + std::to_string(1000 * l + 1) + " A C",
                        l == 500 ? fewer : copies});
    std::vector<std::string> statuses(40, "1");
    std::fill(statuses.begin() + 30, statuses.end(), "2");
    write_study(files, snps, statuses);
    std::string const command = "quilmar-scan --bfile s --allow-no-covars --window 1 "
                                "--min-hap-copies 1 --effects-kb ";
    ASSERT_EQ(files.run(command + "0.5 --out t").exit_status, 0);
    EXPECT_EQ(table(files.read("t.lead.tsv")).rows.size(), 1001u);
    EXPECT_EQ(table(files.read("t.effects.tsv")).rows.size(), 1000u);
    EXPECT_EQ(files.read("t.effects.tsv").find("\t501\t"), std::string::npos);
    EXPECT_NE(files.read("t.log").find("--effects 1e-4 gives those of all windows up to this P.\n"
                                       "Lead windows without effects: 501.\n"),
              std::string::npos);
    // A kilobase reaches the neighbours: every other SNP is a lead, but not the one in the middle.
    ASSERT_EQ(files.run(command + "1 --out t").exit_status, 0);
    table const leads(files.read("t.lead.tsv"));
    EXPECT_EQ(leads.rows.size(), 500u);
    EXPECT_EQ(leads.rows[1].at("N_WINDOWS") + " " + leads.rows[1].at("LOCUS_POS") + " " +
                  leads.rows[1].at("LOCUS_END"),
              "2 2001 3001");
}

TEST(scan_effects_run, errors) {
    struct {
        char const* arguments;
        int status;
        char const* message;
    } const cases[] = {
        {"--effects some", 8, "--effects: 'some' is no number, 0 to 1, and not lead, all or none."},
        {"--effects 2", 8, "--effects: '2' is no number"},
        {"--mode linear", 8,
         "--mode: 'linear' is not additive, recessive, dominant or codominant."},
        {"--vs all", 8, "--vs: 'all' is not reference or rest."},
        {"--ci 95", 8, "--ci: '95' is no number, 0.01 to 0.9999."},
        {"--effects none --ci 0.9", 8, "--ci needs effects: give --effects lead."},
        {"--hw HWD", 8, "--hw HWD needs --model retrospective"},
        {"--model retrospective", 8,
         "--model retrospective does not adjust for covariates: its effects are the same with and "
         "without them.\nGive --model prospective, or --allow-no-covars instead of --covar"},
        {"--model retrospective --interaction age", 8,
         "--interaction with --model retrospective assumes that haplotypes and the covariate are "
         "independent in the population.\nIf they are, give --independence; if not, --model "
         "prospective."},
        {"--interaction age --independence", 8, "--independence needs --model retrospective"},
        {"--interaction bmi", 7, "--interaction bmi: is no covariate that the run uses."},
        {"--covar-name centre,age --interaction centre", 7,
         "--interaction centre: has 3 categories, but an interaction needs a number or two"},
    };
    for (auto const& c : cases) {
        example_study files;
        outcome const o = files.scan(c.arguments);
        EXPECT_EQ(o.exit_status, c.status) << c.arguments;
        EXPECT_NE(o.err.find(c.message), std::string::npos) << c.arguments << "\n" << o.err;
        EXPECT_EQ(run_shell(files, "ls t.* 2>/dev/null").out, "") << c.arguments;
    }
    example_study files;
    EXPECT_NE(files
                  .run("quilmar-scan --bfile study --pheno pheno.txt --allow-no-covars "
                       "--interaction age")
                  .err.find("--interaction needs --covar."),
              std::string::npos);
    // A category of two is a number, and what is assumed stands in the log.
    outcome const o = files.scan("--covar-name sex,age --interaction sex --independence --model "
                                 "retrospective");
    for (char const* text :
         {"Effects: retrospective likelihood, which assumes haplotypes and sex",
          "\nInteraction: of each haplotype with sex; the rows of haplotypes alone are the effects "
          "where sex is 0.\n"})
        EXPECT_NE(o.err.find(text), std::string::npos) << o.err;
}
