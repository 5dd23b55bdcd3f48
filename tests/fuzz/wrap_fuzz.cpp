// The wrapping of console lines: no line of more than 80 characters, and nothing lost but blanks.
#include "ggi/console/common/console_status.h"

#include <cstdint>
#include <cstdlib>
#include <sstream>

namespace {

std::string without_blanks(std::string const& text) {
    std::string rest;
    for (char const c : text)
        if (c != ' ' && c != '\n') rest += c;
    return rest;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
    std::string const text = printable(std::string(reinterpret_cast<char const*>(bytes), size));
    std::string const lines = wrapped(text);
    if (without_blanks(lines) != without_blanks(text)) std::abort();
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);)
        if (line.size() > 80) std::abort();
    return 0;
}
