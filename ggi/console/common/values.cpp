// Counts and names of settings.
#include "ggi/console/common/values.h"

#include "numeric/nutil.h"

#include <algorithm>
#include <sstream>
#include <vector>

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
    return read_name(value, {{"hwe", 0}, {"hwd", 3}}, setting);
}

bool read_model(std::string const& value, unsigned& setting) {
    return read_name(value, {{"additive", 1}, {"recessive", 2}, {"dominant", 3}, {"codominant", 4}},
                     setting);
}

bool read_sample(std::string const& value, unsigned& setting) {
    return read_name(value, {{"controls", 0}, {"cases", 1}, {"combined", 2}}, setting);
}
