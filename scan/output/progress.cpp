#include "scan/output/progress.h"

#include "scan/output/numbers.h"

#include <cstdio>
#include <string>
#include <unistd.h>

namespace scan {

progress::progress(std::size_t n_windows, char const* kind, bool is_quiet)
    : n_windows_(n_windows), kind_(kind), is_quiet_(is_quiet),
      is_terminal_(isatty(STDERR_FILENO) == 1), start_(clock::now()), last_(start_) {}

bool progress::is_due() {
    if (is_quiet_) return false;
    if (!is_terminal_) {
        std::size_t const before = tenths_;
        tenths_ = 10 * n_done_ / n_windows_;
        return tenths_ != before;
    }
    clock::time_point const now = clock::now();
    if (n_done_ < n_windows_ && now - last_ < std::chrono::milliseconds(200)) return false;
    last_ = now;
    return true;
}

void progress::add(std::size_t n_done, std::size_t n_failed, std::size_t n_with_effects) {
    n_done_ += n_done;
    n_failed_ += n_failed;
    n_with_effects_ += n_with_effects;
    if (!is_due()) return;
    double const seconds = std::chrono::duration<double>(clock::now() - start_).count(),
                 left = seconds * static_cast<double>(n_windows_ - n_done_) /
                        static_cast<double>(n_done_);
    bool const is_last = n_done_ == n_windows_;
    std::string const effects =
        n_with_effects_ > 0 ? ", effects of " + std::to_string(n_with_effects_) : "";
    std::fprintf(stderr, "%s%zu of %s done, %zu failed%s, %.0f s left%s", is_terminal_ ? "\r" : "",
                 n_done_, counted(n_windows_, kind_).c_str(), n_failed_, effects.c_str(), left,
                 is_terminal_ && !is_last ? "    " : "\n");
    std::fflush(stderr);
}

} // namespace scan
