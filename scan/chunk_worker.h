// Computes a chunk, a run of neighbouring windows, and makes its rows of the tables.
#ifndef QUILMAR_SCAN_CHUNK_WORKER_H
#define QUILMAR_SCAN_CHUNK_WORKER_H

#include "scan/effects/effect_test.h"
#include "scan/input/bed_file.h"
#include "scan/input/snp_table.h"
#include "scan/options.h"
#include "scan/output/tables.h"
#include "scan/score/null_model.h"
#include "scan/score/window.h"
#include "scan/windows/window_list.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace scan {

// What all windows are computed from.
struct scan_input {
    snp_table const& snps;
    bed_file const& bed;
    window_list const& list;
    std::vector<std::uint32_t> const& subjects; // used ones, index in the .fam
    null_model const& model;
    effect_input const* effects; // null for none
};

// The rows of the tables and, by window, ln P and the code.
struct chunk_result {
    std::string window_rows, haplotype_rows, effect_rows;
    std::vector<double> log_p;
    std::vector<error_code> codes;
};

// Genotypes of the SNPs of a window. Neighbours share SNPs, which are read once: the SNP at place m of
// the windows' members is kept in slot m modulo the number of slots.
class window_genotypes {
  public:
    window_genotypes(scan_input const& input, std::uint32_t most_snps);

    std::vector<std::uint8_t const*> const& rows(window const& w);

  private:
    static constexpr std::uint32_t NONE = ~std::uint32_t{0};

    scan_input const& input_;
    std::uint32_t most_snps_;
    std::vector<std::uint32_t> place_; // of the SNP in a slot
    std::vector<std::uint8_t> slots_;
    std::vector<std::uint8_t const*> rows_;
};

// One per thread; owns all work arrays, and refers to input and options.
class chunk_worker {
  public:
    chunk_worker(scan_input const& input, options const& o);

    // The windows from `first` to before `end`. Throws read_failed.
    chunk_result run(std::size_t first, std::size_t end);

  private:
    void compute(window const& w);
    void estimate_effects(std::size_t w, chunk_result& result);

    scan_input const& input_;
    options const& options_;
    window_genotypes genotypes_;
    window_test test_;
    std::optional<effect_test> effects_;
    table_rows tables_;
    window_row row_;
    effect_result effect_result_;
};

// Bytes that one worker takes for the genotypes of a window and for its work.
double bytes_per_thread(std::size_t n_subjects, std::size_t n_columns, std::size_t row_bytes,
                        std::uint32_t most_snps);

} // namespace scan

#endif
