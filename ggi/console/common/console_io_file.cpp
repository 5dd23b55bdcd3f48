// Loading of whole files.
#include "ggi/console/common/console_io.h"

#include "ggi/console/common/console_status.h"
#include "numeric/memory.h"
#include "numeric/status_code.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

// Reads `size` bytes; false when the file ends before or cannot be read.
bool read_all(int file, char* buffer, std::size_t size) {
    while (size > 0) {
        ssize_t const got = read(file, buffer, size);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        buffer += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

// Closes its file at the end, unless that has been done.
struct open_file {
    int descriptor;
    ~open_file() {
        if (descriptor >= 0) ::close(descriptor);
    }
    bool close() { return ::close(std::exchange(descriptor, -1)) == 0; }
};

} // namespace

int get_file(std::string const& path, char*& buffer, int& length) {
    buffer = nullptr;
    length = 0;
    // Not blocking, so that a FIFO without a writer cannot hang the run.
    open_file file{open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)};
    if (file.descriptor < 0) return OPEN_FAILED;
    struct stat info;
    if (fstat(file.descriptor, &info) != 0 || !S_ISREG(info.st_mode) || info.st_size > INT_MAX)
        return READ_FAILED;
    std::size_t const size = static_cast<std::size_t>(info.st_size);
    require_memory(static_cast<double>(size));
    std::unique_ptr<char[]> text(new char[size + 1]);
    use_large_pages(text.get(), size);
    if (!read_all(file.descriptor, text.get(), size)) return READ_FAILED;
    if (!file.close()) return CLOSE_FAILED;
    text[size] = '\0';
    length = static_cast<int>(size);
    buffer = text.release();
    return SUCCESS;
}

std::string base_name(std::string path) {
    if (!path.empty() && path.back() == '/') path.pop_back();
    return path.substr(path.rfind('/') + 1);
}
