// The windows of a run, computed by several threads and delivered in order.
#ifndef QUILMAR_SCAN_SCAN_WINDOWS_H
#define QUILMAR_SCAN_SCAN_WINDOWS_H

#include "scan/chunk_worker.h"
#include "scan/options.h"
#include "scan/parts/chunk_grid.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace scan {

// Gets a chunk's number and what was computed; called by one thread at a time.
using chunk_receiver = std::function<void(std::size_t, chunk_result const&)>;

// Computes the chunks of these numbers and delivers them in this order, whatever the number of threads.
// Throws what a thread or the receiver met first.
void scan_windows(scan_input const& input, options const& o, chunk_grid const& grid,
                  std::vector<std::size_t> const& chunks, chunk_receiver const& receive);

} // namespace scan

#endif
