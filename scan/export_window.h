// One window as an analysis of quilmar: its data file and its variable specification file.
#ifndef QUILMAR_SCAN_EXPORT_WINDOW_H
#define QUILMAR_SCAN_EXPORT_WINDOW_H

#include "scan/options.h"
#include "scan/output/run_log.h"

namespace scan {

// Computes the window o.exported.first and writes, under the prefix o.exported.second, .txt, the subjects that its test used
// with status, SNPs and the columns of the null model's covariates, and .spec, which asks for the
// effect of each tested haplotype but the most frequent one. Throws no_fit for a window that is not
// there or there twice, nothing_to_do for one without numbers.
void export_window(options const& o, run_log& log);

} // namespace scan

#endif
