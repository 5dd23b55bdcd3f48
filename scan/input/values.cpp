#include "scan/input/values.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

namespace scan {

namespace {

// The whole text as a number of the type, with or without a sign.
template <typename number> bool parse_whole(std::string_view text, number& value) {
    if (!text.empty() && text[0] == '+') {
        text.remove_prefix(1);
        if (!text.empty() && text[0] == '-') return false;
    }
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

} // namespace

bool parse_number(std::string_view text, double& number) {
    return parse_whole(text, number) && std::isfinite(number);
}

bool parse_position(std::string_view text, std::int32_t& position) {
    return parse_whole(text, position);
}

unsigned parse_autosome(std::string_view text) {
    if (text.size() > 3 && equal_ignoring_case(text.substr(0, 3), "chr")) text.remove_prefix(3);
    std::int32_t number = 0;
    bool const is_number = !text.empty() && text[0] >= '0' && text[0] <= '9' &&
                           parse_whole(text, number) && number >= 1 && number <= 22;
    return is_number ? static_cast<unsigned>(number) : 0;
}

bool is_missing(std::string_view text) {
    return text.empty() || equal_ignoring_case(text, "NA") || equal_ignoring_case(text, "nan");
}

bool equal_ignoring_case(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return lower(x) == lower(y); });
}

} // namespace scan
