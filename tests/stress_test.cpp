// Numbers under stress: data from which little or nothing can be learnt, and values at the edges of
// what the parsers take. What is expected follows from the manual and from closed forms.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/options.h"
#include "tests/support.h"

#include <gtest/gtest.h>
#include <regex>
#include <sstream>

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

} // namespace

TEST(stress, runs) {
    char const *no_cases = "d: warning: no case observations are available.\n"
                           "d: warning: no case observations are available.\n",
               *no_controls = "d: warning: no control observations are available.\n"
                              "d: warning: no control observations are available.\n",
               *diverged = "d: warning: iteration failed to converge.\n",
               *not_estimable = "d: warning: iteration aborted (floating-point overflow).\n"
                                "d: warning: statistics computation failed.\n";
    struct {
        char const* why;
        std::string data, spec;
        char const* err;    // before the line of a report that is saved; null: any
        std::string report; // parts in order, a "|" between them; none without
    } const cases[] = {
        {"nothing varies: the likelihood is 1", "D A\n0 0\n1 0\n0 0\n", SPEC,
         "d: error: frequency of haplotype 1 is not consistent with specified threshold.\n",
         "\n0                         1.000000\n---| 0.000000\nStatus: Success.\n"},
        {"all missing: the likelihood is 1, information and score are 0", "D A\n0 9\n1 9\n0 9\n",
         SPEC, not_estimable,
         "\n0                         0.500000\n1                         0.500000\n---|"
         " 0.000000\nStatus: Success.\n|Subjects: 3/3\n|Status: Iteration aborted"},
        {"loci that do not vary change nothing, as a gene or in one",
         std::regex_replace(DATA, std::regex(" (.*)"), " 0 $1 0"),
         "STATUS=1\nGENE=2\nGENE=3 4\nEFFECT=-1 2\n", "",
         "Subjects: 213/213\n|Gene 2\n  10                    0.5208          0.1977|Status: "
         "Success."},
        {"one subject, cases only, frequencies of controls", "D A\n1 1\n", SPEC, no_controls, ""},
        {"controls only, with rho", "D A\n0 0\n0 0\n0 2\n", SPEC + "HW=HWD\n", no_cases, ""},
        {"one copy each of both alleles: beta 0, standard error sqrt(1 + 1 + 1 + 1)",
         "D A\n0 1\n1 1\n", SPEC, "",
         "0.0000          2.0000| 1.0000\n|\n  1                     0.5000|Status: Success.\n"},
        {"alike and heterozygous at two loci: no phase is favoured, 4 ln(1/4)",
         "D A B\n0 1 1\n0 1 1\n0 1 1\n0 1 1\n1 1 1\n", "STATUS=1\nGENE=2 3\nEFFECT=-1\n", "",
         "\n00                        0.250000\n01                        0.250000\n"
         "10                        0.250000\n11                        0.250000\n|"
         " -5.545177\nStatus: Success.\n"},
        {"no case keeps a haplotype of the controls", one_snp({9, 0, 0}, {0, 0, 9}), SPEC, no_cases,
         ""},
        {"haplotypes separate cases from controls", one_snp({9, 0, 0}, {0, 0, 9}),
         SPEC + "SAMPLE=combined\n", diverged, "Status: Iteration failed to converge.\n"},
        {"one modelled haplotype: nothing can be estimated", DATA,
         "STATUS=1\nGENE=2\nEFFECT=0\nTHRESHOLD=0.5\n", not_estimable,
         "\nFrequencies\n  0                     1.0000" + std::string(48, ' ') + "\n"},
        {"no modelled haplotype", DATA, SPEC + "THRESHOLD=0.9\n",
         "d: warning: no haplotype frequency consistent with specified threshold.\n"
         "d: warning: no haplotype frequency consistent with specified threshold.\n",
         ""},
        {"200 haplotypes: ln 3, sqrt(1/12 + 1/4 + 2/796)", two_hundred_haplotypes(),
         "STATUS=1\nGENE=2 3 4 5 6 7 8 9\nEFFECT=7\n", "",
         "Subjects: 804/804\n|\n  00000111              1.0986          0.5795|"
         "\n  00000111              0.0050|Status: Success.\n"},
        {"a frequency that equals FTOLERANCE, 1/4, is not listed; haplotype 0 is not modelled",
         one_snp({0, 1, 1}, {0, 0, 2}),
         "STATUS=1\nGENE=2\nEFFECT=0\nFTOLERANCE=0.25\nTHRESHOLD=0.3\n",
         "d: error: frequency of haplotype 0 is not consistent with specified threshold.\n",
         "  Controls\n----------------------------------\n1                                1\n---"},
        {"wide tolerances; no frequency exceeds FTOLERANCE", DATA,
         SPEC + "TOLERANCE=0.999\nFTOLERANCE=0.999\n", "",
         "Tolerance: 0.999\n|  Controls\n" + std::string(34, '-') +
             "\n---|Status: Success.\n|Tolerance: 0.999\n|Status: Success.\n"},
        {"tolerances that rounding may not reach", DATA,
         SPEC + "TOLERANCE=1e-15\nFTOLERANCE=1e-15\n", nullptr, "  0.52077"},
        {"a tolerance that rounding cannot reach", DATA, SPEC + "TOLERANCE=1e-320\n", nullptr,
         "  0.52077"},
        {"covariates that overflow",
         "D A X\n0 0 1e308\n1 1 -1e308\n0 1 1e308\n1 0 1e308\n0 1 -1e308\n",
         "STATUS=1\nGENE=2\nENVIRONMENT=3\nEFFECT=-1 1\n", nullptr, "\nStatus: Exceeded"},
        // ln(101 * 140 / (105 * 80)) with Woolf's standard error.
        {"the largest limits", DATA, SPEC + "ITERATIONS=4294967295\nFITERATIONS=4294967295\n", "",
         "Maximum iterations: 4294967295\n|Status: Success.\n|Maximum iterations: 4294967295\n|"
         "  1                     0.5208          0.1977          2.6348|Status: Success.\n"},
        {"one iteration of each: EM is there, Newton is not", DATA,
         SPEC + "ITERATIONS=1\nFITERATIONS=1\n",
         "d: warning: exceeded maximum iterations in frequency computation.\n"
         "d: warning: exceeded maximum iterations.\n",
         "\n1                         0.363636\n|Status: Exceeded maximum number of iterations.\n|"
         "Status: Exceeded maximum number of iterations.\n"},
        {"a column beyond every file", DATA, "STATUS=1\nGENE=2147483647\nEFFECT=1\n",
         "d: error: file format does not match defined columns.\n", ""},
        {"haplotype numbers beyond every gene, one of them twice", DATA,
         SPEC + "EFFECT=2147483647\nEFFECT=2147483647\n",
         "s:5: warning: effect is defined more than once.\n"
         "d: error: haplotype 1 is not consistent with genotype data.\n",
         "Status: Success.\n"},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.why);
        scratch files;
        files.write("d", c.data);
        files.write("s", c.spec);
        outcome const o = run_quilmar(files, "d s");
        EXPECT_EQ(o.exit_status, 1);
        std::string const saved = c.report.empty() ? "" : "d: result saved to 'd.out'.\n";
        if (c.err != nullptr) {
            EXPECT_EQ(unwrapped(o.err), c.err + saved);
        }
        EXPECT_EQ(files.has("d.out"), !c.report.empty());
        std::string const report = files.read("d.out");
        std::istringstream parts(c.report);
        std::size_t at = 0;
        for (std::string part; std::getline(parts, part, '|');) {
            at = report.find(part, at);
            ASSERT_NE(at, std::string::npos) << part << "\n" << report;
        }
    }
}

// The settings take a leading number, counts from 1 to 4294967295 and fractions between 0 and 1;
// what is refused leaves them as they are.
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
            auto const expect = [&](auto& setting, auto expected, int status) {
                EXPECT_EQ(status == 1, expected != 0);
                EXPECT_EQ(setting, expected);
                setting = 0;
            };
            v.iterations = v.frequency_iterations = 0;
            v.threshold = v.tolerance = v.frequency_tolerance = 0;
            expect(v.iterations, c.count, setvar(ITERATIONS, value, v, message));
            expect(v.frequency_iterations, c.count, setvar(FITERATIONS, value, v, message));
            expect(v.iterations, c.count, validate_option("-i", value, v));
            expect(v.threshold, c.fraction, setvar(THRESHOLD, value, v, message));
            expect(v.tolerance, c.fraction, setvar(TOLERANCE, value, v, message));
            expect(v.frequency_tolerance, c.fraction, setvar(FTOLERANCE, value, v, message));
            expect(v.tolerance, c.fraction, validate_option("--tolerance", value, v));
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
