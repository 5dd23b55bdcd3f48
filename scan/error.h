// The error that ends a run, with its exit status.
#ifndef QUILMAR_SCAN_ERROR_H
#define QUILMAR_SCAN_ERROR_H

#include <stdexcept>
#include <string>

namespace scan {

enum exit_status {
    done = 0,
    memory_failed = 2,
    open_failed = 3,
    read_failed = 4,
    write_failed = 5,
    malformed = 6,
    no_fit = 7,
    command_line = 8,
    nothing_to_do = 13
};

struct failure : std::runtime_error {
    exit_status status;
    failure(exit_status s, std::string const& what) : std::runtime_error(what), status(s) {}
};

} // namespace scan

#endif
