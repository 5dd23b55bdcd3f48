// The one place where lines for the user are worded and printed.
#ifndef QUILMAR_CONSOLE_CONSOLE_STATUS_H
#define QUILMAR_CONSOLE_CONSOLE_STATUS_H

#include <string>

// Codes of the console layer's own events.
enum console_code {
    NOTE = -9999,               // second + ": " + first, or first alone
    NOT_FOUND = -9998,          // first = path
    NO_READ_DIRECTORY = -9997,  // first = path
    NO_READ_FILE = -9996,       // first = path
    NO_WRITE_FILE = -9995,      // first = path
    INVALID_PATH = -9994,       // first = path
    OPEN_FAILED = -9993,        // first = path, second = kind of file
    READ_FAILED = -9992,        // first = path, second = kind of file
    CLOSE_FAILED = -9991,       // first = path, second = kind of file
    INVALID_FORMAT = -9990,     // first = location
    COLUMNS_MISMATCH = -9989,   // first = location
    NO_DATA = -9988,            // first = file
    EMPTY_DIRECTORY = -9987,    // first = path
    INVALID_DEFINITION = -9986, // first = location, second = keyword
    NOT_DEFINED = -9985,        // first = file, second = keyword
    MULTIPLY_DEFINED = -9984,   // first = location, second = keyword
    INVALID_OPTION = -9983,     // first = option, second = value or empty
    INVALID_VALUE = -9982,      // first = location, second = keyword
    BELOW_THRESHOLD = -9981,    // first = file, second = haplotype
    STATISTICS_FAILED = -9980   // first = file
};

// Prints "<quilmar> " and the line that belongs to the code (a console_code or a status code, see
// ggi/status.h) and its two texts to the standard error stream, made printable and wrapped beyond
// 70 characters; nothing when the line is empty. Returns the code.
int console_status(int code, std::string first, std::string second);

// The line broken for the console: about 70 characters each, continuation lines indented by ten
// blanks, at a blank where there is one and within a word where there is none.
std::string wrapped(std::string line);

// The text with a "?" for every control character, line separator, mark that changes the direction
// of text, and byte that is no UTF-8, so that the name of a file can neither steer a terminal nor
// pass for another name or for a line of its own.
std::string printable(std::string text);

#endif
