// What kept parts were made with: version, options, and the sizes and times of the inputs. A text file
// of lines "name<tab>value".
#ifndef QUILMAR_SCAN_PARTS_RUN_RECORD_H
#define QUILMAR_SCAN_PARTS_RUN_RECORD_H

#include "scan/options.h"

#include <string>
#include <utility>
#include <vector>

namespace scan {

using run_record = std::vector<std::pair<std::string, std::string>>; // name, value

// The record of this run: without the options that change no table, and without the prefix of the
// output. Inputs that are not there have no line; who reads them says so.
run_record record_of(options const& o);
// The part of it that is about the inputs: their sizes and times, or, of what is no regular file
// and cannot be known again, the process.
run_record record_of_inputs(options const& o);

std::string text(run_record const& record);
run_record parse_record(std::string const& text);

// The first entry that differs, as "--window was 5 and is 6"; empty where none does.
std::string difference(run_record const& before, run_record const& now);

} // namespace scan

#endif
