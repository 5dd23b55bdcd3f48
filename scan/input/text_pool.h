// Many short texts in one block of memory: hundreds of thousands of identifiers cost their letters.
#ifndef QUILMAR_SCAN_INPUT_TEXT_POOL_H
#define QUILMAR_SCAN_INPUT_TEXT_POOL_H

#include "scan/error.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace scan {

class text_pool {
  public:
    // Appends a text, which holds no zero byte; returns its place.
    std::uint32_t add(std::string_view text) {
        if (text_.size() + text.size() >= std::numeric_limits<std::uint32_t>::max())
            throw failure(memory_failed, "The identifiers take more than 4 GiB.");
        std::uint32_t const place = static_cast<std::uint32_t>(text_.size());
        text_.append(text).push_back('\0');
        return place;
    }
    std::string_view at(std::uint32_t place) const { return text_.data() + place; }
    // The text that was added after the one at this place.
    std::string_view after(std::uint32_t place) const {
        return at(place + static_cast<std::uint32_t>(at(place).size()) + 1);
    }

  private:
    std::string text_;
};

} // namespace scan

#endif
