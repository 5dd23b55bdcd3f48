// Wording, wrapping and return value of console lines.
#include "ggi/console/common/console_status.h"

#include <gtest/gtest.h>

// The lines that no run prints in the other tests.
TEST(console_status, lines) {
    struct {
        int code;
        char const *first, *line;
    } const cases[] = {{1, "f", "f: success."},
                       {113, "", "iteration failed to converge."},
                       {203, "f", "f: warning: lU decomposition: Matrix is singular."},
                       {42, "", "unknown error occurred."},
                       {-5, "f", "f: warning: unknown error occurred."},
                       {-9995, "p", "no write permission for file 'p'."},
                       {-9994, "p", "invalid path for file or directory 'p'."},
                       {-9999, "text", "text"},
                       {-9999, "", nullptr}};
    for (auto const& c : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(console_status(c.code, c.first, ""), c.code);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  c.line == nullptr ? "" : std::string("<quilmar> ") + c.line + "\n");
    }
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
