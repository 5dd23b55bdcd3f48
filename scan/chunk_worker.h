// Computes runs of neighbouring windows, and makes their rows of the tables.
#ifndef QUILMAR_SCAN_CHUNK_WORKER_H
#define QUILMAR_SCAN_CHUNK_WORKER_H

#include "scan/effects/effect_test.h"
#include "scan/input/bed_file.h"
#include "scan/input/snp_table.h"
#include "scan/options.h"
#include "scan/output/tables.h"
#include "scan/parts/chunk_grid.h"
#include "scan/score/block_counter.h"
#include "scan/score/null_model.h"
#include "scan/score/window.h"
#include "scan/windows/window_list.h"
#include "scan/windows/window_rows.h"

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
    std::vector<std::uint32_t> const& subjects; // used ones, index in the .fam, increasing
    null_model const& model;
    effect_input const* effects; // null for none
};

// What is known of all windows together: numbers of a window_row.
struct window_outcome {
    error_code code = error_code::none;
    unsigned df = 0;
    double chisq = NOT_COMPUTED, log_p = NOT_COMPUTED, top_log_p_bonferroni = NOT_COMPUTED;
    // Haplotypes whose p-value is the normal one because they have no saddle point.
    unsigned n_no_saddle_point = 0;
    // Does a window with a P leave out over a tenth more of one group than of the other?
    bool is_unequal = false;
};

// The rows of the tables and what came of each window.
struct chunk_result {
    std::string window_rows, haplotype_rows, lead_rows, effect_rows;
    std::vector<window_outcome> outcomes;
    std::size_t n_with_effects = 0; // windows
};

// Neighbouring windows that are computed together.
struct window_run {
    index_range windows;
    bool has_effects; // of those whose P is small enough
};

// One per thread; owns all work arrays, and refers to input and options.
class chunk_worker {
  public:
    chunk_worker(scan_input const& input, options const& o);

    // Throws read_failed.
    chunk_result run(window_run const& windows);
    // The numbers of one window. Throws read_failed.
    window_row const& compute_one(std::size_t w);

  private:
    // A run of the windows' members whose genotypes are counted together.
    struct window_block {
        std::uint32_t first, end, most_end;
    };

    scan_input const& input_;
    options const& options_;
    window_rows rows_;
    block_counter counter_;
    genotype_table genotypes_;
    window_test test_;
    std::optional<effect_test> effects_;
    double n_cases_, n_controls_; // of the run
    table_rows tables_;
    std::vector<window_block> blocks_;
    std::vector<std::size_t> block_of_; // by window from the first of the blocks on
    std::vector<std::vector<genotype_row>> block_rows_;
    window_row row_;
    std::vector<genotype_row> effect_rows_;
    effect_result effect_result_;

    error_code check(window const& w) const;
    std::size_t form_blocks(std::size_t first, std::size_t end);
    void count_blocks();
    void compute(window const& w, std::size_t block);
    void append(std::size_t w, bool has_effects, chunk_result& result);
    bool leaves_out_unequally() const;
    void estimate_effects(std::size_t w, chunk_result& result);
};

// Bytes that one worker takes for the genotypes of its windows and for its work; n_columns are those
// of the design, `longest` the SNPs of the longest window.
double bytes_per_thread(std::size_t n_subjects, std::size_t n_columns, std::size_t row_bytes,
                        std::uint32_t longest);

} // namespace scan

#endif
