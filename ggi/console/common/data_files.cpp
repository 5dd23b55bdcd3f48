// Checks of the data path and listing of a directory.
#include "ggi/console/common/data_files.h"

#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

std::string indata;

namespace {

constexpr int NOTHING_TO_READ = 0; // exit status

bool can_open(std::string const& path) {
    int const file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file >= 0) close(file);
    return file >= 0;
}

std::vector<std::string> list_directory(std::string const& path) {
    dirent** entries = nullptr;
    int const n = scandir(path.c_str(), &entries, filter, alphasort);
    if (n < 0 && errno == ENOMEM) throw std::bad_alloc();
    auto const release = [n](dirent** list) {
        std::for_each(list, list + n, std::free);
        std::free(list);
    };
    std::unique_ptr<dirent*, decltype(release)> const owner(entries, release);
    std::vector<std::string> names;
    for (int i = 0; i < n; ++i)
        names.emplace_back(entries[i]->d_name);
    return names;
}

// Prints what keeps a directory entry from being read; SUCCESS when nothing does.
int check_entry(std::string const& name) {
    std::string const path = indata + name;
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return console_status(NOT_FOUND, path, "");
    if (!S_ISREG(info.st_mode) || (info.st_mode & S_IRUSR) == 0)
        return console_status(NO_READ_FILE, path, "");
    return can_open(path) ? static_cast<int>(SUCCESS) : console_status(OPEN_FAILED, name, "data");
}

int list_entries(data_files& files) {
    if (indata.back() != '/') indata += '/';
    files.is_directory = true;
    files.names = list_directory(indata);
    if (files.names.empty()) {
        console_status(EMPTY_DIRECTORY, indata, "");
        return NOTHING_TO_READ;
    }
    std::size_t failures = 0;
    for (auto name = files.names.rbegin(); name != files.names.rend(); ++name)
        failures += check_entry(*name) != SUCCESS;
    return failures < files.names.size() ? static_cast<int>(SUCCESS) : NOTHING_TO_READ;
}

} // namespace

int filter(dirent const* entry) {
    struct stat info;
    return !is_temporary_name(entry->d_name) &&
           stat((indata + entry->d_name).c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

int list_data_files(std::string const& path, data_files& files) {
    indata = path;
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return console_status(NOT_FOUND, path, "");
    bool const readable = (info.st_mode & S_IRUSR) != 0;
    if (S_ISDIR(info.st_mode))
        return readable && access(path.c_str(), R_OK | X_OK) == 0
                   ? list_entries(files)
                   : console_status(NO_READ_DIRECTORY, path, "");
    if (!S_ISREG(info.st_mode) || !readable) return console_status(NO_READ_FILE, path, "");
    if (!can_open(path)) return console_status(OPEN_FAILED, path, "data");
    files.is_directory = false;
    files.names = {path};
    return SUCCESS;
}
