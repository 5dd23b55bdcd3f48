// Numbers under stress: data from which little or nothing can be learnt, and values at the edges of
// what the parsers take. What is expected follows from the manual and from closed forms.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/options.h"
#include "tests/support.h"

#include <gtest/gtest.h>
#include <utility>

namespace {

std::string const DATA = one_snp({50, 40, 20}, {30, 45, 28});
std::string const SPEC = "STATUS=1\nGENE=2\nEFFECT=1\n";

// Homozygotes of 200 haplotypes of 8 loci: two cases and two controls each, four cases more of 7.
std::string two_hundred_haplotypes() {
    std::string text = "D A B C D E F G H\n";
    for (unsigned h = 0; h < 200; ++h)
        for (unsigned i = 0; i < (h == 7 ? 8 : 4); ++i) {
            text += i < 2 ? "0" : "1";
            for (unsigned bit = 128; bit != 0; bit /= 2)
                text += (h & bit) != 0 ? " 2" : " 0";
            text += "\n";
        }
    return text;
}

std::string twice(std::string const& line) {
    return line + line;
}

} // namespace

TEST(stress, runs) {
    std::string const
        saved = "<quilmar> d: result saved to 'd.out'.\n",
        no_cases = twice("<quilmar> d: warning: no case observations are available.\n"),
        no_controls = twice("<quilmar> d: warning: no control observations are available.\n"),
        no_haplotype_1 =
            "<quilmar> d: error: frequency of haplotype 1 is not consistent with specified\n"
            "          threshold.\n" +
            saved,
        diverged = "<quilmar> d: warning: iteration failed to converge.\n" + saved;
    // ln(101 * 140 / (105 * 80)) with Woolf's standard error, and 80 of 220.
    std::string const woolf = "  1                     0.5208          0.1977          2.6348",
                      success = "Status: Success.\n";
    struct {
        char const* why;
        std::string data, spec, err;
        std::vector<std::string> report; // parts in order; no report when empty
    } const cases[] = {
        {"nothing varies: the likelihood is 1",
         "D A\n0 0\n1 0\n0 0\n",
         SPEC,
         no_haplotype_1,
         {"\n0                         1.000000\n---", " 0.000000\n" + success}},
        {"all missing: the likelihood is 1, information and score are 0",
         "D A\n0 9\n1 9\n0 9\n",
         SPEC,
         "<quilmar> d: warning: iteration aborted (floating-point overflow).\n"
         "<quilmar> d: warning: statistics computation failed.\n" +
             saved,
         {"\n0                         0.500000\n1                         0.500000\n---",
          " 0.000000\n" + success, "Subjects: 3/3\n", "Status: Iteration aborted"}},
        {"a locus that does not vary changes nothing",
         "D B A\n" +
             [] {
                 std::string text = DATA.substr(DATA.find('\n') + 1);
                 for (std::size_t at = 0; (at = text.find(' ', at)) != std::string::npos; at += 3)
                     text.insert(at, " 0");
                 return text;
             }(),
         "STATUS=1\nGENE=2 3\nEFFECT=1\n",
         saved,
         {"Subjects: 213/213\n", "\n  01                    0.5208          0.1977", success}},
        {"one control", "D A\n0 1\n", SPEC, no_cases, {}},
        {"one case", "D A\n1 1\n", SPEC + "SAMPLE=cases\n", no_controls, {}},
        {"cases only, frequencies of controls", "D A\n1 0\n1 1\n1 2\n", SPEC, no_controls, {}},
        {"controls only, with rho", "D A\n0 0\n0 0\n0 2\n", SPEC + "HW=HWD\n", no_cases, {}},
        {"one copy each of both alleles: beta 0, standard error sqrt(1 + 1 + 1 + 1)",
         "D A\n0 1\n1 1\n",
         SPEC,
         saved,
         {"0.0000          2.0000", " 1.0000\n", "\n  1                     0.5000", success}},
        {"alike and heterozygous at two loci: no phase is favoured, 4 ln(1/4)",
         "D A B\n0 1 1\n0 1 1\n0 1 1\n0 1 1\n1 1 1\n",
         "STATUS=1\nGENE=2 3\nEFFECT=-1\n",
         saved,
         {"\n00                        0.250000\n01                        0.250000\n"
          "10                        0.250000\n11                        0.250000\n",
          " -5.545177\n" + success}},
        {"no case keeps a haplotype of the controls",
         one_snp({9, 0, 0}, {0, 0, 9}),
         SPEC,
         no_cases,
         {}},
        {"no case carries 1: beta runs to minus infinity",
         one_snp({50, 40, 20}, {100, 0, 0}),
         SPEC,
         diverged,
         {"Status: Iteration failed to converge.\n"}},
        {"haplotypes separate cases from controls",
         one_snp({9, 0, 0}, {0, 0, 9}),
         SPEC + "SAMPLE=combined\n",
         diverged,
         {"Status: Iteration failed to converge.\n"}},
        {"200 haplotypes: ln 3, sqrt(1/12 + 1/4 + 2/796)",
         two_hundred_haplotypes(),
         "STATUS=1\nGENE=2 3 4 5 6 7 8 9\nEFFECT=7\n",
         saved,
         {"Subjects: 804/804\n", "\n  00000111              1.0986          0.5795",
          "\n  00000111              0.0050", success}},
        {"wide tolerances; no frequency exceeds FTOLERANCE",
         DATA,
         SPEC + "TOLERANCE=0.999\nFTOLERANCE=0.999\n",
         saved,
         {"Tolerance: 0.999\n", "  Controls\n" + std::string(34, '-') + "\n---", success,
          "Tolerance: 0.999\n", success}},
        {"the largest limits",
         DATA,
         SPEC + "ITERATIONS=4294967295\nFITERATIONS=4294967295\n",
         saved,
         {"Maximum iterations: 4294967295\n", success, "Maximum iterations: 4294967295\n", woolf,
          success}},
        {"one iteration of each: EM is there, Newton is not",
         DATA,
         SPEC + "ITERATIONS=1\nFITERATIONS=1\n",
         "<quilmar> d: warning: exceeded maximum iterations in frequency computation.\n"
         "<quilmar> d: warning: exceeded maximum iterations.\n" +
             saved,
         {"\n1                         0.363636\n",
          "Status: Exceeded maximum number of iterations.\n",
          "Status: Exceeded maximum number of iterations.\n"}},
        {"a column beyond every file",
         DATA,
         "STATUS=1\nGENE=2147483647\nEFFECT=1\n",
         "<quilmar> d: error: file format does not match defined columns.\n",
         {}},
        {"a haplotype number beyond every gene",
         DATA,
         SPEC + "EFFECT=2147483647\n",
         "<quilmar> d: error: haplotype 1 is not consistent with genotype data.\n" + saved,
         {success}},
    };
    for (auto const& c : cases) {
        scratch files;
        files.write("d", c.data);
        files.write("s", c.spec);
        outcome const o = run_quilmar(files, "d s");
        EXPECT_EQ(o.exit_status, 1) << c.why;
        EXPECT_EQ(o.err, c.err) << c.why;
        EXPECT_EQ(files.has("d.out"), !c.report.empty()) << c.why;
        std::string const report = files.read("d.out");
        std::size_t at = 0;
        for (std::string const& part : c.report) {
            at = report.find(part, at);
            ASSERT_NE(at, std::string::npos) << c.why << "\n" << part << "\n" << report;
        }
    }
}

// A tolerance that rounding cannot reach, and values that overflow: a report with a status, and
// the right estimate where there is one.
TEST(stress, limits_of_arithmetic) {
    struct {
        std::string data, spec;
        char const* part;
    } const cases[] = {
        {DATA, SPEC + "TOLERANCE=1e-15\nFTOLERANCE=1e-15\n", "  0.52077"},
        {DATA, SPEC + "TOLERANCE=1e-320\n", "  0.52077"},
        {"D A X\n0 0 1e308\n1 1 -1e308\n0 1 1e308\n1 0 1e308\n0 1 -1e308\n",
         "STATUS=1\nGENE=2\nENVIRONMENT=3\nEFFECT=-1 1\n", "\nStatus: Exceeded"},
    };
    for (auto const& c : cases) {
        scratch files;
        files.write("d", c.data);
        files.write("s", c.spec);
        EXPECT_EQ(run_quilmar(files, "d s").exit_status, 1);
        EXPECT_NE(files.read("d.out").find(c.part), std::string::npos) << files.read("d.out");
    }
}

// The settings take a leading number, counts from 1 to 4294967295 and fractions between 0 and 1.
TEST(stress, settings) {
    struct {
        unsigned count;  // 0 where it is refused
        double fraction; // likewise
        std::vector<char const*> values;
    } const cases[] = {
        {0, 0, {"4294967296", "99999999999999999999", "-1", "0", "-0", "0x10", "nan", "inf"}},
        {0, 0, {"", "x", "0,5", "0.99999999999999999"}},
        {1, 0, {"+1", "1.", "00001", "1e308", "1e309", "1e-400", "1,5"}},
        {10, 0, {"10 20"}},
        {4294967295u, 0, {"4294967295", "4294967295x"}},
        {0, 0.5, {".5", "+.5x"}},
        {0, 1 - 0x1p-53, {"000.9999999999999999"}},
        {1, 1e-320, {"1e-320"}}};
    variable v;
    v.init();
    std::string message;
    testing::internal::CaptureStderr();
    for (auto const& c : cases)
        for (std::string const value : c.values) {
            SCOPED_TRACE(value);
            bool const is_count = c.count != 0, is_fraction = c.fraction != 0;
            for (unsigned key : {ITERATIONS, FITERATIONS})
                EXPECT_EQ(setvar(key, value, v, message), is_count);
            for (unsigned key : {THRESHOLD, TOLERANCE, FTOLERANCE})
                EXPECT_EQ(setvar(key, value, v, message), is_fraction);
            EXPECT_TRUE(!is_count || v.frequency_iterations == c.count);
            EXPECT_TRUE(!is_count || std::exchange(v.iterations, 0u) == c.count);
            EXPECT_TRUE(!is_fraction || v.threshold == c.fraction);
            EXPECT_TRUE(!is_fraction || v.frequency_tolerance == c.fraction);
            EXPECT_TRUE(!is_fraction || std::exchange(v.tolerance, 0.0) == c.fraction);
            EXPECT_EQ(validate_option("-i", value, v) == 1, is_count);
            EXPECT_EQ(validate_option("--tolerance", value, v) == 1, is_fraction);
            EXPECT_TRUE(!is_count || v.iterations == c.count);
            EXPECT_TRUE(!is_fraction || v.tolerance == c.fraction);
        }
    testing::internal::GetCapturedStderr();
}

// Every way to write a number, as SNP and as covariate; SNPs other than 0, 1 and 2 are missing.
TEST(stress, data_values) {
    struct {
        double value;
        char const* genotype; // "9" is missing
        std::vector<char const*> texts;
    } const cases[] = {{0, "0", {"0", "-0", "00000", "1e-400", ".0e308"}},
                       {1, "1", {"1", "+1", "1.", "00001", "1e0", "1.0000000000000000001"}},
                       {2, "2", {"2", "0.2E1", "200e-2"}},
                       {0.5, "9", {".5", "5e-1"}},
                       {1e308, "9", {"1e308"}},
                       {1e-320, "9", {"1e-320"}},
                       {4294967296.0, "9", {"4294967296"}},
                       {-1, "9", {"-1", "-1.e0"}}};
    for (auto const& c : cases)
        for (std::string const text : c.texts) {
            sample s("D A X\n1 " + text + " " + text + "\n",
                     "STATUS=1\nGENE=2\nENVIRONMENT=3\nEFFECT=1 1\n");
            ASSERT_EQ(s.ccg.n_subjects, 1u);
            EXPECT_EQ(s.ccg.genotypes[0]->str(), c.genotype) << text;
            EXPECT_EQ(s.ccg.covariates[0][0], c.value) << text;
        }
}
