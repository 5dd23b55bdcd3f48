// A run of the program from the options to the tables.
#ifndef QUILMAR_SCAN_RUN_H
#define QUILMAR_SCAN_RUN_H

#include "scan/options.h"

namespace scan {

// Throws `failure` for whatever ends the run; then no file has appeared.
void run(options const& o);

} // namespace scan

#endif
