// Texts of settings: numbers, lists of numbers and names.
#include "ggi/console/common/values.h"

#include "ggi/console/common/console_status.h"
#include "ggi/settings.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <sstream>

namespace {

struct named_value {
    char const* name; // in lower case
    unsigned value;
};

bool read_name(std::string const& value, std::vector<named_value> const& names, unsigned& setting) {
    for (named_value const& known : names) {
        std::string const lower = known.name;
        std::string upper = lower;
        std::transform(lower.begin(), lower.end(), upper.begin(),
                       [](char c) { return static_cast<char>(c - 'a' + 'A'); });
        if (value != lower && value != upper) continue;
        setting = known.value;
        return true;
    }
    return false;
}

} // namespace

bool read_count(std::string const& value, unsigned& setting) {
    std::istringstream stream(value);
    long long count;
    if (!(stream >> count) || count < 1 || count > MAX_UINT) return false;
    setting = static_cast<unsigned>(count);
    return true;
}

bool read_hw(std::string const& value, unsigned& setting) {
    return read_name(value, {{"hwe", EQUILIBRIUM}, {"hwd", DISEQUILIBRIUM}}, setting);
}

bool read_model(std::string const& value, unsigned& setting) {
    return read_name(value,
                     {{"additive", ADDITIVE},
                      {"recessive", RECESSIVE},
                      {"dominant", DOMINANT},
                      {"codominant", CODOMINANT}},
                     setting);
}

bool read_sample(std::string const& value, unsigned& setting) {
    return read_name(value, {{"controls", CONTROLS}, {"cases", CASES}, {"combined", COMBINED}},
                     setting);
}

bool read_whole(std::string const& text, int lowest, int& setting) {
    std::istringstream stream(text);
    int value;
    if (!(stream >> value) || stream.peek() != std::istringstream::traits_type::eof() ||
        value < lowest)
        return false;
    setting = value;
    return true;
}

std::string_view take_token(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
    std::string_view const token = text.substr(0, text.find_first_of(BLANKS));
    text.remove_prefix(token.size());
    return token;
}

bool read_columns(std::string const& value, std::vector<unsigned>& columns, std::string& message) {
    for (std::string_view rest = value, token; !(token = take_token(rest)).empty();) {
        int column;
        if (!read_whole(std::string(token), 1, column)) {
            message = "error: " + std::string(token) + " is not a valid column.";
            return false;
        }
        columns.push_back(static_cast<unsigned>(column) - 1);
    }
    return !columns.empty();
}

void warn_of_rest(std::string const& location, std::string const& value, number_kind kind) {
    std::istringstream stream(value);
    long long integer;
    double real;
    if (kind == INTEGER)
        stream >> integer;
    else
        stream >> real;
    std::streamoff const end = stream.tellg(); // -1 where nothing follows
    std::size_t const length = end < 0 ? value.size() : static_cast<std::size_t>(end);
    if (value.find_first_not_of(BLANKS, length) == std::string::npos) return;
    console_status(NOTE, "warning: '" + value + "' is read as " + value.substr(0, length) + ".",
                   location);
}
