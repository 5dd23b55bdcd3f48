// Loading of whole files.
#include "ggi/console/common/console_io.h"

#include "ggi/console/common/console_status.h"
#include "numeric/memory.h"

#include <cassert>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

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

} // namespace

int get_file(std::string const& path, char*& buffer, int& length) {
    buffer = nullptr;
    length = 0;
    // Not blocking, so that a FIFO without a writer cannot hang the run.
    int const file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file < 0) return OPEN_FAILED;
    int status = READ_FAILED;
    struct stat info;
    if (fstat(file, &info) == 0 && S_ISREG(info.st_mode) && info.st_size <= INT_MAX) {
        std::size_t const size = static_cast<std::size_t>(info.st_size);
        buffer = new (std::nothrow) char[size + 1];
        if (buffer == nullptr) {
            close(file);
            throw std::bad_alloc();
        }
        use_large_pages(buffer, size);
        if (read_all(file, buffer, size)) {
            status = 1;
            buffer[size] = '\0';
            length = static_cast<int>(size);
            assert(length > 0);
        }
    }
    if (close(file) != 0 && status == 1) status = CLOSE_FAILED;
    if (status != 1) {
        delete[] buffer;
        buffer = nullptr;
        length = 0;
    }
    return status;
}

bool is_empty_file(std::string const& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size == 0;
}

std::string base_name(std::string path) {
    if (!path.empty() && path.back() == '/') path.pop_back();
    return path.substr(path.rfind('/') + 1);
}
