#include "scan/parts/part_folder.h"

#include "scan/error.h"
#include "scan/output/output_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/file.h>
#include <unistd.h>
#include <vector>

namespace scan {

namespace {

namespace fs = std::filesystem;

char const* const RECORD = "record";

std::vector<std::string> names_in(std::string const& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (auto const& entry : fs::directory_iterator(folder, error))
        names.push_back(entry.path().filename());
    return names;
}

bool is_part(std::string const& name) {
    return name.find_first_not_of("0123456789") == name.npos;
}

// Whether runs make a file of this name.
bool is_own(std::string const& name) {
    return name == RECORD || is_part(name);
}

} // namespace

part_folder::part_folder(options const& o) : path_(o.prefix + ".parts") {
    std::string const& path = path_;
    std::error_code error;
    fs::create_directory(path, error);
    lock_ = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock_ < 0)
        throw failure(open_failed, path + ": cannot be made: " + std::strerror(errno) +
                                       ". Check the folder of --out.");
    // Where the file system knows no locks, users see to it themselves.
    if (flock(lock_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        close(lock_);
        throw failure(open_failed, path + ": another run is at work on it. Change --out.");
    }
    try {
        check_inputs(input_paths(o));
        remove_temporary_files();
        check_record(record_of(o));
    } catch (...) {
        close(lock_);
        throw;
    }
}

part_folder::~part_folder() {
    close(lock_);
}

std::string part_folder::file(std::size_t part) const {
    std::string const digits = std::to_string(part);
    return path_ + "/" + std::string(digits.size() < 3 ? 3 - digits.size() : 0, '0') + digits;
}

// The run writes and removes files there.
void part_folder::check_inputs(std::vector<std::string> const& inputs) const {
    for (std::string const& input : inputs) {
        std::error_code error;
        fs::path const folder = fs::canonical(input, error).parent_path();
        if (!error && fs::equivalent(folder, path_, error))
            throw failure(open_failed, input + ": is an input in the folder of the kept parts. "
                                               "Change --out.");
    }
}

void part_folder::remove_temporary_files() const {
    std::error_code error;
    for (std::string const& name : names_in(path_)) {
        std::size_t const end = name.find(".tmp");
        if (end != name.npos && is_own(name.substr(0, end))) fs::remove(path_ + "/" + name, error);
    }
}

void part_folder::check_record(run_record const& record) const {
    std::string const file = path_ + "/" + RECORD;
    std::vector<std::string> const names = names_in(path_);
    if (!names.empty() && std::find(names.begin(), names.end(), RECORD) == names.end())
        throw failure(open_failed, path_ + ": holds no kept parts. Change --out.");
    if (std::none_of(names.begin(), names.end(), is_part)) {
        output_file made(file, {});
        made.write(text(record));
        made.finish();
        output_file::publish({&made});
        return;
    }
    if (!fs::is_regular_file(file))
        throw failure(open_failed, file + ": is no regular file. Remove the folder.");
    std::ifstream stream(file);
    std::string const kept{std::istreambuf_iterator<char>(stream), {}};
    std::string const differs = difference(parse_record(kept), record);
    if (!differs.empty())
        throw failure(no_fit, path_ + ": holds parts of a different run: " + differs +
                                  ".\nRun as before to go on with them, or remove the folder to "
                                  "begin anew.");
}

void part_folder::remove() {
    std::error_code error;
    for (std::string const& name : names_in(path_))
        if (is_own(name)) fs::remove(path_ + "/" + name, error);
    fs::remove(path_, error);
}

} // namespace scan
