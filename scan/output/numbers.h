// How numbers are printed: 6 significant digits, NA for none; counts of things.
#ifndef QUILMAR_SCAN_OUTPUT_NUMBERS_H
#define QUILMAR_SCAN_OUTPUT_NUMBERS_H

#include <cstddef>
#include <string>

namespace scan {

// "1 window", "2 windows".
std::string counted(std::size_t n, std::string const& what);

// NA for nan.
void append_number(double number, std::string& line);
std::string number_text(double number);

// A p-value from its natural logarithm; not below 1e-300.
void append_p(double log_p, std::string& line);
std::string p_text(double log_p);

// -log10 of a p-value from its natural logarithm; any size.
void append_neg_log10(double log_p, std::string& line);
std::string neg_log10_text(double log_p);

} // namespace scan

#endif
