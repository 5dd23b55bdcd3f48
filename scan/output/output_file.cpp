#include "scan/output/output_file.h"

#include "scan/error.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace scan {

namespace {

// Names of temporary files for the signal handler, which can neither lock nor allocate.
constexpr std::size_t MOST_FILES = 8;
char temporary_names[MOST_FILES][PATH_MAX];
std::atomic<bool> is_taken[MOST_FILES];

std::size_t remember(std::string const& name) {
    std::size_t slot = 0;
    while (is_taken[slot])
        ++slot;
    if (name.size() >= PATH_MAX) throw failure(open_failed, name + ": its name is too long.");
    std::strcpy(temporary_names[slot], name.c_str());
    is_taken[slot] = true;
    return slot;
}

extern "C" void remove_and_exit(int signal) {
    for (std::size_t slot = 0; slot < MOST_FILES; ++slot)
        if (is_taken[slot]) unlink(temporary_names[slot]);
    _exit(128 + signal);
}

bool is_same_file(struct stat const& a, std::string const& b) {
    struct stat info;
    return stat(b.c_str(), &info) == 0 && a.st_dev == info.st_dev && a.st_ino == info.st_ino;
}

void check_target(std::string const& path, std::vector<std::string> const& inputs) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return;
    if (S_ISDIR(info.st_mode))
        throw failure(open_failed, path + ": cannot be made: it is a folder. Change --out.");
    if (std::any_of(inputs.begin(), inputs.end(),
                    [&](std::string const& input) { return is_same_file(info, input); }))
        throw failure(open_failed, path + ": would replace an input of this run. Change --out.");
}

} // namespace

void handle_signals() {
    struct sigaction action = {};
    action.sa_handler = remove_and_exit;
    sigfillset(&action.sa_mask);
    for (int const signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGXCPU}) {
        struct sigaction before;
        // What is ignored stays ignored, as nohup asks.
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            sigaction(signal, &action, nullptr);
    }
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
}

output_file::output_file(std::string const& path, std::vector<std::string> const& inputs)
    : path_(path), temporary_(path + ".tmp" + std::to_string(getpid())) {
    check_target(path, inputs);
    slot_ = remember(temporary_);
    file_ = std::fopen(temporary_.c_str(), "we");
    if (file_ != nullptr) return;
    is_taken[slot_] = false;
    throw failure(open_failed, path + ": cannot be made: " + std::strerror(errno) +
                                   ". Check the folder of --out.");
}

output_file::~output_file() {
    if (file_ != nullptr) std::fclose(file_);
    if (is_taken[slot_]) unlink(temporary_.c_str());
    is_taken[slot_] = false;
}

void output_file::fail() const {
    throw failure(write_failed, path_ + ": cannot be written: " + std::strerror(errno) +
                                    ".\nNo table was made; make room and run again.");
}

void output_file::write(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), file_) != text.size()) fail();
}

void output_file::finish() {
    if (std::fflush(file_) != 0 || fsync(fileno(file_)) != 0) fail();
    if (std::fclose(std::exchange(file_, nullptr)) != 0) fail();
}

void output_file::publish() {
    if (std::rename(temporary_.c_str(), path_.c_str()) != 0) fail();
    is_taken[slot_] = false;
}

} // namespace scan
