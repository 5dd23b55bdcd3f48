// Files that appear under their names when they are whole.
#ifndef QUILMAR_SCAN_OUTPUT_OUTPUT_FILE_H
#define QUILMAR_SCAN_OUTPUT_OUTPUT_FILE_H

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace scan {

// Written under a temporary name beside its own. Unless it is published, it vanishes with the object,
// and also when a signal ends the run.
class output_file {
  public:
    // Throws open_failed where the file cannot be made, or is one of `inputs`.
    output_file(std::string const& path, std::vector<std::string> const& inputs);
    ~output_file();
    output_file(output_file const&) = delete;
    output_file& operator=(output_file const&) = delete;

    // All throw write_failed.
    void write(std::string_view text);
    // Sees that the text is on the disk.
    void finish();
    // Gives the finished file its name.
    void publish();

  private:
    [[noreturn]] void fail() const;

    std::string path_, temporary_;
    std::size_t slot_;
    std::FILE* file_;
};

// From now on SIGHUP, SIGINT, SIGQUIT, SIGTERM and SIGXCPU remove the temporary files and end the
// program with 128 + their number; writing beyond a size limit or to a closed pipe is an error.
void handle_signals();

} // namespace scan

#endif
