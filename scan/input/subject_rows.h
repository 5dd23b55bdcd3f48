// Which subject of the .fam each line of another file is about.
#ifndef QUILMAR_SCAN_INPUT_SUBJECT_ROWS_H
#define QUILMAR_SCAN_INPUT_SUBJECT_ROWS_H

#include "scan/input/subject_table.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace scan {

// Lines match on family and identifier. In a file without families, or where no line matches so, they
// match on identifiers that one subject alone has.
class subject_rows {
  public:
    explicit subject_rows(subject_table const& subjects) : subjects_(subjects) {}

    // The next row; `family` is empty where the file has none.
    void add(std::string_view family, std::string_view id, std::size_t line);

    // The subject of each row, or NOT_FOUND.
    std::vector<std::uint32_t> subjects() const;

    // Throws no_fit with examples of both sides when no row has its subject.
    void require_match(std::string const& path) const;
    // Throws malformed when two rows are about the same subject.
    void require_distinct(std::string const& path) const;

  private:
    struct row {
        std::uint32_t by_both, by_id; // subject, or NOT_FOUND
        std::uint32_t line;
    };

    subject_table const& subjects_;
    std::vector<row> rows_;
    bool has_match_by_both_ = false;
    std::vector<std::string> examples_; // the first three of the file
};

} // namespace scan

#endif
