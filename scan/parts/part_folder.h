// PREFIX.parts: the finished parts of a run, and the record of what they were made with.
#ifndef QUILMAR_SCAN_PARTS_PART_FOLDER_H
#define QUILMAR_SCAN_PARTS_PART_FOLDER_H

#include "scan/parts/run_record.h"

#include <cstddef>
#include <string>
#include <vector>

namespace scan {

// Of one run at a time.
class part_folder {
  public:
    // Opens the folder of a run, or makes it. Throws open_failed, also where an input is in it, and
    // no_fit where its record differs.
    explicit part_folder(options const& o);
    ~part_folder();
    part_folder(part_folder const&) = delete;
    part_folder& operator=(part_folder const&) = delete;

    std::string const& path() const { return path_; }
    // The file of a part, numbered from 1.
    std::string file(std::size_t part) const;
    // Removes what runs have made there, and the folder unless something else is in it.
    void remove();

  private:
    void check_inputs(std::vector<std::string> const& inputs) const;
    void remove_temporary_files() const;
    void check_record(run_record const& record) const;

    std::string path_;
    int lock_; // descriptor of the folder
};

} // namespace scan

#endif
