// Whole runs of the built program: arguments, reports, directories with bad files among good ones.
#include "examples/simulation.h"
#include "tests/support.h"

#include <gtest/gtest.h>
#include <sstream>
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
    mkdir(files.file("empty").c_str(), 0755);
    mkdir(files.file("res").c_str(), 0755);
    struct {
        char const* arguments;
        int status;
        char const *out, *err;
    } const cases[] = {
        {"", 0, "Type 'quilmar --help' for help.\n\n", ""},
        {"-help", 0, "Type 'quilmar --help' for help.\n\n", ""},
        {"--help", 0, "\nquilmar 2.0 (17 September 2007)\n\nUsage: quilmar data spec ", ""},
        {"none s", 242, "", "<quilmar> file or directory 'none' not found.\n"},
        {"/dev/null s", 244, "", "<quilmar> no read permission for file '/dev/null'.\n"},
        {"empty s", 0, "", "<quilmar> no files found in directory 'empty/'.\n"},
        {"d none", 241, "", "<quilmar> failed to open specification file 'none'.\n"},
        {"d .", 241, "", "<quilmar> error reading specification file '.'.\n"},
        {"d bad", 241, "",
         "<quilmar> bad: error: variable GENE is not defined.\n"
         "<quilmar> bad: error: variable EFFECT is not defined.\n"},
        {"d s -i 0", 1, "",
         "<quilmar> invalid value '0' for option '-i'.\n<quilmar> invalid option ''.\n"},
        {"d s -t=1", 1, "",
         "<quilmar> invalid value '1' for option '-t'.\n<quilmar> invalid option ''.\n"},
        {"d s -x", 1, "", "<quilmar> invalid option '-x'.\n<quilmar> invalid option ''.\n"},
        {"d s -o", 1, "", "<quilmar> invalid option '-o'.\n<quilmar> invalid option ''.\n"},
        {"d s -o none//", 242, "", "<quilmar> file or directory 'none/' not found.\n"},
        {"d s -o d", 242, "", "<quilmar> file or directory 'd/' not found.\n"},
        {"d s", 1, "", "<quilmar> d: result saved to 'd.out'.\n"},
        {"./d s --model=d -i 10x -o res/ --tolerance 1e-7", 1, "",
         "<quilmar> ./d: result saved to 'res/d.out'.\n"},
    };
    for (auto const& c : cases) {
        outcome const o = run_quilmar(files, c.arguments);
        bool const is_option_error =
            std::string(c.err).find("invalid option ''") != std::string::npos;
        EXPECT_EQ(o.exit_status, is_option_error ? (-9983 & 255) : c.status) << c.arguments;
        EXPECT_NE(o.out.find(c.out), std::string::npos) << c.arguments << o.out;
        EXPECT_EQ(o.err, c.err) << c.arguments;
    }
    EXPECT_NE(files.read("res/d.out").find("Dominant haplotype effects"), std::string::npos);
    EXPECT_NE(files.read("res/d.out").find("Tolerance: 1e-07\nMaximum iterations: 10\n"),
              std::string::npos);
}

// The numbers are those of the closed forms: ln(101 * 140 / (105 * 80)), Woolf's standard error,
// and the allele frequency of 80 in 220.
TEST(run, report) {
    scratch files;
    files.write("d", DATA);
    files.write("s", SPEC);
    run_quilmar(files, "d s");
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
    mkdir(files.file("in").c_str(), 0755);
    mkdir(files.file("in/sub").c_str(), 0755);
    mkdir(files.file("res").c_str(), 0755);
    struct {
        char const* name;
        std::string data;
        char const* err;    // after the name
        char const* report; // what it holds; none without
    } const entries[] = {
        {".hidden", DATA, ": result saved to 'res/.hidden.out'.", "Additive haplotype effects"},
        {"a", DATA, ": result saved to 'res/a.out'.", "Additive haplotype effects"},
        {"b-cases", "D A\n1 0\n1 1\n", ": warning: no control observations are available.",
         nullptr},
        {"c-controls", "D A\n0 0\n0 1\n", ": warning: no case observations are available.",
         nullptr},
        {"d-empty", "", ": error: no data found.", nullptr},
        {"e-format", "D A\n0 0\n1\n", ":3: error: file format does not match defined columns.",
         nullptr},
        {"f-constant", "D A\n0 0\n1 0\n0 0\n",
         ": error: frequency of haplotype 1 is not consistent with specified threshold.",
         "Haplotype frequencies"},
        {"g-value", "D A\n0 0\n2 1\n", ":3: error: invalid data for variable STATUS.", nullptr},
        {"z", DATA, ": result saved to 'res/z.out'.", "Additive haplotype effects"},
    };
    for (auto const& e : entries)
        files.write(std::string("in/") + e.name, e.data);
    outcome const o = run_quilmar(files, "in s -o res");
    EXPECT_EQ(o.exit_status, 1);
    std::size_t at = 0;
    for (auto const& e : entries) {
        std::string const line = std::string("<quilmar> ") + e.name + e.err;
        std::string flat = o.err;
        for (std::size_t wrap; (wrap = flat.find("\n          ")) != std::string::npos;)
            flat.replace(wrap, 11, " ");
        at = flat.find(line, at);
        EXPECT_NE(at, std::string::npos) << line << "\n" << flat;
        std::string const output = std::string("res/") + e.name + ".out";
        EXPECT_EQ(files.has(output), e.report != nullptr) << output;
        if (e.report != nullptr) {
            EXPECT_NE(files.read(output).find(e.report), std::string::npos) << output;
        }
    }
    EXPECT_EQ(undated(files.read("res/z.out")).substr(400),
              undated(files.read("res/a.out")).substr(400));
    EXPECT_EQ(files.read("res/f-constant.out").find("haplotype effects"), std::string::npos);
}

TEST(run, outcomes) {
    struct {
        std::string data, spec;
        char const *err, *report;
    } const cases[] = {
        // One modelled haplotype: nothing can be estimated.
        {DATA, "STATUS=1\nGENE=2\nEFFECT=0\nTHRESHOLD=0.5\n",
         "<quilmar> d: warning: iteration aborted (floating-point overflow).\n"
         "<quilmar> d: warning: statistics computation failed.\n"
         "<quilmar> d: result saved to 'd.out'.\n",
         "\nFrequencies\n  0                     1.0000                        "
         "                        \n"},
        {DATA, "STATUS=1\nGENE=2\nEFFECT=1\nTHRESHOLD=0.9\n",
         "<quilmar> d: warning: no haplotype frequency consistent with specified\n"
         "          threshold.\n"
         "<quilmar> d: warning: no haplotype frequency consistent with specified\n"
         "          threshold.\n",
         ""},
        {DATA, SPEC + "EFFECT=2\nEFFECT=2\n",
         "<quilmar> s:6: warning: effect is defined more than once.\n"
         "<quilmar> d: error: haplotype 0 is not consistent with genotype data.\n"
         "<quilmar> d: result saved to 'd.out'.\n",
         "Haplotype frequencies"},
        {DATA, SPEC + "FITERATIONS=1\n",
         "<quilmar> d: warning: exceeded maximum iterations in frequency "
         "computation.\n<quilmar> d: result saved to 'd.out'.\n",
         "Status: Exceeded maximum number of iterations.\n"},
        {DATA, SPEC + "ITERATIONS=1\n",
         "<quilmar> d: warning: exceeded maximum iterations.\n"
         "<quilmar> d: result saved to 'd.out'.\n",
         "Status: Exceeded maximum number of iterations.\n"},
        {DATA, "STATUS=1\nGENE=2\nEFFECT=-1\n", "<quilmar> d: result saved to 'd.out'.\n",
         "Haplotype frequencies"},
    };
    for (auto const& c : cases) {
        scratch files;
        files.write("d", c.data);
        files.write("s", c.spec);
        EXPECT_EQ(run_quilmar(files, "d s").err, c.err) << c.spec;
        EXPECT_NE(files.read("d.out").find(c.report), std::string::npos) << c.spec;
        EXPECT_EQ(files.has("d.out"), *c.report != '\0');
    }
}

// Rows, titles and order of the environment part, and covariates from which nothing can be learnt:
// every run ends with a report, those with redundant terms with a status that says so.
TEST(run, environment) {
    struct {
        char const* covariates; // per status and copies, two columns
        bool is_estimable;
    } const cases[] = {
        {"varied", true}, {"constant", false}, {"duplicated", false}, {"separating", false}};
    for (auto const& c : cases)
        for (char const* model : {"additive", "codominant"})
            for (char const* hw : {"HWE", "HWD"}) {
                SCOPED_TRACE(std::string(c.covariates) + " " + model + " " + hw);
                scratch files;
                std::istringstream lines(one_snp({60, 30, 20}, {40, 33, 37}));
                std::string text = "D A age smoke\n", kind = c.covariates;
                std::getline(lines, kind);
                kind = c.covariates;
                uniform random(5);
                for (int status, copies; lines >> status >> copies;) {
                    double const age = kind == "constant"     ? 1
                                       : kind == "separating" ? status
                                                              : random();
                    double const smoke = kind == "duplicated" ? age : random() < 0.4;
                    text += std::to_string(status) + " " + std::to_string(copies) + " " +
                            std::to_string(age) + " " + std::to_string(smoke) + "\n";
                }
                files.write("d", text);
                files.write("s", "STATUS=1\nGENE=2\nENVIRONMENT=3 4\nEFFECT=1 -1 -1\n"
                                 "EFFECT=-1 1 -1\nEFFECT=-1 1 1\nEFFECT=-1 -1 1\nEFFECT=1 1 1\n"
                                 "SAMPLE=combined\nMODEL=" +
                                     std::string(model) + "\nHW=" + hw + "\n");
                run_quilmar(files, "d s");
                std::string const report = files.read("d.out");
                std::string::size_type at = 0;
                for (char const* row :
                     {"\nGene 1\n  1 ", "\nEnvironment\n  age ", "\n  age*smoke ", "\n  smoke ",
                      "\nGene 1\n  1*age*smoke ", "\nFrequencies\n  0 ", "\nStatus: "}) {
                    at = report.find(row, at);
                    ASSERT_NE(at, std::string::npos) << row << report;
                }
                EXPECT_EQ(report.compare(at, 17, "\nStatus: Success.") == 0, c.is_estimable)
                    << report;
            }
}

// The second file has no excess of homozygotes: it falls back to equilibrium and so do all after
// it, the third, which is the first again.
TEST(run, disequilibrium_falls_back_and_carries_over) {
    scratch files;
    std::string const excess = one_snp({60, 30, 20}, {40, 33, 37}),
                      none = one_snp({20, 60, 20}, {15, 60, 25});
    files.write("s", SPEC + "MODEL=codominant\nHW=HWD\n");
    files.write("e", SPEC + "MODEL=codominant\n");
    mkdir(files.file("in").c_str(), 0755);
    files.write("in/1", excess);
    files.write("in/2", none);
    files.write("in/3", excess);
    outcome const o = run_quilmar(files, "in s");
    EXPECT_EQ(o.err, "<quilmar> 1: result saved to '1.out'.\n"
                     "<quilmar> 2: warning: rho estimated at zero --> using HWE.\n"
                     "<quilmar> 2: result saved to '2.out'.\n"
                     "<quilmar> 3: result saved to '3.out'.\n");
    std::string const first = files.read("1.out");
    EXPECT_NE(first.find("Haplotype frequencies under Hardy-Weinberg disequilibrium\n"),
              std::string::npos);
    EXPECT_NE(first.find("Codominant haplotype effects under Hardy-Weinberg disequilibrium\n"),
              std::string::npos);
    EXPECT_NE(first.find("\n  1                     0.3182"), std::string::npos); // 70 / 220
    EXPECT_NE(first.find("\n  Rho                   0.3714"), std::string::npos); // 1 - 30/(220 pq)
    std::string const second = undated(files.read("2.out")), third = undated(files.read("3.out"));
    run_quilmar(files, "in e");
    EXPECT_EQ(undated(files.read("2.out")), second);
    EXPECT_EQ(undated(files.read("3.out")), third);
    EXPECT_EQ(third.find("disequilibrium"), std::string::npos);
    EXPECT_EQ(third.find("Rho"), std::string::npos);
}

TEST(run, full_disk_and_bad_result_file) {
    scratch files;
    files.write("d", DATA);
    files.write("s", SPEC);
    ASSERT_EQ(symlink("/dev/full", files.file("d.out").c_str()), 0);
    EXPECT_EQ(run_quilmar(files, "d s").err, "<quilmar> failed to close result file 'd.out'.\n");
    unlink(files.file("d.out").c_str());
    mkdir(files.file("d.out").c_str(), 0755);
    EXPECT_EQ(run_quilmar(files, "d s").err, "<quilmar> failed to open result file 'd.out'.\n");
    rmdir(files.file("d.out").c_str());
    mkfifo(files.file("d.out").c_str(), 0644);
    EXPECT_EQ(run_quilmar(files, "d s").err, "<quilmar> failed to open result file 'd.out'.\n");
    // A report cut short by the file size limit does not stay.
    files.write("e", DATA);
    EXPECT_EQ(run_quilmar(files, "--help >help; ulimit -f 1; " QUILMAR_PROGRAM " e s").err,
              "<quilmar> failed to close result file 'e.out'.\n");
    EXPECT_FALSE(files.has("e.out"));
}

// The examples are what the committed generator makes, and their estimates are near the stated
// truth.
TEST(run, examples) {
    struct {
        char const* name;
        simulation design;
        std::vector<char const*> rows;
    } const cases[] = {
        {"two_genes",
         two_genes(),
         {"Gene 1\n  011                   0.3008", "Genes 1*2\n  101*0110              0.5041"}},
        {"exposed",
         exposed(),
         {"Environment\n  ENV1                  0.4336          0.1214",
          "Gene 1\n  011*ENV1              0.4476          0.0918"}},
        {"inbred",
         inbred(),
         {"Gene 1\n  0110                  0.3231",
          "  Rho                   0.1191          0.0136"}},
    };
    for (auto const& c : cases) {
        scratch files;
        std::string const path = std::string(QUILMAR_EXAMPLES "/") + c.name;
        ASSERT_EQ(symlink((path + ".txt").c_str(), files.file("d").c_str()), 0);
        EXPECT_EQ(simulate(c.design, 20261121), files.read("d"));
        run_quilmar(files, "d " + path + ".spec");
        std::string const report = files.read("d.out");
        for (char const* row : c.rows)
            EXPECT_NE(report.find(row), std::string::npos) << row << report;
    }
}
