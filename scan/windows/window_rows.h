// The genotypes of windows in memory.
#ifndef QUILMAR_SCAN_WINDOWS_WINDOW_ROWS_H
#define QUILMAR_SCAN_WINDOWS_WINDOW_ROWS_H

#include "scan/input/bed_file.h"
#include "scan/input/snp_table.h"
#include "scan/windows/window_list.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace scan {

// One per thread. A SNP is read once for all windows that are in memory together.
class window_rows {
  public:
    // Bytes of the rows that are in memory together, where a window alone does not need more.
    static constexpr std::size_t MOST_BYTES = 8 << 20;

    // Refers to all. Only windows of up to most_snps SNPs are read.
    window_rows(snp_table const& snps, bed_file const& bed, window_list const& list,
                std::uint32_t most_snps);

    // Reads the windows from `first` on, as many as there is room for and before `end`; returns the
    // first that was not read. Throws read_failed.
    std::size_t read(std::size_t first, std::size_t end);

    // Makes `rows` those of n places of the windows' members, from one on, of windows that have been
    // read. They stay where they are until the next read.
    void take(std::uint32_t first, std::uint32_t n, std::vector<std::uint8_t const*>& rows) const;

  private:
    snp_table const& snps_;
    bed_file const& bed_;
    window_list const& list_;
    std::uint32_t most_snps_;
    std::size_t most_rows_;
    std::vector<std::uint32_t> rows_; // of the .bed, increasing
    std::vector<std::uint8_t> genotypes_;

    std::uint32_t bed_row(std::uint32_t place) const { return snps_[list_.members[place]].row; }
    void want(window const& w);
    void read_rows();
};

} // namespace scan

#endif
