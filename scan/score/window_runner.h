// Tests of windows given by the rows of their SNPs, one at a time.
#ifndef QUILMAR_SCAN_SCORE_WINDOW_RUNNER_H
#define QUILMAR_SCAN_SCORE_WINDOW_RUNNER_H

#include "scan/score/block_counter.h"
#include "scan/score/window.h"

#include <cstdint>
#include <vector>

namespace scan {

class window_runner {
  public:
    // Refers to model and sample, the index in the .fam of every subject of the model, increasing.
    window_runner(null_model const& model, std::vector<std::uint32_t> const& sample,
                  window_settings const& settings)
        : settings_(settings), counter_(model, sample), genotypes_(model),
          test_(model, genotypes_, settings) {}

    // rows: of up to genotype_block::MAX_SNPS SNPs.
    void run(std::vector<genotype_row> const& rows, window_row& result) {
        auto const n = static_cast<unsigned>(rows.size());
        counter_.count({rows});
        counter_.make_window(0, 0, n, static_cast<unsigned>(settings_.window_mind * n), genotypes_);
        test_.run(result);
    }

  private:
    window_settings settings_;
    block_counter counter_;
    genotype_table genotypes_;
    window_test test_;
};

} // namespace scan

#endif
