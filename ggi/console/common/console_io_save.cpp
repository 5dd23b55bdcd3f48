// Saving of a report: under a temporary name, then renamed, so that what stands under the final
// name is whole.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int MAX_LINKS = 40;

bool is_same_file(std::string const& path, struct stat const& info) {
    struct stat other;
    return stat(path.c_str(), &other) == 0 && other.st_dev == info.st_dev &&
           other.st_ino == info.st_ino;
}

// Where a path leads that may be a link, also to a file that is not there yet.
std::string link_target(std::string path) {
    std::error_code error;
    for (int links = 0; links < MAX_LINKS && fs::is_symlink(path, error); ++links)
        path = fs::path(path).parent_path() / fs::read_symlink(path, error);
    return path;
}

mode_t new_file_mode() {
    mode_t const mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

// Writes the text and closes the file. Allocates nothing.
int write_and_close(int file, std::string const& text) {
    char const* at = text.data();
    std::size_t left_over = text.size();
    while (left_over > 0) {
        ssize_t const written = write(file, at, left_over);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) break;
        at += written;
        left_over -= static_cast<std::size_t>(written);
    }
    return close(file) == 0 && left_over == 0 ? 1 : CLOSE_FAILED;
}

// A device or a FIFO. Opening a FIFO without a reader fails; one that reads slowly is waited for.
int write_in_place(std::string const& path, std::string const& text) {
    int const file = open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) return OPEN_FAILED;
    fcntl(file, F_SETFL, 0);
    return write_and_close(file, text);
}

int replace_file(std::string const& path, std::string const& text, mode_t mode) {
    std::string temporary = path.substr(0, path.rfind('/') + 1) + ".quilmar-XXXXXX";
    // A signal that ends the run waits until the temporary file is gone.
    sigset_t all, before;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &before);
    int const file = mkstemp(&temporary[0]);
    int status = OPEN_FAILED;
    if (file >= 0) {
        fchmod(file, mode);
        status = write_and_close(file, text);
        if (status == 1 && std::rename(temporary.c_str(), path.c_str()) != 0) status = CLOSE_FAILED;
        if (status != 1) unlink(temporary.c_str());
    }
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return status;
}

} // namespace

int save_text(std::string const& output, std::string const& text, std::string const& data_path,
              std::string const& spec_path) {
    struct stat info;
    bool const exists = stat(output.c_str(), &info) == 0;
    if (!exists && errno != ENOENT) return OPEN_FAILED;
    if (!exists) return replace_file(link_target(output), text, new_file_mode());
    if (is_same_file(data_path, info) || is_same_file(spec_path, info)) return OPEN_FAILED;
    if (!S_ISREG(info.st_mode)) return write_in_place(output, text);
    if (access(output.c_str(), W_OK) != 0) return OPEN_FAILED;
    return replace_file(link_target(output), text, info.st_mode & 0777);
}
