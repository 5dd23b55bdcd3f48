// How numbers are printed: 6 significant digits, NA for none.
#ifndef QUILMAR_SCAN_OUTPUT_NUMBERS_H
#define QUILMAR_SCAN_OUTPUT_NUMBERS_H

#include <string>

namespace scan {

// NA for nan.
std::string number_text(double number);

// A p-value from its natural logarithm; not below 1e-300.
std::string p_text(double log_p);

// -log10 of a p-value from its natural logarithm; any size.
std::string neg_log10_text(double log_p);

} // namespace scan

#endif
