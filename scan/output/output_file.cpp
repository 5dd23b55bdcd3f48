#include "scan/output/output_file.h"

#include "scan/error.h"
#include "scan/output/signals.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace scan {

namespace {

constexpr char NOTHING_MADE[] = "No table was made; make room and run again.";

bool is_same_file(struct stat const& a, std::string const& b) {
    struct stat info;
    return stat(b.c_str(), &info) == 0 && a.st_dev == info.st_dev && a.st_ino == info.st_ino;
}

[[noreturn]] void cannot_make(std::string const& path, int error) {
    throw failure(open_failed, path + ": cannot be made: " + std::strerror(error) +
                                   ". Check the folder of --out.");
}

std::string folder_of(std::string const& path) {
    std::size_t const slash = path.rfind('/');
    return slash == path.npos ? "." : path.substr(0, slash + 1);
}

// What open() would give a new file.
mode_t usual_mode() {
    mode_t const mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

std::string joined(std::vector<std::string> const& names) {
    std::string all;
    for (std::string const& name : names)
        all += (all.empty() ? "" : ", ") + name;
    return all;
}

} // namespace

void check_target(std::string const& path, std::vector<std::string> const& inputs) {
    if (access(folder_of(path).c_str(), W_OK | X_OK) != 0) cannot_make(path, errno);
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return;
    if (S_ISDIR(info.st_mode))
        throw failure(open_failed, path + ": cannot be made: it is a folder. Change --out.");
    if (std::any_of(inputs.begin(), inputs.end(),
                    [&](std::string const& input) { return is_same_file(info, input); }))
        throw failure(open_failed, path + ": would replace an input of this run. Change --out.");
}

output_file::output_file(std::string const& path, std::vector<std::string> const& inputs)
    : path_(path), temporary_(path + ".tmpXXXXXX"), inputs_(inputs) {
    static mode_t const mode = usual_mode();
    check_target(path, inputs);
    temporary_files held;
    int const descriptor = mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor < 0) cannot_make(path, errno);
    held.add(temporary_);
    is_temporary_ = true;
    fchmod(descriptor, mode);
    file_ = fdopen(descriptor, "w");
    if (file_ != nullptr) return;
    close(descriptor);
    unlink(temporary_.c_str());
    held.remove(temporary_);
    throw std::bad_alloc();
}

output_file::~output_file() {
    if (file_ != nullptr) std::fclose(file_);
    if (!is_temporary_) return;
    temporary_files held;
    unlink(temporary_.c_str());
    held.remove(temporary_);
}

void output_file::fail(std::string const& consequence) const {
    throw failure(write_failed,
                  path_ + ": cannot be written: " + std::strerror(errno) + ".\n" + consequence);
}

void output_file::write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), file_) != text.size()) fail(NOTHING_MADE);
}

void output_file::finish() {
    if (std::fflush(file_) != 0 || fsync(fileno(file_)) != 0) fail(NOTHING_MADE);
    if (std::fclose(std::exchange(file_, nullptr)) != 0) fail(NOTHING_MADE);
}

void output_file::publish(std::vector<output_file*> const& files,
                          std::vector<std::string> const& stale) {
    temporary_files held;
    for (output_file const* file : files)
        check_target(file->path_, file->inputs_);
    for (std::string const& path : stale)
        if (unlink(path.c_str()) != 0 && errno != ENOENT)
            throw failure(write_failed, path + ": is of an earlier run and cannot be removed: " +
                                            std::strerror(errno) + ".\nNo table was made.");
    std::vector<std::string> made;
    for (output_file* file : files) {
        if (std::rename(file->temporary_.c_str(), file->path_.c_str()) != 0)
            file->fail(made.empty() ? "No table was made."
                                    : "Of this run are " + joined(made) +
                                          " alone; do not use them with older ones.");
        held.remove(file->temporary_);
        file->is_temporary_ = false;
        made.push_back(file->path_);
    }
}

} // namespace scan
