// Whole runs of the built program: directories with bad files among good ones, examples.
#include "examples/simulation.h"
#include "tests/support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string const SPEC = "STATUS=1\nGENE=2\nEFFECT=1\nTHRESHOLD=0.01\n";
std::string const DATA = one_snp({50, 40, 20}, {30, 45, 28});

} // namespace

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
