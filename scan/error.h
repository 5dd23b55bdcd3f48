// How a run that cannot go on ends: one exception, which carries the exit status.
#ifndef QUILMAR_SCAN_ERROR_H
#define QUILMAR_SCAN_ERROR_H

#include <stdexcept>
#include <string>

namespace scan {

// Exit statuses of the program. A run that a signal ended has 128 + its number.
enum exit_status {
    done = 0,          // tables are whole; single windows may have failed
    memory_failed = 2, // out of memory
    open_failed = 3,   // a file cannot be opened or made
    read_failed = 4,   // a file cannot be read, or is cut short
    write_failed = 5,  // a file cannot be written
    malformed = 6,     // a file holds what it must not: name:line: what
    no_fit = 7,        // inputs that are each in order do not fit together
    command_line = 8,  // options
    nothing_to_do = 13 // nothing is left after the filters
};

// Ends the run. The text says what, where, and what to do.
struct failure : std::runtime_error {
    exit_status status;
    failure(exit_status code, std::string const& what) : std::runtime_error(what), status(code) {}
};

} // namespace scan

#endif
