// Wording, wrapping and printing of console lines.
#include "ggi/console/common/console_status.h"

#include "ggi/status.h"

#include <algorithm>
#include <cctype>
#include <iostream>

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
    case 1: return first + ": success.";
    case 3:
        return first + ": error: haplotype " + second + " is not consistent with genotype data.";
    case 5:
        return first + ": warning: exceeded maximum iterations" +
               (second.empty() ? "." : " in " + second + " computation.");
    case 9: return first + ": warning: rho estimated at zero --> using HWE.";
    default: return status_line(code, first);
    }
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
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; }, '?');
    return text;
}
