// The windows of a run: sliding ones, or one for each region, gene or list of SNPs.
#ifndef QUILMAR_SCAN_WINDOWS_WINDOW_LIST_H
#define QUILMAR_SCAN_WINDOWS_WINDOW_LIST_H

#include "scan/input/snp_table.h"
#include "scan/windows/regions.h"

#include <cstdint>
#include <string>
#include <vector>

namespace scan {

struct window {
    std::uint32_t first; // place in `members` of its first SNP
    std::uint32_t n_snps;
    std::int32_t from, to; // first and last position: of its SNPs, of the region where it has none
    std::uint8_t chromosome;
    bool is_too_long;
};

// In genome order: by chromosome, first and last position, then as they were listed.
struct window_list {
    std::vector<window> windows;
    std::vector<std::uint32_t>
        members;                     // SNPs of the table; a window's stand together in genome order
    std::vector<std::string> names;  // by window; none where windows are numbered from 1
    std::uint32_t n_unused_snps = 0; // listed SNPs that the filters left out

    std::string name(std::size_t w) const {
        return names.empty() ? std::to_string(w + 1) : names[w];
    }
};

// Windows of `n_snps` neighbours on a chromosome, `step` SNPs from one to the next. One of more than
// `longest_kb` between its first and last position is too long.
window_list sliding_windows(snp_table const& snps, std::vector<std::uint32_t> const& used,
                            std::uint32_t n_snps, std::uint32_t step, double longest_kb);

// A window of all used SNPs of each region.
window_list region_windows(snp_table const& snps, std::vector<std::uint32_t> const& used,
                           std::vector<region> const& regions);

// A window of the used SNPs of each list. Throws no_fit for SNPs that the table does not have, or has
// twice, and for lists over several chromosomes.
window_list listed_windows(snp_table const& snps, std::vector<std::uint32_t> const& used,
                           std::vector<snp_list> const& lists);

} // namespace scan

#endif
