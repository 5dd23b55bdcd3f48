// Texts of settings: numbers, lists of numbers and names.
#ifndef QUILMAR_CONSOLE_VALUES_H
#define QUILMAR_CONSOLE_VALUES_H

#include <string>
#include <string_view>
#include <vector>

// White space within a line.
constexpr char BLANKS[] = " \t\r\v\f";

// Each of these stores the value and returns true, or leaves the setting as it is and returns
// false.

// An integer from 1 to the largest unsigned; text after it is ignored.
bool read_count(std::string const& value, unsigned& setting);

// A hardy_weinberg: "HWE" or "hwe", "HWD" or "hwd".
bool read_hw(std::string const& value, unsigned& setting);

// An inheritance: "additive", "recessive", "dominant", "codominant", all lower or all upper case.
bool read_model(std::string const& value, unsigned& setting);

// A frequency_sample: "controls", "cases", "combined", all lower or all upper case.
bool read_sample(std::string const& value, unsigned& setting);

// An integer from `lowest` to INT_MAX that takes up the whole text.
bool read_whole(std::string const& text, int lowest, int& setting);

// Takes the first token off the text; it is empty when there is none.
std::string_view take_token(std::string_view& text);

// Reads column numbers, which count from 1, into columns counted from 0. Returns false with the
// reason in the message, which stays empty for an empty list.
bool read_columns(std::string const& value, std::vector<unsigned>& columns, std::string& message);

// How a number is read: as far as the value goes on like one of this kind.
enum number_kind { INTEGER, REAL };

// Warns when text follows the number that the value begins with and that is all that counts.
void warn_of_rest(std::string const& location, std::string const& value, number_kind kind);

#endif
