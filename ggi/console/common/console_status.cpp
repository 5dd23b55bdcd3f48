// Wording, wrapping and printing of console lines.
#include "ggi/console/common/console_status.h"

#include "ggi/status.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <iterator>

namespace {

constexpr std::size_t WIDTH = 70;

std::string file_kind(char const* failure, std::string const& first, std::string const& second) {
    return failure + second + " file '" + first + "'.";
}

// Wording of the status codes without a line of their own.
std::string status_line(int code, std::string const& first) {
    std::string text = status_msg(code);
    text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
    return first.empty() ? text : first + ": warning: " + text;
}

std::string line_of(int code, std::string const& first, std::string const& second) {
    switch (code) {
    case NOTE: return second.empty() ? first : second + ": " + first;
    case NOT_FOUND: return "file or directory '" + first + "' not found.";
    case NO_READ_DIRECTORY: return "no read permission for directory '" + first + "'.";
    case NO_READ_FILE: return "no read permission for file '" + first + "'.";
    case NO_WRITE_FILE: return "no write permission for file '" + first + "'.";
    case INVALID_PATH: return "invalid path for file or directory '" + first + "'.";
    case OPEN_FAILED: return file_kind("failed to open ", first, second);
    case READ_FAILED: return file_kind("error reading ", first, second);
    case CLOSE_FAILED: return file_kind("failed to close ", first, second);
    case INVALID_FORMAT: return first + ": error: invalid file format.";
    case COLUMNS_MISMATCH: return first + ": error: file format does not match defined columns.";
    case NO_DATA: return first + ": error: no data found.";
    case EMPTY_DIRECTORY: return "no files found in directory '" + first + "'.";
    case INVALID_DEFINITION:
        return first + ": error: invalid definition for variable " + second + ".";
    case NOT_DEFINED: return first + ": error: variable " + second + " is not defined.";
    case MULTIPLY_DEFINED: return first + ": error: variable " + second + " is multiply defined.";
    case INVALID_OPTION:
        return second.empty() ? "invalid option '" + first + "'."
                              : "invalid value '" + second + "' for option '" + first + "'.";
    case INVALID_VALUE: return first + ": error: invalid data for variable " + second + ".";
    case BELOW_THRESHOLD:
        return first + ": error: frequency of haplotype " + second +
               " is not consistent with specified threshold.";
    case STATISTICS_FAILED: return first + ": warning: statistics computation failed.";
    case SUCCESS: return first + ": success.";
    case UNKNOWN_HAPLOTYPE:
        return first + ": error: haplotype " + second + " is not consistent with genotype data.";
    case ITERATIONS_EXCEEDED:
        return first + ": warning: exceeded maximum iterations" +
               (second.empty() ? "." : " in " + second + " computation.");
    case RHO_AT_ZERO: return first + ": warning: rho estimated at zero --> using HWE.";
    default: return status_line(code, first);
    }
}

// Decodes the UTF-8 character that begins at `at`; returns the number of its bytes. A byte that
// begins none counts as a character of its own, NUL.
std::size_t take_character(std::string const& text, std::size_t at, char32_t& c) {
    constexpr struct {
        unsigned char mask, begin;
        char32_t lowest; // that is not written in fewer bytes
    } FORMS[] = {{0x80, 0x00, 0}, {0xe0, 0xc0, 0x80}, {0xf0, 0xe0, 0x800}, {0xf8, 0xf0, 0x10000}};
    auto const byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    for (std::size_t length = 1; length <= std::size(FORMS); ++length) {
        auto const& form = FORMS[length - 1];
        if ((byte(at) & form.mask) != form.begin) continue;
        c = byte(at) & ~form.mask & 0xffu;
        std::size_t i = 1;
        for (; i < length && at + i < text.size() && (byte(at + i) & 0xc0) == 0x80; ++i)
            c = c << 6 | (byte(at + i) & 0x3f);
        bool const is_surrogate = c >= 0xd800 && c < 0xe000;
        if (i == length && c >= form.lowest && c <= 0x10ffff && !is_surrogate) return length;
    }
    c = U'\0';
    return 1;
}

// Controls, separators of lines, and marks that change the direction of the text around them.
bool is_printable(char32_t c) {
    constexpr struct {
        char32_t first, last;
    } HIDDEN[] = {{0x00, 0x1f},     {0x7f, 0x9f},     {0x61c, 0x61c},
                  {0x200e, 0x200f}, {0x2028, 0x202e}, {0x2066, 0x2069}};
    return std::none_of(std::begin(HIDDEN), std::end(HIDDEN),
                        [c](auto const& range) { return c >= range.first && c <= range.last; });
}

} // namespace

std::string wrapped(std::string line) {
    std::string const indent = "\n" + std::string(10, ' ');
    std::string text;
    std::size_t start = 0, beyond = 0;
    while (line.size() - start > WIDTH) {
        // The blank to break at is the last one before the first blank beyond the width.
        if (beyond <= start + WIDTH) beyond = line.find(' ', start + WIDTH + 1);
        // Without such a blank the length of the whole text stands in for its place in the rest.
        std::size_t const p =
            beyond == std::string::npos ? text.size() + line.size() - start : beyond - start;
        std::size_t const before = line.substr(start, WIDTH + 1).rfind(' ');
        bool const is_at_blank = before != std::string::npos && p - before <= WIDTH;
        std::size_t const cut = is_at_blank ? before : WIDTH;
        text.append(line, start, cut) += indent;
        start += is_at_blank ? cut + 1 : cut;
    }
    return text + line.substr(start);
}

int console_status(int code, std::string first, std::string second) {
    std::string const line = line_of(code, first, second);
    if (!line.empty()) std::cerr << "<quilmar> " + wrapped(printable(line)) + "\n" << std::flush;
    return code;
}

std::string printable(std::string text) {
    std::size_t end = 0;
    for (std::size_t at = 0, length; at < text.size(); at += length) {
        char32_t c;
        length = take_character(text, at, c);
        if (is_printable(c))
            for (std::size_t i = 0; i < length; ++i)
                text[end++] = text[at + i];
        else
            text[end++] = '?';
    }
    text.resize(end);
    return text;
}
