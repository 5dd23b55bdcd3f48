// The windows of a run, computed by several threads and written in order.
#ifndef QUILMAR_SCAN_SCAN_WINDOWS_H
#define QUILMAR_SCAN_SCAN_WINDOWS_H

#include "scan/chunk_worker.h"
#include "scan/options.h"
#include "scan/output/output_file.h"

#include <array>
#include <cstddef>
#include <vector>

namespace scan {

struct scan_summary {
    static constexpr std::size_t N_CODES = 7;
    std::array<std::size_t, N_CODES> by_code{}; // windows
    std::vector<double> log_p;                  // of the windows without a code, in order
    std::size_t smallest = 0;                   // window of the smallest P, where there is one
    double smallest_log_p = 1;                  // above 0 where there is none

    std::size_t n_failed() const;
};

// Computes every window and writes the tables, each row in the windows' order whatever the number of
// threads; no effects for a null pointer. Throws what a thread met first.
scan_summary scan_windows(scan_input const& input, options const& o, output_file& window_table,
                          output_file& haplotype_table, output_file* effect_table);

} // namespace scan

#endif
