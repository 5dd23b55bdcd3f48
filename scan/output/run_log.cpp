#include "scan/output/run_log.h"

#include "ggi/console/common/console_status.h"

#include <iostream>
#include <sstream>

namespace scan {

void run_log::record(std::string const& line) {
    std::lock_guard const lock(mutex_);
    text_ += printable(line) + "\n";
}

std::string run_log::text() const {
    std::lock_guard const lock(mutex_);
    return text_;
}

void run_log::note(std::string const& line) {
    record(line);
    if (!is_quiet_) print_lines(line);
}

void print_lines(std::string const& lines) {
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);)
        std::cerr << printable(line) + "\n" << std::flush;
}

} // namespace scan
