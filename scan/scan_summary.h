// What the log says of all windows together.
#ifndef QUILMAR_SCAN_SCAN_SUMMARY_H
#define QUILMAR_SCAN_SCAN_SUMMARY_H

#include "scan/chunk_worker.h"
#include "scan/output/run_log.h"
#include "scan/windows/window_list.h"

#include <array>
#include <cstddef>
#include <vector>

namespace scan {

class scan_summary {
  public:
    // Adds the windows of a chunk, from `first` of the list on.
    void add(std::size_t first, chunk_result const& chunk);
    // Failed windows by code, lambda, the smallest P and the Bonferroni level.
    void note(window_list const& list, run_log& log) const;

  private:
    std::array<std::size_t, N_ERROR_CODES> by_code_{}; // windows
    std::vector<double> log_p_;                        // of the windows with a P
    std::size_t smallest_ = 0;  // window of the smallest P, where there is one
    double smallest_log_p_ = 1; // above 0 where there is none
};

} // namespace scan

#endif
