// quilmar-scan --export-window: quilmar runs on the files at once and agrees with the scan.
#include "tests/scan_support.h"

#include <cmath>
#include <gtest/gtest.h>
#include <regex>

namespace {

// Rows of a report, a name and a number, of the first section.
std::map<std::string, double> frequencies_of(std::string const& report) {
    std::map<std::string, double> frequencies;
    std::regex const row("\n([01]+) +([0-9.]+)(?=\n)");
    for (std::sregex_iterator m(report.begin(), report.end(), row), end; m != end; ++m)
        frequencies[(*m)[1]] = std::stod((*m)[2]);
    return frequencies;
}

// Names of the effects in their order, a blank after each.
std::string effects_of(std::string const& report) {
    std::string const effects =
        report.substr(report.find("Gene 1"), report.find("\nFrequencies") - report.find("Gene 1"));
    std::string names;
    std::regex const row("\n  ([01]+) ");
    for (std::sregex_iterator m(effects.begin(), effects.end(), row), end; m != end; ++m)
        names += (*m)[1].str() + " ";
    return names;
}

} // namespace

// With a category of blanks, a covariate named like a keyword, missing genotypes, and names of regions.
TEST(scan_export, quilmar_runs_on_the_files_and_has_the_scans_frequencies) {
    struct {
        char const *options, *window;
        bool has_rare; // and so few copies that the fit fails
    } const cases[] = {
        {"", "448", false},
        {"--covar c.csv --covar-name STATUS,centre --window 3 --min-hap-freq 0.0003 "
         "--min-hap-copies 0",
         "423", true},
        {"--gene-list genes.txt --window-mind 0", "GENE3", false},
    };
    for (auto const& c : cases) {
        example_study files;
        run_shell(files, "sed '1s/age/STATUS/; s/\\bnorth/far north/; s/\\t/,/g' covar.txt >c.csv");
        std::string const arguments = c.options;
        ASSERT_EQ(files.scan(arguments).exit_status, 0);
        outcome const o =
            files.scan(arguments + " --quiet --out no/where --export-window " + c.window + " best");
        ASSERT_EQ(o.exit_status, 0) << o.err;
        outcome const q = run_quilmar(files, "best.txt best.spec");
        if (!c.has_rare) {
            EXPECT_EQ(unwrapped(q.err), "best.txt: result saved to 'best.txt.out'.\n");
        }
        std::string const report = files.read("best.txt.out");

        std::map<std::string, double> const frequencies = frequencies_of(report);
        std::string tested, base;
        for (auto const& row : table(files.read("t.hap.tsv")).rows) {
            if (row.at("WINDOW") != c.window) continue;
            (base.empty() ? base : tested) += row.at("BITS") + " ";
            EXPECT_NEAR(frequencies.at(row.at("BITS")), std::stod(row.at("FREQ")), 2e-6);
        }
        EXPECT_EQ(effects_of(report), tested);
        EXPECT_NE(files.read("best.spec")
                      .find("reference, is haplotype " + base.substr(0, base.size() - 1)),
                  std::string::npos);
        for (auto const& row : table(files.read("t.win.tsv")).rows) {
            if (row.at("WINDOW") != c.window) continue;
            EXPECT_NE(report.find("\nSubjects: " + row.at("OBS_CT") + "\nCases: " +
                                  row.at("CASE_CT") + "\nControls: " + row.at("CTRL_CT") + "\n"),
                      std::string::npos)
                << report;
        }
        EXPECT_EQ(run_shell(files, "ls | grep -c '^t\\.'").out, "6\n");
    }
}

TEST(scan_export, files_are_as_the_genotypes) {
    scratch files;
    write_study(files,
                {{"1 a 0 100 A G", "0120120120120120"},
                 {"1 b 0 200 C T", "9012001200120012"},
                 {"1 c 0 300 T G", "9120120120120190"}},
                {"1", "1", "1", "1", "1", "1", "1", "1", "2", "2", "2", "2", "2", "2", "2", "2"});
    std::string const scan = "PATH=$(dirname " QUILMAR_SCAN_PROGRAM ") quilmar-scan --bfile s "
                             "--allow-no-covars --min-hap-copies 1 --window 3 --export-window ";
    // The first subject lacks two of three genotypes.
    EXPECT_EQ(run_shell(files, scan + "1 w").exit_status, 0);
    std::string const data = files.read("w.txt");
    for (char const* lines :
         {"FID\tIID\tSTATUS\ta_A\tb_C\tc_T\nF2\tP2\t0\t1\t0\t1\nF3\tP3\t0\t2\t1\t2\n",
          "\nF15\tP15\t1\t2\t1\t-9\n", "\nF16\tP16\t1\t0\t2\t0\n"})
        EXPECT_NE(data.find(lines), std::string::npos) << data;
    std::string const spec = files.read("w.spec");
    EXPECT_NE(spec.find("\nletters of 1: A C T; of 0: G T G\nGENE=4 5 6\n"), std::string::npos);
    EXPECT_EQ(spec.find("covariates"), std::string::npos);
    // Haplotypes have the letters of the table.
    for (auto const& row : table(run_shell(files, scan.substr(0, scan.find("--export")) +
                                                      "--out t --quiet; cat t.hap.tsv")
                                     .out)
                               .rows)
        EXPECT_NE(spec.find("haplotype " + row.at("BITS") + ", " + row.at("HAP") + ", "),
                  std::string::npos)
            << spec;
}

TEST(scan_export, errors) {
    struct {
        char const* arguments;
        int status;
        char const* message;
    } const cases[] = {
        {"--export-window 593 w", 7,
         "There is no window 593 in the column WINDOW of this scan. Give the options of the scan"},
        {"--hap-list twice --export-window a w", 7, "There are several windows a."},
        {"--window-kb 1 --export-window 1 w", 13,
         "Window 1 cannot be exported, as it has no numbers: TOO_LONG."},
        {"-R empty --export-window e w", 13, "it has no numbers: ONE_HAPLOTYPE."},
        {"--min-hap-freq 0.9 --export-window 1 w", 13, "it has no numbers: ONE_HAPLOTYPE."},
        {"--export-window 1 w --dry-run", 8, "--export-window and --dry-run exclude each other."},
        {"--export-window 1 w --parallel 1 2", 8,
         "--export-window and --parallel exclude each other."},
        {"--export-window 1 w --resume", 8, "--export-window and --resume exclude each other."},
        {"--pheno w.txt --export-window 1 w", 3, "w.txt: would replace an input of this run."},
        {"--export-window 1 no/w", 3, "no/w.txt: cannot be made: No such file"},
    };
    example_study files;
    run_shell(files,
              "printf 'a snp21_1 snp21_2\\na snp21_2 snp21_3\\n' >twice; cp pheno.txt w.txt; "
              "echo 1 5 9 e >empty");
    for (auto const& c : cases) {
        outcome const o = files.scan(c.arguments);
        EXPECT_EQ(o.exit_status, c.status) << c.arguments << o.err;
        EXPECT_NE(o.err.find(c.message), std::string::npos) << c.arguments << o.err;
        EXPECT_EQ(run_shell(files, "ls w.* t.* 2>/dev/null").out, "w.txt\n");
    }
}
