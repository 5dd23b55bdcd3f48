// Values of text files: numbers, chromosomes, missing values.
#ifndef QUILMAR_SCAN_INPUT_VALUES_H
#define QUILMAR_SCAN_INPUT_VALUES_H

#include <cstdint>
#include <string_view>

namespace scan {

// The whole text as a finite decimal number; false when it is none.
bool parse_number(std::string_view text, double& number);

// The whole text as a position of a chromosome, -(2^31) to 2^31 - 1; false when it is none.
bool parse_position(std::string_view text, std::int32_t& position);

// 1 to 22, also after "chr" in any case; 0 for all else.
unsigned parse_autosome(std::string_view text);

// Empty, NA or nan in any case.
bool is_missing(std::string_view text);

// Whether the two are alike but for the case of letters.
bool equal_ignoring_case(std::string_view a, std::string_view b);

} // namespace scan

#endif
