// Parsing of command-line options and of the result path.
#include "ggi/console/common/options.h"

#include "ggi/console/common/console_status.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <sys/stat.h>

namespace {

bool is_option(std::string const& option, char const* short_name, char const* long_name) {
    return option == short_name || option == long_name;
}

bool set_hw(std::string const& value, unsigned& hw) {
    if (value != "HWE" && value != "hwe" && value != "HWD" && value != "hwd") return false;
    hw = value == "HWE" || value == "hwe" ? 0 : 3;
    return true;
}

bool set_iterations(std::string const& value, unsigned& iterations) {
    std::istringstream stream(value);
    long long count;
    if (!(stream >> count) || count < 1 || count > MAX_UINT) return false;
    iterations = static_cast<unsigned>(count);
    return true;
}

bool set_tolerance(std::string const& value, double& tolerance) {
    std::istringstream stream(value);
    double number;
    if (!(stream >> number) || number <= 0.0 || number >= 1.0) return false;
    tolerance = number;
    return true;
}

bool set_model(std::string const& value, unsigned& model) {
    constexpr char const* NAMES[][4] = {{"additive", "ADDITIVE", "a", "A"},
                                        {"recessive", "RECESSIVE", "r", "R"},
                                        {"dominant", "DOMINANT", "d", "D"},
                                        {"codominant", "CODOMINANT", "c", "C"}};
    for (unsigned mode = 0; mode < 4; ++mode)
        if (std::find(std::begin(NAMES[mode]), std::end(NAMES[mode]), value) !=
            std::end(NAMES[mode])) {
            model = mode + 1;
            return true;
        }
    return false;
}

} // namespace

int validate_option(std::string const& option, std::string const& value, variable& v) {
    bool good = false;
    if (option == "-o") {
        good = !value.empty();
        v.result_path = value;
    } else if (is_option(option, "-h", "--hardy-weinberg")) {
        good = set_hw(value, v.hw);
    } else if (is_option(option, "-i", "--iterations")) {
        good = set_iterations(value, v.iterations);
    } else if (is_option(option, "-t", "--tolerance")) {
        good = set_tolerance(value, v.tolerance);
    } else if (is_option(option, "-m", "--model")) {
        good = set_model(value, v.model);
    } else {
        return console_status(INVALID_OPTION, option, "");
    }
    return good ? 1 : console_status(INVALID_OPTION, option, value);
}

int apply_options(int argc, char const* const* argv, variable& v) {
    int status = 1;
    for (int i = 3; i < argc && status == 1; ++i) {
        std::string option = argv[i], value;
        std::size_t const equals = option.find('=');
        if (equals != std::string::npos) {
            value = option.substr(equals + 1);
            option.erase(equals);
        } else if (i + 1 < argc) {
            value = argv[++i];
        }
        status = validate_option(option, value, v);
    }
    return status;
}

int check_result_path(variable& v, bool& is_directory) {
    is_directory = false;
    if (v.result_path.empty()) return 1;
    v.result_path.erase(v.result_path.find_last_not_of('/') + 1);
    v.result_path += '/';
    struct stat info;
    if (stat(v.result_path.c_str(), &info) != 0) return NOT_FOUND;
    // The closing "/" lets nothing but a directory pass.
    if (!S_ISDIR(info.st_mode)) return NO_READ_FILE;
    if ((info.st_mode & S_IRUSR) == 0) return NO_READ_DIRECTORY;
    is_directory = true;
    return 1;
}
