// Command-line options, applied over the settings of the variable specification file.
#ifndef QUILMAR_CONSOLE_OPTIONS_H
#define QUILMAR_CONSOLE_OPTIONS_H

#include "ggi/console/common/variable.h"

// Applies one option. Returns 1, or after printing its message INVALID_OPTION.
int validate_option(std::string const& option, std::string const& value, variable& v);

// Applies the arguments argv[3] to argv[argc - 1]: "option=value", or an option and its value as
// the next argument. Stops at the first that is wrong and returns its status, else 1.
int apply_options(int argc, char const* const* argv, variable& v);

// Checks the result path of the options and makes it end in one "/". Returns 1, with is_directory
// set when there is such a path, or the code to print with it.
int check_result_path(variable& v, bool& is_directory);

#endif
