// The table of lead windows, and their effects.
#ifndef QUILMAR_SCAN_SCAN_LEADS_H
#define QUILMAR_SCAN_SCAN_LEADS_H

#include "scan/leads.h"
#include "scan/output/run_log.h"
#include "scan/result_files.h"

namespace scan {

// Computes the leads of the windows found once more and writes their rows, with effects, unless others
// are wanted, of the 1,000 with the smallest P. The log says how many there are, and who has no effects.
// Throws as scan_windows does.
void scan_leads(scan_input const& input, options const& o, lead_finder const& found,
                result_files& files, run_log& log);

} // namespace scan

#endif
