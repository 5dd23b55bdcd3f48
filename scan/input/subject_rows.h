// Which subject of the .fam or VCF each line of another file is about.
#ifndef QUILMAR_SCAN_INPUT_SUBJECT_ROWS_H
#define QUILMAR_SCAN_INPUT_SUBJECT_ROWS_H

#include "scan/input/subject_table.h"
#include "scan/output/run_log.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace scan {

// Rows match on family and identifier; where that finds more subjects, those that have no row then match
// on an identifier that one subject alone has. Where either side has no families, all match so.
class subject_rows {
  public:
    // Of the file at `path`. Refers to the subjects.
    subject_rows(subject_table const& subjects, std::string const& path)
        : subjects_(subjects), path_(path) {}

    // The next row; `family` is empty where the file has none.
    void add(std::string_view family, std::string_view id, std::size_t line);

    // The subject of each row, or NOT_FOUND. Tells the log where some are found by identifier alone,
    // and throws no_fit with examples where most of these have another family. One that is 0 or the
    // identifier itself is none.
    std::vector<std::uint32_t> match(run_log& log) const;
    // The same; throws no_fit with examples of both sides when no row has its subject, malformed when
    // two rows are about the same subject.
    std::vector<std::uint32_t> match_each_once(run_log& log) const;
    // Says that no row has its subject, with examples of both sides.
    std::string nobody_found() const;

  private:
    struct row {
        std::uint32_t by_both, by_id; // subject, or NOT_FOUND
        std::uint32_t line;
        bool has_other_family; // than by_id
    };

    [[noreturn]] void fail_with_other_families() const;
    void require_distinct(std::vector<std::uint32_t> const& found) const;
    std::string name(std::uint32_t subject) const;

    subject_table const& subjects_;
    std::string path_;
    std::vector<row> rows_;
    bool has_families_ = false;
    // The first three rows of the file, and of those with other families.
    std::vector<std::string> examples_, other_examples_;
};

} // namespace scan

#endif
