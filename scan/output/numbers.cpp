#include "scan/output/numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace scan {

namespace {

constexpr double SMALLEST_P = 1e-300;

template <typename append> std::string text_of(append append_to, double number) {
    std::string text;
    append_to(number, text);
    return text;
}

} // namespace

std::string counted(std::size_t n, std::string const& what) {
    return std::to_string(n) + " " + what + (n == 1 ? "" : "s");
}

void append_number(double number, std::string& line) {
    if (std::isnan(number)) {
        line += "NA";
        return;
    }
    char digits[32];
    // Adding 0 makes 0 of -0.
    auto const end =
        std::to_chars(digits, digits + sizeof digits, number + 0.0, std::chars_format::general, 6);
    line.append(digits, end.ptr);
}

std::string number_text(double number) {
    return text_of(append_number, number);
}

void append_p(double log_p, std::string& line) {
    append_number(std::isnan(log_p) ? log_p : std::max(std::exp(log_p), SMALLEST_P), line);
}

std::string p_text(double log_p) {
    return text_of(append_p, log_p);
}

void append_neg_log10(double log_p, std::string& line) {
    append_number(-log_p / std::log(10.0), line);
}

std::string neg_log10_text(double log_p) {
    return text_of(append_neg_log10, log_p);
}

} // namespace scan
