// Parsing of command-line options and of the result path.
#include "ggi/console/common/options.h"

#include "ggi/console/common/console_status.h"
#include "ggi/console/common/values.h"
#include "ggi/settings.h"
#include "numeric/status_code.h"

#include <sstream>
#include <sys/stat.h>

namespace {

bool is_option(std::string const& option, char const* short_name, char const* long_name) {
    return option == short_name || option == long_name;
}

bool set_result_path(std::string const& value, std::string& path) {
    if (value.empty()) return false;
    path = value;
    return true;
}

bool set_iterations(std::string const& option, std::string const& value, unsigned& iterations) {
    if (!read_count(value, iterations)) return false;
    warn_of_rest("option " + option, value, INTEGER);
    return true;
}

bool set_tolerance(std::string const& option, std::string const& value, double& tolerance) {
    std::istringstream stream(value);
    double number;
    if (!(stream >> number) || number <= 0.0 || number >= 1.0) return false;
    warn_of_rest("option " + option, value, REAL);
    tolerance = number;
    return true;
}

// The full name, or its first letter in either case.
bool set_model(std::string const& value, unsigned& model) {
    if (value.size() != 1) return read_model(value, model);
    switch (value[0]) {
    case 'a':
    case 'A': model = ADDITIVE; return true;
    case 'r':
    case 'R': model = RECESSIVE; return true;
    case 'd':
    case 'D': model = DOMINANT; return true;
    case 'c':
    case 'C': model = CODOMINANT; return true;
    default: return false;
    }
}

} // namespace

int validate_option(std::string const& option, std::string const& value, variable& v) {
    bool good = false;
    if (option == "-o")
        good = set_result_path(value, v.result_path);
    else if (is_option(option, "-h", "--hardy-weinberg"))
        good = read_hw(value, v.hw);
    else if (is_option(option, "-i", "--iterations"))
        good = set_iterations(option, value, v.iterations);
    else if (is_option(option, "-t", "--tolerance"))
        good = set_tolerance(option, value, v.tolerance);
    else if (is_option(option, "-m", "--model"))
        good = set_model(value, v.model);
    else
        return console_status(INVALID_OPTION, option, "");
    return good ? static_cast<int>(SUCCESS) : console_status(INVALID_OPTION, option, value);
}

int apply_options(int argc, char const* const* argv, variable& v) {
    int status = SUCCESS;
    for (int i = 3; i < argc && status == SUCCESS; ++i) {
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
    if (v.result_path.empty()) return SUCCESS;
    v.result_path.erase(v.result_path.find_last_not_of('/') + 1);
    v.result_path += '/';
    struct stat info;
    if (stat(v.result_path.c_str(), &info) != 0) return NOT_FOUND;
    // The closing "/" lets nothing but a directory pass.
    if (!S_ISDIR(info.st_mode)) return NO_READ_FILE;
    if ((info.st_mode & S_IRUSR) == 0) return NO_READ_DIRECTORY;
    is_directory = true;
    return SUCCESS;
}
