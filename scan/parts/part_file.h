// A kept part: the chunks of a stretch of the grid, one after the other. A chunk is a line with its
// number, the CRC-32 of what follows and the sizes of it: the rows of each table, then the outcome
// of each window.
#ifndef QUILMAR_SCAN_PARTS_PART_FILE_H
#define QUILMAR_SCAN_PARTS_PART_FILE_H

#include "scan/parts/chunk_grid.h"
#include "scan/result_files.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace scan {

// A chunk as it stands in the file.
std::string part_text(std::size_t number, chunk_result const& chunk,
                      std::vector<result_table> const& tables);

class part_reader {
  public:
    part_reader(std::string const& path, std::vector<result_table> const& tables);

    // Reads the chunk that comes next. False where it is not whole, or not the one of this number
    // and of so many windows.
    bool read(std::size_t number, std::size_t n_windows, chunk_result& chunk);
    bool is_at_end() { return stream_.peek() == std::ifstream::traits_type::eof(); }

  private:
    std::vector<result_table> const& tables_;
    std::ifstream stream_;
    std::uintmax_t left_; // bytes of the file that no chunk has claimed
};

enum class part_state { absent, damaged, whole };

// Whether the file holds these chunks, and they alone.
part_state check_part(std::string const& path, chunk_grid const& grid, index_range const& chunks,
                      std::vector<result_table> const& tables);

} // namespace scan

#endif
