#include "scan/scan_windows.h"

#include "scan/output/ordered_writer.h"
#include "scan/output/progress.h"

#include <algorithm>
#include <atomic>
#include <system_error>
#include <thread>

namespace scan {

void scan_chunks(scan_input const& input, options const& o, chunk_grid const& grid,
                 std::vector<std::size_t> const& chunks, chunk_receiver const& receive) {
    std::vector<window_run> runs;
    for (std::size_t const c : chunks)
        runs.push_back({grid.windows({c, c + 1}), o.effects.windows == effect_windows::most_p});
    scan_windows(input, o, runs, "window",
                 [&](std::size_t i, chunk_result const& chunk) { receive(chunks[i], chunk); });
}

void scan_windows(scan_input const& input, options const& o, std::vector<window_run> const& runs,
                  char const* kind, chunk_receiver const& receive) {
    std::size_t n_windows = 0, n_delivered = 0;
    for (window_run const& run : runs)
        n_windows += run.windows.size();
    progress shown(n_windows, kind, o.is_quiet);
    std::size_t const n_threads = std::min<std::size_t>(o.n_threads, runs.size());
    ordered_writer<chunk_result> writer(
        [&](chunk_result const& chunk) {
            receive(n_delivered++, chunk);
            std::size_t n_failed = 0;
            for (window_outcome const& outcome : chunk.outcomes)
                n_failed += outcome.code != error_code::none;
            shown.add(chunk.outcomes.size(), n_failed, chunk.n_with_effects);
        },
        4 * n_threads);

    std::atomic<std::size_t> next{0};
    auto const work = [&] {
        try {
            chunk_worker worker(input, o);
            for (std::size_t i; (i = next++) < runs.size();)
                if (!writer.put(i, worker.run(runs[i]))) return;
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
