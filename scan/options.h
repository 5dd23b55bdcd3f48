// What the command line asks for.
#ifndef QUILMAR_SCAN_OPTIONS_H
#define QUILMAR_SCAN_OPTIONS_H

#include "scan/effects/settings.h"
#include "scan/score/window.h"
#include "scan/windows/window_list.h"

#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace scan {

// Part `number`, from 1, of `of` parts.
struct run_part {
    std::uint32_t number, of;
};

struct options {
    // Input; empty where it is not given.
    std::string bfile, bed, bim, fam, vcf;
    std::optional<char> id_delim;
    bool is_double_id = false;
    std::string pheno, pheno_name;
    bool is_01 = false;
    std::vector<std::string> covar, covar_names, covar_categories;
    bool allow_no_covars = false;

    // Filters.
    std::string keep, remove, extract, exclude;
    std::bitset<23> chromosomes; // by their number
    std::optional<std::int32_t> from_bp, to_bp;
    std::optional<double> maf, geno, mind;

    // Windows.
    sliding_settings windows;
    bool slides_in_regions = false; // --window is given
    std::string regions_file, gene_list, hap_list;
    std::vector<std::string> genes;
    double gene_border_kb = 0;
    std::uint32_t max_snps = 12;

    window_settings test;
    effect_settings effects;

    std::string out = "quilmar-scan";
    std::optional<run_part> part;
    std::string prefix; // of all files: `out`, and the part
    bool is_resumed = false;
    double pfilter = 1;
    unsigned n_threads = 1;
    std::pair<std::string, std::string> exported; // window and prefix; empty for a scan
    bool is_dry_run = false, is_quiet = false;

    // Every option in effect with its value, a line each.
    std::vector<std::string> in_effect;
};

// A file that a run reads, and the option that names it.
struct input_file {
    std::string option, path;
};
std::vector<input_file> input_files(options const& o);
std::vector<std::string> input_paths(options const& o);

// Reads the command line. After --help or --version, whose text goes to the standard output, the
// options are not there. Throws command_line.
std::optional<options> read_command_line(int argc, char const* const* argv);

} // namespace scan

#endif
