#include "scan/output/progress.h"

#include <cstdio>
#include <unistd.h>

namespace scan {

progress::progress(std::size_t n_windows, bool is_quiet)
    : n_windows_(n_windows), is_quiet_(is_quiet), is_terminal_(isatty(STDERR_FILENO) == 1),
      start_(clock::now()), last_(start_) {}

bool progress::is_due(std::size_t n_done) {
    if (is_quiet_) return false;
    if (!is_terminal_) {
        std::size_t const before = tenths_;
        tenths_ = 10 * n_done / n_windows_;
        return tenths_ != before;
    }
    clock::time_point const now = clock::now();
    if (n_done < n_windows_ && now - last_ < std::chrono::milliseconds(200)) return false;
    last_ = now;
    return true;
}

void progress::update(std::size_t n_done, std::size_t n_failed) {
    if (!is_due(n_done)) return;
    double const seconds = std::chrono::duration<double>(clock::now() - start_).count();
    double const left =
        seconds * static_cast<double>(n_windows_ - n_done) / static_cast<double>(n_done);
    bool const is_last = n_done == n_windows_;
    std::fprintf(stderr, "%s%zu of %zu window%s done, %zu failed, %.0f s left%s",
                 is_terminal_ ? "\r" : "", n_done, n_windows_, n_windows_ == 1 ? "" : "s", n_failed,
                 left, is_terminal_ && !is_last ? "    " : "\n");
    std::fflush(stderr);
}

} // namespace scan
