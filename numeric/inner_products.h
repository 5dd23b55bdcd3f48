// Inner products of several rows with one vector, in extended precision. The sums do not wait for
// each other, and a value of the vector is loaded once for all of them. Each sum takes its terms one
// by one and in order, so that it does not depend on the rows beside it.
#ifndef QUILMAR_NUMERIC_INNER_PRODUCTS_H
#define QUILMAR_NUMERIC_INNER_PRODUCTS_H

#include <algorithm>
#include <cstddef>

// Rows taken together: with their sums, a value and a product in registers of extended precision,
// of which there are eight. Three were slower, five and six not faster.
constexpr std::size_t ROWS = 4;

// Pointers to `rows` <= ROWS consecutive rows of n values; the last one stands in for the others.
struct row_block {
    double const* row[ROWS];
    row_block(double const* first, std::size_t n, std::size_t rows) {
        for (std::size_t r = 0; r < ROWS; ++r)
            row[r] = first + std::min(r, rows - 1) * n;
    }
};

// sums[r] += sign times the sum over from <= k < to of row r [k] u[k]. sign is 1 or -1.
template <int sign>
void add_products(row_block const& block, double const* u, std::size_t from, std::size_t to,
                  long double (&sums)[ROWS]) {
    long double s[ROWS];
    std::copy(sums, sums + ROWS, s);
    for (std::size_t k = from; k < to; ++k) {
        long double const u_k = u[k];
        for (std::size_t r = 0; r < ROWS; ++r)
            s[r] += sign * (block.row[r][k] * u_k);
    }
    std::copy(s, s + ROWS, sums);
}

// The same for rows of which each begins one place after the one before it: row r takes part from
// k = from + r on.
template <int sign>
void add_staggered_products(row_block const& block, double const* u, std::size_t from,
                            std::size_t to, long double (&sums)[ROWS]) {
    std::size_t const all = std::min(from + ROWS - 1, to);
    for (std::size_t r = 0; r < ROWS; ++r)
        for (std::size_t k = from + r; k < all; ++k)
            sums[r] += sign * (static_cast<long double>(block.row[r][k]) * u[k]);
    add_products<sign>(block, u, all, to, sums);
}

#endif
