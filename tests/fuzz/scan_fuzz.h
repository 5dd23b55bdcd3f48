// What the fuzz targets of quilmar-scan share: several files in one input, and readers that may refuse.
#ifndef QUILMAR_TESTS_SCAN_FUZZ_H
#define QUILMAR_TESTS_SCAN_FUZZ_H

#include "scan/error.h"
#include "tests/fuzz/fuzz.h"

#include <functional>
#include <optional>

// The files of an input, which lines "---" separate; those that are not there are empty.
struct input_texts {
    std::string rest;
    input_texts(std::uint8_t const* bytes, std::size_t size)
        : rest(reinterpret_cast<char const*>(bytes), size) {}
    std::string next() {
        std::string const line = "---\n";
        std::size_t const end = rest.find(line);
        std::string const file = rest.substr(0, end);
        rest = end == std::string::npos ? "" : rest.substr(end + line.size());
        return file;
    }
};

// What the reader makes of the text, or nothing where it refuses it.
template <typename reader>
auto read_text(std::string const& text, reader read)
    -> std::optional<decltype(read(std::string()))> {
    memory_file const file(text);
    try {
        return read(file.path);
    } catch (scan::failure const& error) {
        if (error.status != scan::malformed && error.status != scan::no_fit &&
            error.status != scan::nothing_to_do && error.status != scan::read_failed)
            std::abort();
        return std::nullopt;
    }
}

#endif
