// Saving of a report: under a temporary name, then renamed, so that what stands under the final
// name is whole.
//
// Others may write in the directory, too. So it is held open, the links in the place of the report
// are followed one by one from there, and the last step never follows one: what is planted after the
// checks is replaced, or makes the opening fail.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int MAX_LINKS = 40;
constexpr int MAX_NAMES = 100; // temporary ones that are taken
constexpr mode_t NEW_MODE = 0666;
constexpr char PREFIX[] = ".quilmar-";
constexpr char LETTERS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr std::size_t RANDOM_LETTERS = 6;

// To save in a directory it need not be readable.
#if defined O_SEARCH
constexpr int SEARCH = O_SEARCH;
#elif defined O_PATH
constexpr int SEARCH = O_PATH;
#else
constexpr int SEARCH = O_RDONLY;
#endif

// An entry of a directory that is held open.
struct place {
    int directory = AT_FDCWD;
    std::string name;

    place() = default;
    place(place const&) = delete;
    ~place() { leave(); }
    void leave() const {
        if (directory >= 0) close(directory);
    }
    bool look(struct stat& info) const {
        return fstatat(directory, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) == 0;
    }
    int open_for_writing() const {
        // Opening a FIFO without a reader fails.
        return openat(directory, name.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }
};

// Steps from where p is to the directory of the path.
bool step(place& p, std::string const& path) {
    std::size_t const slash = path.rfind('/');
    std::string const parent = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    int const next = openat(p.directory, parent.c_str(), SEARCH | O_DIRECTORY | O_CLOEXEC);
    if (next < 0) return false;
    p.leave();
    p.directory = next;
    p.name = path.substr(slash + 1);
    return true;
}

// Finds where the path leads, which is no link; exists tells whether there is something.
bool find_place(std::string path, place& p, bool& exists) {
    std::string target(PATH_MAX, '\0');
    for (int links = 0; links < MAX_LINKS && step(p, path); ++links) {
        struct stat info;
        exists = p.look(info);
        if (!exists) return errno == ENOENT;
        if (!S_ISLNK(info.st_mode)) return true;
        if (info.st_uid != geteuid()) return false;
        ssize_t const length = readlinkat(p.directory, p.name.c_str(), &target[0], target.size());
        if (length < 0) return false;
        path = target.substr(0, static_cast<std::size_t>(length));
    }
    return false;
}

bool is_input(struct stat const& info, std::set<file_id> const& inputs) {
    return inputs.count({info.st_dev, info.st_ino}) != 0;
}

// From here on nothing is allocated.

bool write_all(int file, std::string_view text) {
    while (!text.empty()) {
        ssize_t const written = write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

int write_and_close(int file, std::initializer_list<std::string_view> text) {
    bool const is_whole = std::all_of(
        text.begin(), text.end(), [file](std::string_view part) { return write_all(file, part); });
    return close(file) == 0 && is_whole ? static_cast<int>(SUCCESS) : CLOSE_FAILED;
}

// Makes a file beside the report with what the mask leaves of the mode, and sets its name. Returns
// its descriptor, or -1.
int make_temporary(place const& p, mode_t mode, char (&name)[sizeof PREFIX + RANDOM_LETTERS]) {
    for (int i = 0; i < MAX_NAMES; ++i) {
        unsigned char random[RANDOM_LETTERS];
        if (getentropy(random, sizeof random) != 0) return -1;
        char* const end = std::copy(PREFIX, PREFIX + sizeof PREFIX - 1, name);
        *std::transform(random, random + RANDOM_LETTERS, end,
                        [](unsigned char r) { return LETTERS[r % (sizeof LETTERS - 1)]; }) = '\0';
        int const file = openat(p.directory, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (file >= 0 || errno != EEXIST) return file;
    }
    return -1;
}

// Did a call fail because the directory permits no change? EBUSY: the report is mounted by itself.
bool is_forbidden() {
    return errno == EACCES || errno == EPERM || errno == EROFS || errno == EBUSY;
}

// Renames the temporary file to the report, unless an input has come there meanwhile.
int take_place(place const& p, char const* temporary, std::set<file_id> const& inputs,
               bool& forbidden) {
    struct stat info;
    if (p.look(info) && is_input(info, inputs)) return OPEN_FAILED;
    if (renameat(p.directory, temporary, p.directory, p.name.c_str()) == 0) return SUCCESS;
    forbidden = is_forbidden();
    return OPEN_FAILED;
}

// Puts a new file in the place; forbidden tells whether the directory did not permit it.
int put_file(place const& p, mode_t mode, std::initializer_list<std::string_view> text,
             std::set<file_id> const& inputs, bool& forbidden) {
    char temporary[sizeof PREFIX + RANDOM_LETTERS];
    int const file = make_temporary(p, mode, temporary);
    forbidden = file < 0 && is_forbidden();
    if (file < 0) return OPEN_FAILED;
    int status = write_and_close(file, text);
    if (status == SUCCESS) status = take_place(p, temporary, inputs, forbidden);
    if (status != SUCCESS) unlinkat(p.directory, temporary, 0);
    return status;
}

// Replaces a file that is open for writing, or overwrites it where it can only be written.
int replace_file(place const& p, int file, struct stat const& info,
                 std::initializer_list<std::string_view> text, std::set<file_id> const& inputs) {
    // Nobody else's choice of a mode counts, and a report is no program.
    mode_t const mode = info.st_uid == geteuid() ? info.st_mode & NEW_MODE : NEW_MODE;
    bool forbidden;
    int const status = put_file(p, mode, text, inputs, forbidden);
    // With a second name it may be a file that someone has put there to be overwritten.
    if (forbidden && info.st_nlink == 1 && ftruncate(file, 0) == 0)
        return write_and_close(file, text);
    close(file);
    return status;
}

} // namespace

int save_text(std::string const& output, std::initializer_list<std::string_view> text,
              std::set<file_id> const& inputs) {
    place p;
    bool exists = false;
    if (!find_place(output, p, exists)) return OPEN_FAILED;
    int const file = exists ? p.open_for_writing() : -1;
    struct stat info;
    if (exists && (file < 0 || fstat(file, &info) != 0 || is_input(info, inputs))) {
        if (file >= 0) close(file);
        return OPEN_FAILED;
    }
    if (exists && !S_ISREG(info.st_mode)) {
        fcntl(file, F_SETFL, 0); // one that reads slowly is waited for
        return write_and_close(file, text);
    }
    // A signal that ends the run waits until the report is whole.
    sigset_t all, before;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, &before);
    bool forbidden;
    int const status = exists ? replace_file(p, file, info, text, inputs)
                              : put_file(p, NEW_MODE, text, inputs, forbidden);
    sigprocmask(SIG_SETMASK, &before, nullptr);
    return status;
}

bool is_temporary_name(std::string const& name) {
    std::size_t const start = sizeof PREFIX - 1;
    return name.compare(0, start, PREFIX) == 0 && name.size() == start + RANDOM_LETTERS &&
           name.find_first_not_of(LETTERS, start) == std::string::npos;
}
