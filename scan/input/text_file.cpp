#include "scan/input/text_file.h"

#include "scan/error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <htslib/bgzf.h>
#include <htslib/hts_log.h>
#include <sys/stat.h>
#include <unistd.h>

namespace scan {

namespace {

constexpr std::size_t BLOCK = 1 << 16;
constexpr std::size_t LONGEST_LINE = 1 << 24;
constexpr std::string_view BLANKS = " \t";

[[noreturn]] void cannot_open(std::string const& path, std::string const& why) {
    throw failure(open_failed, path + ": cannot be opened: " + why + ". Check the path.");
}

} // namespace

int open_for_reading(std::string const& path) {
    int const descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) cannot_open(path, std::strerror(errno));
    struct stat info;
    bool const is_known = fstat(descriptor, &info) == 0;
    if (is_known && !S_ISDIR(info.st_mode)) {
        fcntl(descriptor, F_SETFL, 0);
        return descriptor;
    }
    close(descriptor);
    cannot_open(path, is_known ? "it is a folder" : "its state cannot be read");
}

namespace {

std::string_view trimmed(std::string_view text) {
    std::size_t const first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

} // namespace

void text_file::closer::operator()(BGZF* open_file) const {
    bgzf_close(open_file);
}

text_file::text_file(std::string const& path) : name_(path), block_(BLOCK) {
    hts_set_log_level(HTS_LOG_OFF);
    int const descriptor = open_for_reading(path);
    file_.reset(bgzf_dopen(descriptor, "r"));
    if (!file_) {
        close(descriptor);
        throw failure(read_failed, path + ": cannot be read.");
    }
    if (bgzf_compression(file_.get()) == 2 && bgzf_check_EOF(file_.get()) == 0)
        throw failure(read_failed, path + ": is cut short: its compressed text has no end. "
                                          "Copy or make the file again.");
}

bool text_file::fill() {
    ssize_t const got = bgzf_read(file_.get(), block_.data(), BLOCK);
    if (got < 0)
        throw failure(read_failed, name_ + ": cannot be read after line " + std::to_string(lines_) +
                                       ": it is damaged or cut short. Copy or make it again.");
    begin_ = 0;
    end_ = static_cast<std::size_t>(got);
    return got > 0;
}

bool text_file::read_line() {
    text_.clear();
    bool is_whole = false;
    while (!is_whole && (begin_ < end_ || fill())) {
        char const* const start = block_.data() + begin_;
        void const* const newline = std::memchr(start, '\n', end_ - begin_);
        is_whole = newline != nullptr;
        std::size_t const length =
            is_whole ? static_cast<std::size_t>(static_cast<char const*>(newline) - start)
                     : end_ - begin_;
        text_.append(start, length);
        begin_ += length + is_whole;
        if (text_.size() > LONGEST_LINE) break;
    }
    if (!is_whole && text_.empty()) return false;
    ++lines_;
    if (text_.size() > LONGEST_LINE) fail("the line has more than 16 MiB: this is no text file.");
    if (text_.find('\0') != std::string::npos) fail("holds a zero byte: this is no text file.");
    if (lines_ == 1 && text_.compare(0, 3, "\xEF\xBB\xBF") == 0) text_.erase(0, 3);
    if (!text_.empty() && text_.back() == '\r') text_.pop_back();
    return true;
}

bool text_file::next() {
    while (read_line())
        if (text_.find_first_not_of(BLANKS) != std::string::npos) return true;
    return false;
}

std::vector<std::string_view> const& text_file::fields() {
    parts_.clear();
    std::string_view const all = text_;
    std::size_t at = all.find_first_not_of(BLANKS);
    while (at != std::string_view::npos) {
        std::size_t const after = all.find_first_of(BLANKS, at);
        parts_.push_back(all.substr(at, after - at));
        at = all.find_first_not_of(BLANKS, after);
    }
    return parts_;
}

std::vector<std::string_view> const& text_file::comma_fields() {
    parts_.clear();
    std::string_view rest = text_;
    for (std::size_t comma; (comma = rest.find(',')) != std::string_view::npos;) {
        parts_.push_back(trimmed(rest.substr(0, comma)));
        rest.remove_prefix(comma + 1);
    }
    parts_.push_back(trimmed(rest));
    return parts_;
}

void text_file::fail(std::string const& what) const {
    throw failure(malformed, name_ + ":" + std::to_string(lines_) + ": " + what);
}

} // namespace scan
