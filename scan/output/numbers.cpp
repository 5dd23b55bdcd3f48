#include "scan/output/numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace scan {

namespace {

constexpr double SMALLEST_P = 1e-300;

} // namespace

std::string number_text(double number) {
    if (std::isnan(number)) return "NA";
    char digits[32];
    // Adding 0 makes 0 of -0.
    auto const end =
        std::to_chars(digits, digits + sizeof digits, number + 0.0, std::chars_format::general, 6);
    return {digits, end.ptr};
}

std::string p_text(double log_p) {
    return std::isnan(log_p) ? "NA" : number_text(std::max(std::exp(log_p), SMALLEST_P));
}

std::string neg_log10_text(double log_p) {
    return number_text(-log_p / std::log(10.0));
}

} // namespace scan
