// What options mean together: files from prefixes, values from words, and combinations that are refused.
#ifndef QUILMAR_SCAN_OPTION_CHECKS_H
#define QUILMAR_SCAN_OPTION_CHECKS_H

#include "scan/option_groups.h"

#include <string>

namespace scan {

// Throws command_line with the text and where to read on.
[[noreturn]] void refuse(std::string const& what);

// Gives the words and prefixes their meaning in the options and sees that all fit together; the
// application has parsed. Throws command_line.
void complete_options(CLI::App const& app, option_words const& words, options& o);

} // namespace scan

#endif
