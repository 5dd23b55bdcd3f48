// Files that say where windows are: regions, genes, lists of SNPs.
#ifndef QUILMAR_SCAN_WINDOWS_REGIONS_H
#define QUILMAR_SCAN_WINDOWS_REGIONS_H

#include <cstdint>
#include <string>
#include <vector>

namespace scan {

// Positions count from 1 and include both ends.
struct region {
    std::uint8_t chromosome;
    std::int32_t from, to;
    std::string name;
};

// Regions of the chromosomes 1 to 22, and how many others were left out.
struct region_list {
    std::vector<region> regions;
    std::uint32_t n_other = 0;
};

// Reads CHR FROM TO [NAME], one region a line; without a name it is CHR:FROM-TO. A file named .bed,
// .bed.gz or .bed.bgz is BED: positions count from 0 and the last is not included; "track" and
// "browser" lines are skipped there, lines that begin with # everywhere.
region_list read_regions(std::string const& path);

// Reads CHR FROM TO NAME, one gene a line, and keeps the genes of these names, all for no name, with
// a border on both sides. Throws no_fit for a name that is not there.
region_list read_genes(std::string const& path, std::vector<std::string> const& names,
                       double border_kb);

struct snp_list {
    std::string name;
    std::vector<std::string> ids;
    std::string place; // path:line
};

// Reads NAME SNP SNP ..., one window a line; "*" for a name, as in PLINK's .blocks, names it by
// "block" and its number.
std::vector<snp_list> read_snp_lists(std::string const& path);

} // namespace scan

#endif
