// Files that appear under their names when they are whole.
#ifndef QUILMAR_SCAN_OUTPUT_OUTPUT_FILE_H
#define QUILMAR_SCAN_OUTPUT_OUTPUT_FILE_H

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace scan {

// Throws open_failed where no file can be made at `path`, or where it is one of `inputs`.
void check_target(std::string const& path, std::vector<std::string> const& inputs);

// Written under a new name beside its own. Unless it is published, it vanishes with the object, and
// also when a signal ends the run.
class output_file {
  public:
    // As check_target.
    output_file(std::string const& path, std::vector<std::string> const& inputs);
    ~output_file();
    output_file(output_file const&) = delete;
    output_file& operator=(output_file const&) = delete;

    std::string const& path() const { return path_; }

    // Both throw write_failed.
    void write(std::string_view text);
    // Sees that the text is on the disk.
    void finish();

    // Gives finished files their names, in this order, after it has removed the files `stale`.
    // Throws open_failed before it does anything where a file cannot get its name; else
    // write_failed, which says what has been done.
    static void publish(std::vector<output_file*> const& files,
                        std::vector<std::string> const& stale = {});

  private:
    [[noreturn]] void fail(std::string const& consequence) const;

    std::string path_, temporary_;
    std::vector<std::string> inputs_;
    std::FILE* file_ = nullptr;
    bool is_temporary_ = false;
};

} // namespace scan

#endif
