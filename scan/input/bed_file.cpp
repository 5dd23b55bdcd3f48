#include "scan/input/bed_file.h"

#include "scan/error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace scan {

namespace {

constexpr std::size_t HEADER = 3;
constexpr std::uint8_t MAGIC[2] = {0x6c, 0x1b}, SNP_BY_SNP = 1;

// Reads up to `size` bytes from an offset; returns how many there were, -1 for an error.
ssize_t read_at(int descriptor, std::uint8_t* bytes, std::size_t size, std::uint64_t offset) {
    std::size_t have = 0;
    while (have < size) {
        ssize_t const got =
            pread(descriptor, bytes + have, size - have, static_cast<off_t>(offset + have));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return -1;
        if (got == 0) break;
        have += static_cast<std::size_t>(got);
    }
    return static_cast<ssize_t>(have);
}

} // namespace

bed_file::bed_file(std::string const& path, std::uint32_t n_snps, std::uint32_t n_subjects)
    : path_(path), row_bytes_((std::size_t{n_subjects} + 3) / 4),
      descriptor_(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
    if (descriptor_ < 0)
        throw failure(open_failed,
                      path + ": cannot be opened: " + std::strerror(errno) + ". Check the path.");
    try {
        check(n_snps, n_subjects);
    } catch (...) {
        close(descriptor_);
        throw;
    }
}

bed_file::bed_file(int descriptor, std::string const& path, std::uint32_t n_subjects)
    : path_(path), row_bytes_((std::size_t{n_subjects} + 3) / 4), descriptor_(descriptor) {}

bed_file::~bed_file() {
    close(descriptor_);
}

void bed_file::check(std::uint32_t n_snps, std::uint32_t n_subjects) const {
    struct stat info;
    if (fstat(descriptor_, &info) != 0 || !S_ISREG(info.st_mode))
        throw failure(open_failed, path_ + ": is no regular file.");
    std::uint8_t start[HEADER] = {};
    ssize_t const got = read_at(descriptor_, start, HEADER, 0);
    if (got < 0)
        throw failure(read_failed, path_ + ": cannot be read: " + std::strerror(errno) + ".");
    bool const is_bed = got == HEADER && std::memcmp(start, MAGIC, sizeof MAGIC) == 0;
    if (is_bed && start[2] == 0)
        throw failure(malformed, path_ + ": is stored subject by subject. "
                                         "Store it SNP by SNP: plink --make-bed.");
    if (!is_bed || start[2] != SNP_BY_SNP)
        throw failure(malformed, path_ + ": is no PLINK 1 .bed: it begins with other bytes than "
                                         "6c 1b 01. Make it with plink2 --make-bed.");
    std::uint64_t const found = static_cast<std::uint64_t>(info.st_size),
                        wanted = HEADER + std::uint64_t{n_snps} * row_bytes_;
    if (found != wanted)
        throw failure(malformed, path_ + ": has " + std::to_string(found) + " bytes, but " +
                                     std::to_string(n_snps) + " SNPs of the .bim and " +
                                     std::to_string(n_subjects) + " subjects of the .fam take " +
                                     std::to_string(wanted) +
                                     ".\nThe three files must be of one "
                                     "study, and whole.");
}

void bed_file::read(std::uint32_t row, std::uint8_t* genotypes, std::uint32_t n_rows) const {
    std::size_t const size = n_rows * row_bytes_;
    ssize_t const got =
        read_at(descriptor_, genotypes, size, HEADER + std::uint64_t{row} * row_bytes_);
    if (got == static_cast<ssize_t>(size)) return;
    std::string const why = got < 0 ? std::strerror(errno) : "it has become shorter";
    std::size_t const whole = got < 0 ? 0 : static_cast<std::size_t>(got) / row_bytes_;
    throw failure(read_failed, path_ + ": SNP " + std::to_string(row + whole + 1) +
                                   " cannot be read: " + why + ".");
}

void bed_file::expect(std::uint32_t row, std::uint32_t n_rows) const {
    // A hint: where it fails, the rows are read when they are needed.
    posix_fadvise(descriptor_, static_cast<off_t>(HEADER + std::uint64_t{row} * row_bytes_),
                  static_cast<off_t>(n_rows * row_bytes_), POSIX_FADV_WILLNEED);
}

} // namespace scan
