// Tests of windows given by the rows of their SNPs, one at a time.
#ifndef QUILMAR_TESTS_WINDOW_RUNNER_H
#define QUILMAR_TESTS_WINDOW_RUNNER_H

#include "scan/score/block_counter.h"
#include "scan/score/window.h"

#include <cstdint>
#include <vector>

class window_runner {
  public:
    // Refers to model and sample.
    window_runner(scan::null_model const& model, std::vector<std::uint32_t> const& sample,
                  scan::window_settings const& settings)
        : settings_(settings), counter_(model, sample), genotypes_(model),
          test_(model, genotypes_, settings) {}

    void run(std::vector<scan::genotype_row> const& rows, scan::window_row& result) {
        auto const n = static_cast<unsigned>(rows.size());
        counter_.count({rows});
        counter_.make_window(0, 0, n, static_cast<unsigned>(settings_.window_mind * n), genotypes_);
        test_.run(result);
    }

  private:
    scan::window_settings settings_;
    scan::block_counter counter_;
    scan::genotype_table genotypes_;
    scan::window_test test_;
};

#endif
