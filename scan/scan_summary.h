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
    // Failed windows by code, haplotypes without a saddle point, windows that leave out much more of
    // one group, lambda of 100 windows and more, the smallest P and the Bonferroni level.
    void note(window_list const& list, run_log& log) const;

  private:
    std::array<std::size_t, N_ERROR_CODES> by_code_{}; // windows
    std::size_t n_no_saddle_point_ = 0;                // haplotypes
    std::size_t n_unequal_ = 0;                        // windows; see window_outcome
    std::vector<double> medians_;                      // of chi-square, by degrees of freedom
    std::vector<double> inflations_; // by window with degrees of freedom: chi-square by its median
    std::size_t n_tested_ = 0;       // windows with a P
    std::size_t smallest_ = 0;       // window of the smallest P, where there is one
    double smallest_log_p_ = 1;      // above 0 where there is none

    double inflation(window_outcome const& outcome);
    void note_lambda(run_log& log) const;
};

} // namespace scan

#endif
