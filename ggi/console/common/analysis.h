// The whole analysis of one data file, from reading it to its report.
#ifndef QUILMAR_CONSOLE_ANALYSIS_H
#define QUILMAR_CONSOLE_ANALYSIS_H

#include "ggi/console/common/variable.h"
#include "ggi/structures.h"

// Analyses the data file at `path` and writes its report to `output`. `name` is what messages call
// the file; frequency is the run's, empty at first: its table of 2^L values for the L loci of all
// genes, which all files share, is made for the first file that can be read. Every message is printed, everything of this file is released, memory
// running out included. A disequilibrium parameter that is estimated at zero sets v.hw to
// equilibrium, for the files to come as well.
void analyse_file(std::string const& name, std::string const& path, std::string const& output,
                  variable& v, result& frequency);

#endif
