// Wording, wrapping and return value of console lines.
#include "ggi/console/common/console_status.h"

#include <gtest/gtest.h>

namespace {

std::string printed(int code, std::string const& first, std::string const& second) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(console_status(code, first, second), code);
    return testing::internal::GetCapturedStderr();
}

} // namespace

TEST(console_status, lines) {
    struct {
        int code;
        char const *first, *second, *line;
    } const cases[] = {
        {1, "a.txt", "", "a.txt: success."},
        {3, "f", "01", "f: error: haplotype 01 is not consistent with genotype data."},
        {5, "f", "", "f: warning: exceeded maximum iterations."},
        {5, "f", "frequency", "f: warning: exceeded maximum iterations in frequency computation."},
        {9, "f", "", "f: warning: rho estimated at zero --> using HWE."},
        {113, "d1", "", "d1: warning: iteration failed to converge."},
        {113, "", "", "iteration failed to converge."},
        {121, "", "", "out of memory."},
        {203, "f", "", "f: warning: lU decomposition: Matrix is singular."},
        {42, "", "", "unknown error occurred."},
        {-5, "f", "", "f: warning: unknown error occurred."},
        {-9999, "text", "f", "f: text"},
        {-9999, "text", "", "text"},
        {-9998, "p", "", "file or directory 'p' not found."},
        {-9997, "p", "", "no read permission for directory 'p'."},
        {-9996, "p", "", "no read permission for file 'p'."},
        {-9995, "p", "", "no write permission for file 'p'."},
        {-9994, "p", "", "invalid path for file or directory 'p'."},
        {-9993, "p", "data", "failed to open data file 'p'."},
        {-9992, "p", "data", "error reading data file 'p'."},
        {-9991, "p", "result", "failed to close result file 'p'."},
        {-9990, "f:3", "", "f:3: error: invalid file format."},
        {-9989, "f:3", "", "f:3: error: file format does not match defined columns."},
        {-9988, "f", "", "f: error: no data found."},
        {-9987, "d/", "", "no files found in directory 'd/'."},
        {-9986, "s:1", "HW", "s:1: error: invalid definition for variable HW."},
        {-9985, "s", "GENE", "s: error: variable GENE is not defined."},
        {-9984, "s:2", "STATUS", "s:2: error: variable STATUS is multiply defined."},
        {-9983, "-x", "", "invalid option '-x'."},
        {-9983, "-i", "0", "invalid value '0' for option '-i'."},
        {-9982, "f:2", "GENE", "f:2: error: invalid data for variable GENE."},
        {-9980, "f", "", "f: warning: statistics computation failed."},
    };
    for (auto const& c : cases)
        EXPECT_EQ(printed(c.code, c.first, c.second), std::string("<quilmar> ") + c.line + "\n");
    EXPECT_EQ(printed(-9999, "", ""), "");
}

TEST(console_status, wrapping) {
    std::string const w70(70, 'x'), w60(60, 'y'), w9(9, 'z'), in = "\n          ";
    struct {
        std::string line, expected;
    } const cases[] = {
        {w70, w70},
        {w70 + "x", w70 + in + "x"},
        {w60 + " " + w9, w60 + " " + w9},            // 70 in all
        {w60 + " " + w9 + "z", w60 + in + w9 + "z"}, // no blank beyond: the last one before
        {w60 + " " + w9 + "z " + w9, w60 + in + w9 + "z " + w9},
        // The length of the whole line stands in for a missing blank: both blanks are used.
        {w9 + " " + w60 + w9 + " " + w9, w9 + in + w60 + w9 + in + w9},
        // A word of more than 70 is split.
        {w9 + " " + w70 + "x " + w9, w9 + " " + w70.substr(10) + in + "xxxxxxxxxxx " + w9},
        {w70 + w70 + w9, w70 + in + w70 + in + w9},
    };
    for (auto const& c : cases)
        EXPECT_EQ(wrapped(c.line), c.expected) << c.line;
}
