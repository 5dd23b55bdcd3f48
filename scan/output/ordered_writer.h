// Puts results that threads deliver in any order into the order of their numbers.
#ifndef QUILMAR_SCAN_OUTPUT_ORDERED_WRITER_H
#define QUILMAR_SCAN_OUTPUT_ORDERED_WRITER_H

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <utility>

namespace scan {

template <typename result> class ordered_writer {
  public:
    // `write` is called with result 0, 1, 2, ..., by one thread at a time. A thread that is `most_ahead`
    // results or more before the next one waits.
    ordered_writer(std::function<void(result const&)> write, std::size_t most_ahead)
        : write_(std::move(write)), most_ahead_(most_ahead) {}

    // Delivers a result. False once something has failed: the caller shall stop.
    bool put(std::size_t number, result&& r) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [&] { return failure_ || number < next_ + most_ahead_; });
        if (failure_) return false;
        waiting_.emplace(number, std::move(r));
        while (!waiting_.empty() && waiting_.begin()->first == next_) {
            write_(waiting_.begin()->second);
            waiting_.erase(waiting_.begin());
            ++next_;
        }
        changed_.notify_all();
        return true;
    }

    // Stops everybody; the first failure is kept.
    void fail(std::exception_ptr what) {
        std::lock_guard<std::mutex> const lock(mutex_);
        if (!failure_) failure_ = std::move(what);
        changed_.notify_all();
    }

    // After all threads have ended: throws the failure again.
    void check() const {
        if (failure_) std::rethrow_exception(failure_);
    }

  private:
    std::function<void(result const&)> write_;
    std::size_t most_ahead_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::size_t, result> waiting_;
    std::size_t next_ = 0;
    std::exception_ptr failure_;
};

} // namespace scan

#endif
