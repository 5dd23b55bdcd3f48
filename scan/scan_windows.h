// The windows of a run, computed by several threads and delivered in order.
#ifndef QUILMAR_SCAN_SCAN_WINDOWS_H
#define QUILMAR_SCAN_SCAN_WINDOWS_H

#include "scan/chunk_worker.h"
#include "scan/options.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace scan {

// Gets a number and what was computed; called by one thread at a time.
using chunk_receiver = std::function<void(std::size_t, chunk_result const&)>;

// Computes chunks and delivers them with these numbers and in this order, whatever the number of
// threads; with effects unless leads alone get them. Throws what a thread or the receiver met first.
void scan_chunks(scan_input const& input, options const& o, chunk_grid const& grid,
                 std::vector<std::size_t> const& chunks, chunk_receiver const& receive);

// Computes any runs of windows and delivers them with their place in the list; `kind` of windows, for
// the line of progress. Throws likewise.
void scan_windows(scan_input const& input, options const& o, std::vector<window_run> const& runs,
                  char const* kind, chunk_receiver const& receive);

} // namespace scan

#endif
