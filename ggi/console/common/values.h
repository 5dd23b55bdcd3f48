// Values that the variable specification file and the command line both take.
#ifndef QUILMAR_CONSOLE_VALUES_H
#define QUILMAR_CONSOLE_VALUES_H

#include <string>

// Each stores the value and returns true, or leaves the setting as it is and returns false.

// An integer from 1 to the largest unsigned; text after it is ignored.
bool read_count(std::string const& value, unsigned& setting);

// "HWE" or "hwe": 0, equilibrium; "HWD" or "hwd": 3, disequilibrium.
bool read_hw(std::string const& value, unsigned& setting);

// "additive" 1, "recessive" 2, "dominant" 3, "codominant" 4, all lower or all upper case.
bool read_model(std::string const& value, unsigned& setting);

// "controls" 0, "cases" 1, "combined" 2, all lower or all upper case.
bool read_sample(std::string const& value, unsigned& setting);

#endif
