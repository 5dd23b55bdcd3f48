// A scan that keeps its finished parts, so that a later run takes them up.
#ifndef QUILMAR_SCAN_PARTS_KEPT_SCAN_H
#define QUILMAR_SCAN_PARTS_KEPT_SCAN_H

#include "scan/output/run_log.h"
#include "scan/parts/part_folder.h"
#include "scan/scan_windows.h"

namespace scan {

// As scan_chunks for a range of chunks. They are computed into at most 100 files of the folder; those
// that are there already are taken, and the log says which. Then all are read and delivered in order.
void scan_kept(scan_input const& input, options const& o, chunk_grid const& grid,
               index_range const& chunks, part_folder const& folder, run_log& log,
               chunk_receiver const& receive);

} // namespace scan

#endif
