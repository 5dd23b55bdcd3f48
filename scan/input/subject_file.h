// Files with a header line and one subject a line: phenotypes and covariates.
#ifndef QUILMAR_SCAN_INPUT_SUBJECT_FILE_H
#define QUILMAR_SCAN_INPUT_SUBJECT_FILE_H

#include "scan/input/text_file.h"

#include <string>
#include <string_view>
#include <vector>

namespace scan {

// The header begins with FID IID, #FID IID, IID or #IID; columns are separated by blanks and tabs, or
// by commas where the header has one. All lines have as many columns as the header.
class subject_file {
  public:
    explicit subject_file(std::string const& path);

    // Names of the columns behind the identifiers.
    std::vector<std::string> const& columns() const { return columns_; }
    // Index of the column of this name. Throws no_fit where there is none, malformed for two.
    std::size_t column(std::string const& name) const;

    // Goes to the next subject; false after the last one.
    bool next();
    std::string_view family() const { return has_family_ ? (*fields_)[0] : std::string_view(); }
    std::string_view id() const { return (*fields_)[has_family_ ? 1 : 0]; }
    std::string_view value(std::size_t column) const {
        return (*fields_)[column + (has_family_ ? 2 : 1)];
    }
    text_file const& file() const { return file_; }

  private:
    std::vector<std::string_view> const& split();

    text_file file_;
    bool has_commas_ = false, has_family_ = false;
    std::vector<std::string> columns_;
    std::vector<std::string_view> const* fields_ = nullptr; // of the line
};

} // namespace scan

#endif
