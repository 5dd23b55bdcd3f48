// The fixed grid of a run: chunks of neighbouring windows, whose boundaries depend on the number of
// windows alone. Threads, parts and restarts all divide the run at them, so no digit depends on those.
#ifndef QUILMAR_SCAN_PARTS_CHUNK_GRID_H
#define QUILMAR_SCAN_PARTS_CHUNK_GRID_H

#include <algorithm>
#include <cstddef>

namespace scan {

// Neighbouring numbers, `end` not included.
struct index_range {
    std::size_t first = 0, end = 0;
    std::size_t size() const { return end - first; }
};

// Part k of n, k from 0: the parts meet without a gap, and their sizes differ by one at most.
inline index_range part_of(index_range const& whole, std::size_t k, std::size_t n) {
    return {whole.first + k * whole.size() / n, whole.first + (k + 1) * whole.size() / n};
}

class chunk_grid {
  public:
    explicit chunk_grid(std::size_t n_windows)
        : n_windows_(n_windows), size_(std::clamp<std::size_t>(n_windows / 64, 1, MOST_WINDOWS)) {}

    std::size_t n_chunks() const { return (n_windows_ + size_ - 1) / size_; }
    // The windows of neighbouring chunks.
    index_range windows(index_range const& chunks) const {
        return {std::min(n_windows_, chunks.first * size_),
                std::min(n_windows_, chunks.end * size_)};
    }

  private:
    // Enough to share their SNPs, few enough to keep all threads busy and a thread's memory small.
    static constexpr std::size_t MOST_WINDOWS = 96;

    std::size_t n_windows_, size_;
};

} // namespace scan

#endif
