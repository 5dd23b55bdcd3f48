#include "scan/scan_windows.h"

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
                          output_file& haplotype_table, output_file* effect_table) {
    std::size_t const n_windows = input.list.windows.size(),
                      size = chunk_size(n_windows, o.n_threads),
                      n_chunks = (n_windows + size - 1) / size,
                      n_threads = std::min<std::size_t>(o.n_threads, n_chunks);
    scan_summary summary;
    std::size_t n_done = 0;
    progress shown(n_windows, o.is_quiet);
    window_table.write(WINDOW_COLUMNS);
    haplotype_table.write(HAPLOTYPE_COLUMNS);
    if (effect_table != nullptr) effect_table->write(effect_columns(o.effects.level));
    ordered_writer<chunk_result> writer(
        [&](chunk_result const& chunk) {
            window_table.write(chunk.window_rows);
            haplotype_table.write(chunk.haplotype_rows);
            if (effect_table != nullptr) effect_table->write(chunk.effect_rows);
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

} // namespace scan
