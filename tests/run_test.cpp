// Whole runs of the built program: arguments, reports, directories with bad files among good ones.
#include "examples/simulation.h"
#include "tests/support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string const SPEC = "STATUS=1\nGENE=2\nEFFECT=1\nTHRESHOLD=0.01\n";
std::string const DATA = one_snp({50, 40, 20}, {30, 45, 28});

} // namespace

TEST(run, arguments) {
    scratch files;
    files.write("d", DATA);
    files.write("s", SPEC);
    files.write("bad", "STATUS=1\n");
    for (char const* name : {"empty", "locked", "res"})
        mkdir(files.file(name).c_str(), 0755);
    for (char const* name : {"locked/a", "locked/b"})
        chmod(files.write(name, DATA).c_str(), 0);
    std::string const usage =
        "\nUsage: quilmar data spec [-h, --hardy-weinberg=HW] [-i, --iterations=N]\n"
        "       [-m, --model=M] [-t, --tolerance=TOL] [-o result] \n\n";
    struct {
        char const* arguments;
        int status;
        std::string out, err;
    } const cases[] = {
        {"", 0, usage + "Type 'quilmar --help' for help.\n\n", ""},
        {"-help", 0, usage + "Type 'quilmar --help' for help.\n\n", ""},
        {"--help", 0,
         "\nquilmar 2.0 (17 September 2007)\n" + usage +
             "  Mandatory arguments: \n      data                      input file or directory\n"
             "      spec                      variable specification file\n\n  Options: \n"
             "      -h, --hardy-weinberg=HW   Hardy-Weinberg assumption\n"
             "      -i, --iterations=N        maximum number of iterations\n"
             "      -m, --model=M             mode of inheritance\n"
             "      -t, --tolerance=TOL       error tolerance\n"
             "      -o result                 output file or directory\n\n",
         ""},
        {"none s", 242, "", "file or directory 'none' not found.\n"},
        {"/dev/null s", 244, "", "no read permission for file '/dev/null'.\n"},
        {"empty s", 0, "", "no files found in directory 'empty/'.\n"},
        {"locked s", 0, "",
         "no read permission for file 'locked/b'.\nno read permission for file 'locked/a'.\n"},
        {"d none", 241, "", "failed to open specification file 'none'.\n"},
        {"d .", 241, "", "error reading specification file '.'.\n"},
        {"d bad", 241, "",
         "bad: error: variable GENE is not defined.\n"
         "bad: error: variable EFFECT is not defined.\n"},
        {"d s -i 0", 1, "", "invalid value '0' for option '-i'.\ninvalid option ''.\n"},
        {"d s -t=1", 1, "", "invalid value '1' for option '-t'.\ninvalid option ''.\n"},
        {"d s -x", 1, "", "invalid option '-x'.\ninvalid option ''.\n"},
        {"d s -o", 1, "", "invalid option '-o'.\ninvalid option ''.\n"},
        {"d s -o res -o ''", 1, "", "invalid option '-o'.\ninvalid option 'res'.\n"},
        {"d s -o none//", 242, "", "file or directory 'none/' not found.\n"},
        {"d s -o d", 242, "", "file or directory 'd/' not found.\n"},
        {"d s", 1, "", "d: result saved to 'd.out'.\n"},
        {"./d s --model=d -i 10x -o res/ --tolerance '1e-7 '", 1, "",
         "option -i: warning: '10x' is read as 10.\n./d: result saved to 'res/d.out'.\n"},
    };
    for (auto const& c : cases) {
        outcome const o = run_quilmar(files, c.arguments);
        EXPECT_EQ(o.exit_status, c.status) << c.arguments;
        EXPECT_EQ(o.out, c.out) << c.arguments;
        EXPECT_EQ(unwrapped(o.err), c.err) << c.arguments;
    }
    EXPECT_NE(files.read("res/d.out").find("Tolerance: 1e-07\nMaximum iterations: 10\n"),
              std::string::npos);
}

// Where a setting shows in the report, from the file and from the command line. The frequencies are
// 80 of 220, 101 of 206 and 181 of 426.
TEST(run, settings) {
    struct {
        char const *spec, *arguments, *part;
    } const cases[] = {
        {"", "",
         "Controls\n----------------------------------\n0                         0.636364"},
        {"SAMPLE=controls", "", "                 Controls\n"},
        {"SAMPLE=cases", "", "                    Cases\n"},
        {"SAMPLE=cases", "", "\n1                         0.490291\n"},
        {"SAMPLE=COMBINED", "", "                 Combined\n"},
        {"SAMPLE=combined", "", "\n1                         0.424883\n"},
        {"HW=HWE", "-h hwd", "\nAdditive haplotype effects under Hardy-Weinberg disequilibrium\n"},
        {"HW=hwd", "--hardy-weinberg=HWE", "\nHaplotype frequencies under Hardy-Weinberg equilib"},
        {"MODEL=recessive", "-m a", "\nAdditive haplotype effects"},
        {"MODEL=RECESSIVE", "", "\nRecessive haplotype effects"},
        {"MODEL=recessive", "-m D", "\nDominant haplotype effects"},
        {"MODEL=codominant", "-m r", "\nRecessive haplotype effects"},
        {"MODEL=dominant", "", "\nDominant haplotype effects"},
        {"MODEL=additive", "--model CODOMINANT", "\nCodominant haplotype effects"},
    };
    for (auto const& c : cases) {
        scratch files;
        files.write("d", one_snp({55, 30, 25}, {30, 45, 28}));
        files.write("s", SPEC + c.spec);
        run_quilmar(files, std::string("d s ") + c.arguments);
        EXPECT_NE(files.read("d.out").find(c.part), std::string::npos)
            << c.spec << c.arguments << files.read("d.out");
    }
}

// The numbers are those of the closed forms: ln(101 * 140 / (105 * 80)), Woolf's standard error,
// and the allele frequency of 80 in 220.
TEST(run, report) {
    scratch files;
    files.write("d", DATA);
    files.write("s", SPEC);
    run_quilmar(files, "d s");
    std::string date = files.read("d.out");
    date.erase(0, date.find_last_of('\n', date.size() - 2) + 1);
    std::size_t const blanks = date.find("Report"), length = date.size() - 1 - blanks;
    EXPECT_EQ(blanks, (78 - length + 1) / 2);
    std::string const equals(80, '='), dashes(34, '-'), rule(78, '-');
    EXPECT_EQ(
        undated(files.read("d.out")),
        equals + "\n=== QUILMAR Analysis d ===\n" + equals + "\n\n" + equals +
            "\nHaplotype frequencies under Hardy-Weinberg equilibrium\n" + equals +
            "\nTolerance: 1e-06\nMaximum iterations: 2000\n"
            "Subjects: 213\nCases: 103\nControls: 110\n\n"
            "Haplotype                 Controls\n" +
            dashes + "\n0                         0.636364\n1                         0.363636\n" +
            dashes +
            "\nIterations                       2\nLog-Likelihood         -116.480103\n"
            "Status: Success.\n\n" +
            equals + "\nAdditive haplotype effects under Hardy-Weinberg equilibrium\n" + equals +
            "\nTolerance: 0.0001\nMaximum iterations: 500\n"
            "Subjects: 213/213\nCases: 103/103\nControls: 110/110\n\n"
            "                      Estimate        StdError          Z-Stat         P-Value\n" +
            rule + "\nEffects\n" + rule +
            "\nGene 1\n"
            "  1                     0.5208          0.1977          2.6348          0.0084\n"
            "Frequencies\n"
            "  0                     0.6364          0.0324         19.6214          0.0000\n"
            "  1                     0.3636          0.0324         11.2122          0.0000\n" +
            rule + "\nIterations              3\nLog-Likelihood  -228.0380\nStatus: Success.\n\n");
}

TEST(run, directory) {
    scratch files;
    files.write("s", SPEC);
    for (char const* name : {"in", "in/sub", "res"})
        mkdir(files.file(name).c_str(), 0755);
    files.write("in/.hidden", DATA);
    files.write("in/a", DATA);
    files.write("in/d-empty", "");
    files.write("in/e-format", "D A\n0 0\n1\n");
    files.write("in/f-constant", "D A\n0 0\n1 0\n0 0\n");
    files.write("in/z", DATA);
    outcome const o = run_quilmar(files, "in s -o res");
    EXPECT_EQ(o.exit_status, 1);
    EXPECT_EQ(unwrapped(o.err),
              ".hidden: result saved to 'res/.hidden.out'.\na: result saved to 'res/a.out'.\n"
              "d-empty: error: no data found.\n"
              "e-format:3: error: file format does not match defined columns.\n"
              "f-constant: error: frequency of haplotype 1 is not consistent with specified "
              "threshold.\nf-constant: result saved to 'res/f-constant.out'.\n"
              "z: result saved to 'res/z.out'.\n");
    EXPECT_EQ(files.list("res"), ".hidden.out a.out f-constant.out z.out ");
    std::string const last = undated(files.read("res/z.out"));
    EXPECT_NE(last.find("Additive haplotype effects"), std::string::npos);
    EXPECT_EQ(last.substr(400), undated(files.read("res/a.out")).substr(400));
    EXPECT_EQ(files.read("res/f-constant.out").find("haplotype effects"), std::string::npos);
}

// Rows, titles and order of the environment part, and covariates from which nothing can be learnt:
// every run ends with a report, those with redundant terms with a status that says so.
TEST(run, environment) {
    for (std::string const covariates : {"varied", "constant", "duplicated", "separating"})
        for (std::string const model :
             {"additive\nHW=HWE", "additive\nHW=HWD", "codominant\nHW=HWE", "codominant\nHW=HWD"}) {
            SCOPED_TRACE(covariates + " " + model);
            scratch files;
            std::string text = "D A age smoke\n";
            uniform random(5);
            for (int i = 0; i < 220; ++i) {
                int const status = i % 2, copies = static_cast<int>(random() * 3);
                double const age = covariates == "constant"     ? 1
                                   : covariates == "separating" ? status
                                                                : random();
                double const smoke = covariates == "duplicated" ? age : random() < 0.4;
                text += std::to_string(status) + " " + std::to_string(copies) + " " +
                        std::to_string(age) + " " + std::to_string(smoke) + "\n";
            }
            files.write("d", text);
            files.write("s", "STATUS=1\nGENE=2\nENVIRONMENT=3 4\nEFFECT=1 -1 -1\n"
                             "EFFECT=-1 1 -1\nEFFECT=-1 1 1\nEFFECT=-1 -1 1\nEFFECT=1 1 1\n"
                             "SAMPLE=combined\nMODEL=" +
                                 model + "\n");
            run_quilmar(files, "d s");
            std::string const report = files.read("d.out");
            std::string::size_type at = 0;
            for (char const* row :
                 {"\nGene 1\n  1 ", "\nEnvironment\n  age ", "\n  age*smoke ", "\n  smoke ",
                  "\nGene 1\n  1*age*smoke ", "\nFrequencies\n  0 ", "\nStatus: "}) {
                at = report.find(row, at);
                ASSERT_NE(at, std::string::npos) << row << report;
            }
            EXPECT_EQ(report.compare(at, 17, "\nStatus: Success.") == 0, covariates == "varied")
                << report;
        }
}

// The second file has no excess of homozygotes: it falls back to equilibrium and so do all after
// it, the third, which is the first again.
TEST(run, disequilibrium_falls_back_and_carries_over) {
    scratch files;
    files.write("s", SPEC + "MODEL=codominant\nHW=HWD\n");
    files.write("e", SPEC + "MODEL=codominant\n");
    mkdir(files.file("in").c_str(), 0755);
    files.write("in/1", one_snp({60, 30, 20}, {40, 33, 37}));
    files.write("in/2", one_snp({20, 60, 20}, {15, 60, 25}));
    files.write("in/3", files.read("in/1"));
    EXPECT_EQ(unwrapped(run_quilmar(files, "in s").err),
              "1: result saved to '1.out'.\n2: warning: rho estimated at zero --> using HWE.\n"
              "2: result saved to '2.out'.\n3: result saved to '3.out'.\n");
    std::string const first = files.read("1.out");
    for (char const* part : {"Haplotype frequencies under Hardy-Weinberg disequilibrium\n",
                             "Codominant haplotype effects under Hardy-Weinberg disequilibrium\n",
                             "\n  1                     0.3182", // 70 / 220
                             // ln(33 60 / (30 40)), and ln(37 60 / (20 40)) less twice as much.
                             "\n  1                     0.5008", "\n                        0.0191",
                             "\n  Rho                   0.3714"}) // 1 - 30/(220 pq)
        EXPECT_NE(first.find(part), std::string::npos) << part;
    std::string const second = undated(files.read("2.out")), third = undated(files.read("3.out"));
    run_quilmar(files, "in e");
    EXPECT_EQ(undated(files.read("2.out")), second);
    EXPECT_EQ(undated(files.read("3.out")), third);
    EXPECT_EQ(third.find("Rho"), std::string::npos);
}

// The examples are what the committed generator makes, and their estimates are near the stated
// truth.
TEST(run, examples) {
    struct {
        char const *name, *arguments;
        simulation design;
        char const *row, *other;
    } const cases[] = {
        {"two_genes", "", two_genes(), "Gene 1\n  011                   0.3008",
         "Genes 1*2\n  101*0110              0.5041"},
        // Two rows for each effect.
        {"two_genes", " -m codominant", two_genes(),
         "\n                       -0.0625          0.1414",
         "\nGenes 1*2\n  101*0110              0.5378"},
        {"exposed", "", exposed(), "Environment\n  ENV1                  0.4336          0.1214",
         "Gene 1\n  011*ENV1              0.4476          0.0918"},
        {"inbred", "", inbred(), "Gene 1\n  0110                  0.3231",
         "  Rho                   0.1191          0.0136"},
    };
    for (auto const& c : cases) {
        scratch files;
        std::string const path = std::string(QUILMAR_EXAMPLES "/") + c.name;
        ASSERT_EQ(symlink((path + ".txt").c_str(), files.file("d").c_str()), 0);
        EXPECT_EQ(simulate(c.design, 20261121), files.read("d"));
        run_quilmar(files, "d " + path + ".spec" + c.arguments);
        std::string const report = files.read("d.out");
        for (char const* row : {c.row, c.other})
            EXPECT_NE(report.find(row), std::string::npos) << row << report;
    }
}
