// Lines and fields of text files: plain, gzip or bgzip.
#ifndef QUILMAR_SCAN_INPUT_TEXT_FILE_H
#define QUILMAR_SCAN_INPUT_TEXT_FILE_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct BGZF;

namespace scan {

// The descriptor of a file that can be read without waiting for somebody to open its other end.
// Throws open_failed.
int open_for_reading(std::string const& path);

// A text file that is read line by line. Lines end in LF or CRLF, the last one also without; a byte
// order mark is skipped. Throws open_failed, read_failed (also for compressed text that is cut
// short) and malformed (a zero byte, a line of more than 16 MiB).
class text_file {
  public:
    explicit text_file(std::string const& path);

    // Goes to the next line that is not blank; false after the last one.
    bool next();
    std::string_view line() const { return text_; }
    // Number of the line, from 1.
    std::size_t number() const { return lines_; }
    std::string const& path() const { return name_; }

    // Fields of the line, separated by blanks and tabs.
    std::vector<std::string_view> const& fields();
    // Fields between commas, without the blanks around them; a field may be empty.
    std::vector<std::string_view> const& comma_fields();

    // "name:line: what" as malformed.
    [[noreturn]] void fail(std::string const& what) const;

  private:
    bool read_line();
    bool fill();

    std::string name_;
    struct closer {
        void operator()(BGZF* file) const;
    };
    std::unique_ptr<BGZF, closer> file_;
    std::vector<char> block_;
    std::size_t begin_ = 0, end_ = 0; // what is left of the block
    std::string text_;
    std::size_t lines_ = 0;
    std::vector<std::string_view> parts_;
};

} // namespace scan

#endif
