// How far the windows are, on the standard error stream.
#ifndef QUILMAR_SCAN_OUTPUT_PROGRESS_H
#define QUILMAR_SCAN_OUTPUT_PROGRESS_H

#include <chrono>
#include <cstddef>

namespace scan {

// On a terminal one line that is written over; else a line for each tenth.
class progress {
  public:
    // kind: "window", say.
    progress(std::size_t n_windows, char const* kind, bool is_quiet);
    // So many more are done, of which some failed and of some effects were estimated.
    void add(std::size_t n_done, std::size_t n_failed, std::size_t n_with_effects);

  private:
    using clock = std::chrono::steady_clock;

    bool is_due();

    std::size_t n_windows_, n_done_ = 0, n_failed_ = 0, n_with_effects_ = 0;
    char const* kind_;
    bool is_quiet_, is_terminal_;
    clock::time_point start_, last_;
    std::size_t tenths_ = 0;
};

} // namespace scan

#endif
