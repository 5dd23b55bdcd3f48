// The windows of a run: sliding ones, or one for each region, gene or list of SNPs.
#ifndef QUILMAR_SCAN_WINDOWS_WINDOW_LIST_H
#define QUILMAR_SCAN_WINDOWS_WINDOW_LIST_H

#include "scan/input/snp_table.h"
#include "scan/windows/regions.h"

#include <cstdint>
#include <optional>
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
    // Listed SNPs that the table does not have, lists of no other, and what the first one is and where:
    std::uint32_t n_unknown_snps = 0, n_unknown_lists = 0;
    std::string first_unknown;

    std::string name(std::size_t w) const {
        return names.empty() ? std::to_string(w + 1) : names[w];
    }
};

// Windows of `n_snps` neighbours, `step` SNPs from one to the next. One of more than `longest_kb`
// between its first and last position is too long.
struct sliding_settings {
    std::uint32_t n_snps = 5, step = 1;
    double longest_kb = 500;
};

// The sliding windows of each chromosome.
window_list sliding_windows(snp_table const& snps, std::vector<std::uint32_t> const& used,
                            sliding_settings const& how);

// A window of all used SNPs of each region; or those that slide inside it, "NAME:1" and so on, one of
// all where they are fewer than such a window has. A region without SNPs is an empty window.
window_list region_windows(snp_table const& snps, std::vector<std::uint32_t> const& used,
                           std::vector<region> const& regions,
                           std::optional<sliding_settings> const& how);

// A window of the used SNPs of each list that has one of the table. Throws no_fit where none has, for
// SNPs that the table has twice and for lists over several chromosomes.
window_list listed_windows(snp_table const& snps, std::vector<std::uint32_t> const& used,
                           std::vector<snp_list> const& lists);

} // namespace scan

#endif
