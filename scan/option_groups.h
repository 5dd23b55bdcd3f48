// The options of the command line with their texts and the values that each takes by itself.
#ifndef QUILMAR_SCAN_OPTION_GROUPS_H
#define QUILMAR_SCAN_OPTION_GROUPS_H

#include "scan/options.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
}

namespace scan {

// The values of options that become something else than their text, as they are given.
struct option_words {
    std::vector<std::string> chromosomes; // "1", "4-7"
    std::string id_delim, test = "score", spa = "auto";
    std::pair<std::uint32_t, std::uint32_t> part{0, 0}; // 0 of 0 where it is not given
    // Of the effects:
    std::string effects, model = "prospective", mode = "additive", hw = "HWE",
                         reference = "reference";
};

// Both receive the values when the application parses, and must outlive it.
void declare_options(CLI::App& app, options& o, option_words& words);

} // namespace scan

#endif
