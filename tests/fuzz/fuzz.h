// What the fuzz targets share: inputs as files in memory, and settings read from them.
#ifndef QUILMAR_TESTS_FUZZ_H
#define QUILMAR_TESTS_FUZZ_H

#include "ggi/console/common/console_io.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

struct memory_file {
    int descriptor;
    std::string path;
    explicit memory_file(std::string const& text) : descriptor(memfd_create("fuzz", 0)) {
        path = "/proc/self/fd/" + std::to_string(descriptor);
        if (write(descriptor, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            std::abort();
    }
    ~memory_file() { close(descriptor); }
    memory_file(memory_file const&) = delete;
};

// An input of two files: a variable specification file, the line "---", and a data file.
struct settings_and_data {
    variable v;
    bool is_good; // the variable specification file
    std::string data;
    settings_and_data(std::uint8_t const* bytes, std::size_t size) {
        std::string const text(reinterpret_cast<char const*>(bytes), size), line = "---\n";
        std::size_t const end = text.find(line);
        data = end == std::string::npos ? "" : text.substr(end + line.size());
        v.init();
        is_good = validate_spec(memory_file(text.substr(0, end)).path, v) == 1;
    }
    ~settings_and_data() { v.free(); }
    settings_and_data(settings_and_data const&) = delete;
};

#endif
