// Wording, wrapping and return value of console lines.
#include "ggi/console/common/console_status.h"

#include <gtest/gtest.h>

TEST(console_status, printable) {
    struct {
        std::string text, expected;
    } const cases[] = {
        {"plain ~", "plain ~"},
        {std::string("\0\n\t\x1b\x7f", 5), "?????"},
        // The first and last character of two, three and four bytes, and of the ranges left out.
        {"\u00a0\u07ff\u0800\ud7ff\ue000\uffff\U00010000\U0010ffff", "="},
        {"\u200d\u2010\u2027\u202f\u2065\u206a\u061b\u061d", "="},
        {"a\xc2\x80\xc2\x9f|\xd8\x9c|\u200e\u200f|\u2028\u202a\u202e|\u2066\u2069",
         "a??|?|??|???|??"},
        // No UTF-8: each byte by itself; a sequence that breaks off spares what comes after it.
        {"\x80|\xbf|\xc2|\xe2\x82|\xf0\x9f\x98|\xff", "?|?|?|??|???|?"},
        {"\xc2", "?"},
        {"\xc1\xbf \xe0\x9f\xbf \xf0\x8f\xbf\xbf", "?? ??? ????"}, // longer than need be
        {"\xed\xa0\x80 \xed\xbf\xbf \xf4\x90\x80\x80 \xf8\x88\x80\x80\x80", "??? ??? ???? ?????"},
    };
    for (auto const& c : cases)
        EXPECT_EQ(printable(c.text), c.expected == "=" ? c.text : c.expected) << c.text;
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
