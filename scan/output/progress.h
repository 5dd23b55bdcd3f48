// How far the windows are, on the standard error stream.
#ifndef QUILMAR_SCAN_OUTPUT_PROGRESS_H
#define QUILMAR_SCAN_OUTPUT_PROGRESS_H

#include <chrono>
#include <cstddef>

namespace scan {

// On a terminal one line that is written over; else a line for each tenth.
class progress {
  public:
    progress(std::size_t n_windows, bool is_quiet);
    // So many windows are done, of which some failed.
    void update(std::size_t n_done, std::size_t n_failed);

  private:
    using clock = std::chrono::steady_clock;

    bool is_due(std::size_t n_done);

    std::size_t n_windows_;
    bool is_quiet_, is_terminal_;
    clock::time_point start_, last_;
    std::size_t tenths_ = 0;
};

} // namespace scan

#endif
