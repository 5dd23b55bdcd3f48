// The windows of a run, computed by several threads and written in order.
#ifndef QUILMAR_SCAN_SCAN_WINDOWS_H
#define QUILMAR_SCAN_SCAN_WINDOWS_H

#include "scan/input/bed_file.h"
#include "scan/input/snp_table.h"
#include "scan/options.h"
#include "scan/output/output_file.h"
#include "scan/score/null_model.h"
#include "scan/score/window.h"
#include "scan/windows/window_list.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace scan {

// What all windows are computed from.
struct scan_input {
    snp_table const& snps;
    bed_file const& bed;
    window_list const& list;
    std::vector<std::uint32_t> const& subjects; // used ones, index in the .fam
    null_model const& model;
};

struct scan_summary {
    static constexpr std::size_t N_CODES = 7;
    std::array<std::size_t, N_CODES> by_code{}; // windows
    std::vector<double> log_p;                  // of the windows without a code, in order
    std::size_t smallest = 0;                   // window of the smallest P, where there is one
    double smallest_log_p = 1;                  // above 0 where there is none

    std::size_t n_failed() const;
};

// Computes every window and writes both tables, each row in the windows' order whatever the number of
// threads. Throws what a thread met first.
scan_summary scan_windows(scan_input const& input, options const& o, output_file& window_table,
                          output_file& haplotype_table);

// Bytes that one thread takes for the genotypes of a window and for its work.
double bytes_per_thread(std::size_t n_subjects, std::size_t n_columns, std::size_t row_bytes,
                        std::uint32_t most_snps);

} // namespace scan

#endif
