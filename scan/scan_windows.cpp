#include "scan/scan_windows.h"

#include "scan/error.h"
#include "scan/output/ordered_writer.h"
#include "scan/output/progress.h"
#include "scan/output/tables.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numeric>
#include <string>
#include <system_error>
#include <thread>

namespace scan {

namespace {

// Genotypes of the SNPs of a window. Neighbours share SNPs, which are read once: the SNP at place m of
// the windows' members is kept in slot m modulo the number of slots.
class window_genotypes {
  public:
    window_genotypes(scan_input const& input, std::uint32_t most_snps)
        : input_(input), most_snps_(most_snps), place_(most_snps, NONE),
          slots_(most_snps * input.bed.row_bytes()) {}

    std::vector<std::uint8_t const*> const& rows(window const& w) {
        rows_.clear();
        for (std::uint32_t m = w.first; m < w.first + w.n_snps; ++m) {
            std::uint32_t const slot = m % most_snps_;
            std::uint8_t* const row = slots_.data() + slot * input_.bed.row_bytes();
            if (place_[slot] != m) input_.bed.read(input_.snps[input_.list.members[m]].row, row);
            place_[slot] = m;
            rows_.push_back(row);
        }
        return rows_;
    }

  private:
    static constexpr std::uint32_t NONE = ~std::uint32_t{0};

    scan_input const& input_;
    std::uint32_t most_snps_;
    std::vector<std::uint32_t> place_; // of the SNP in a slot
    std::vector<std::uint8_t> slots_;
    std::vector<std::uint8_t const*> rows_;
};

// A run of neighbouring windows.
struct chunk_result {
    std::string window_rows, haplotype_rows;
    std::vector<double> log_p;
    std::vector<error_code> codes;
};

class chunk_worker {
  public:
    chunk_worker(scan_input const& input, options const& o)
        : input_(input), options_(o), genotypes_(input, o.max_snps),
          test_(input.model, input.subjects, o.test), tables_(input.snps, input.list) {}

    chunk_result run(std::size_t first, std::size_t end) {
        chunk_result result;
        for (std::size_t w = first; w < end; ++w) {
            compute(input_.list.windows[w]);
            tables_.append_window(w, row_, result.window_rows);
            if (row_.code == error_code::none && row_.log_p <= std::log(options_.pfilter))
                tables_.append_haplotypes(w, row_, result.haplotype_rows);
            result.log_p.push_back(row_.log_p);
            result.codes.push_back(row_.code);
        }
        return result;
    }

  private:
    void compute(window const& w) {
        row_ = window_row{};
        if (w.n_snps == 0)
            row_.code = error_code::one_haplotype;
        else if (w.n_snps > options_.max_snps)
            row_.code = error_code::too_many_snps;
        else if (w.is_too_long)
            row_.code = error_code::too_long;
        else
            test_.run(genotypes_.rows(w), row_);
    }

    scan_input const& input_;
    options const& options_;
    window_genotypes genotypes_;
    window_test test_;
    table_rows tables_;
    window_row row_;
};

void add(chunk_result const& chunk, scan_summary& summary, std::size_t& n_done) {
    for (std::size_t i = 0; i < chunk.codes.size(); ++i, ++n_done) {
        ++summary.by_code[static_cast<std::size_t>(chunk.codes[i])];
        if (chunk.codes[i] != error_code::none || std::isnan(chunk.log_p[i])) continue;
        summary.log_p.push_back(chunk.log_p[i]);
        if (chunk.log_p[i] >= summary.smallest_log_p) continue;
        summary.smallest = n_done;
        summary.smallest_log_p = chunk.log_p[i];
    }
}

// Windows of a chunk: enough to share their SNPs, few enough to keep all threads busy.
std::size_t chunk_size(std::size_t n_windows, std::size_t n_threads) {
    return std::clamp<std::size_t>(n_windows / (8 * n_threads), 1, 256);
}

} // namespace

std::size_t scan_summary::n_failed() const {
    return std::accumulate(by_code.begin() + 1, by_code.end(), std::size_t{0});
}

scan_summary scan_windows(scan_input const& input, options const& o, output_file& window_table,
                          output_file& haplotype_table) {
    std::size_t const n_windows = input.list.windows.size(),
                      size = chunk_size(n_windows, o.n_threads),
                      n_chunks = (n_windows + size - 1) / size,
                      n_threads = std::min<std::size_t>(o.n_threads, n_chunks);
    scan_summary summary;
    std::size_t n_done = 0;
    progress shown(n_windows, o.is_quiet);
    window_table.write(WINDOW_COLUMNS);
    haplotype_table.write(HAPLOTYPE_COLUMNS);
    ordered_writer<chunk_result> writer(
        [&](chunk_result const& chunk) {
            window_table.write(chunk.window_rows);
            haplotype_table.write(chunk.haplotype_rows);
            add(chunk, summary, n_done);
            shown.update(n_done, summary.n_failed());
        },
        4 * n_threads);

    std::atomic<std::size_t> next{0};
    auto const work = [&] {
        try {
            chunk_worker worker(input, o);
            for (std::size_t c; (c = next++) < n_chunks;)
                if (!writer.put(c, worker.run(c * size, std::min(n_windows, (c + 1) * size))))
                    return;
        } catch (...) {
            writer.fail(std::current_exception());
        }
    };
    std::vector<std::thread> threads;
    try {
        while (threads.size() + 1 < n_threads)
            threads.emplace_back(work);
    } catch (std::system_error const&) {
        // Fewer threads give the same tables.
    }
    work();
    for (std::thread& t : threads)
        t.join();
    writer.check();
    return summary;
}

double bytes_per_thread(std::size_t n_subjects, std::size_t n_columns, std::size_t row_bytes,
                        std::uint32_t most_snps) {
    double const rows = static_cast<double>(most_snps * row_bytes),
                 keys = 8.0 * static_cast<double>(n_subjects),
                 genotypes =
                     std::min(static_cast<double>(n_subjects), std::ldexp(1, 2 * most_snps)),
                 haplotypes = std::ldexp(1, most_snps);
    // A distinct genotype has its key, its masks, its sums and copies of some 20 haplotypes.
    return rows + keys + genotypes * (64 + 8.0 * static_cast<double>(n_columns) + 160) +
           32 * haplotypes;
}

} // namespace scan
