#include "scan/scan_windows.h"

#include "scan/output/ordered_writer.h"
#include "scan/output/progress.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>

namespace scan {

void scan_windows(scan_input const& input, options const& o, chunk_grid const& grid,
                  std::vector<std::size_t> const& chunks, chunk_receiver const& receive) {
    std::size_t n_windows = 0, n_done = 0, n_failed = 0, n_delivered = 0;
    for (std::size_t const c : chunks)
        n_windows += grid.windows({c, c + 1}).size();
    progress shown(n_windows, o.is_quiet);
    std::size_t const n_threads = std::min<std::size_t>(o.n_threads, chunks.size());
    ordered_writer<chunk_result> writer(
        [&](chunk_result const& chunk) {
            receive(chunks[n_delivered++], chunk);
            n_done += chunk.outcomes.size();
            for (window_outcome const& outcome : chunk.outcomes)
                n_failed += outcome.code != error_code::none;
            shown.update(n_done, n_failed);
        },
        4 * n_threads);

    std::atomic<std::size_t> next{0};
    auto const work = [&] {
        try {
            chunk_worker worker(input, o);
            for (std::size_t i; (i = next++) < chunks.size();) {
                index_range const windows = grid.windows({chunks[i], chunks[i] + 1});
                if (!writer.put(i, worker.run(windows.first, windows.end))) return;
            }
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
}

} // namespace scan
