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

// Tables, list of subjects and log, which appear together.
class result_files {
  public:
    // Throws open_failed.
    explicit result_files(options const& o);

    // Both throw write_failed.
    void write(chunk_result const& chunk);
    void publish(std::string const& subjects, std::string const& log);

  private:
    std::vector<result_table> tables_;
    std::deque<output_file> files_; // of the tables, then subjects and log
};

} // namespace scan

#endif
