// The files that a run makes.
#ifndef QUILMAR_SCAN_RESULT_FILES_H
#define QUILMAR_SCAN_RESULT_FILES_H

#include "scan/chunk_worker.h"
#include "scan/options.h"
#include "scan/output/output_file.h"

#include <deque>
#include <string>
#include <vector>

namespace scan {

struct result_table {
    char const* suffix;              // of its name
    std::string columns;             // its header line
    std::string chunk_result::*rows; // what a chunk adds
};

// The tables that a run makes. Whatever deals with tables goes through this list.
std::vector<result_table> tables_of(options const& o);

// Throws open_failed where a file of the run cannot be made, or would replace an input.
void check_targets(options const& o);

// Tables, list of subjects and log, which appear together.
class result_files {
  public:
    // Throws open_failed.
    explicit result_files(options const& o);

    // Throws write_failed.
    void write(chunk_result const& chunk);
    // Files that an earlier run has made and this one does not: what stands beside a new table must
    // not be of an older one.
    std::vector<std::string> stale() const;
    // Removes those, and gives the files their names: the log's at last. Throws open_failed,
    // write_failed.
    void publish(std::string const& subjects, std::string const& log);

  private:
    std::string prefix_;
    std::vector<result_table> tables_;
    std::deque<output_file> files_; // of the tables, then subjects and log
};

} // namespace scan

#endif
