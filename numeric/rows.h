// Sums and products over rows of contiguous values, for loops that should run as fast as memory.
#ifndef QUILMAR_NUMERIC_ROWS_H
#define QUILMAR_NUMERIC_ROWS_H

#include <cstddef>
#include <numeric>

// Inner product of n values. Independent partial sums let the processor overlap the additions.
inline double dot(double const* x, double const* y, std::size_t n) {
    constexpr std::size_t LANES = 8;
    double sums[LANES] = {};
    std::size_t i = 0;
    for (; i + LANES <= n; i += LANES)
        for (std::size_t k = 0; k < LANES; ++k)
            sums[k] += x[i + k] * y[i + k];
    for (; i < n; ++i)
        sums[0] += x[i] * y[i];
    return std::accumulate(sums, sums + LANES, 0.0);
}

// to = x y, value by value; `to` may be x or y.
inline void multiply(double const* x, double const* y, std::size_t n, double* to) {
    for (std::size_t i = 0; i < n; ++i)
        to[i] = x[i] * y[i];
}

// to += scale x; the two do not overlap.
inline void add_scaled(double scale, double const* __restrict x, std::size_t n,
                       double* __restrict to) {
    for (std::size_t i = 0; i < n; ++i)
        to[i] += scale * x[i];
}

#endif
