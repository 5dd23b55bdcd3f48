// The information matrix of some of a fit's parameters, scaled and factorised.
//
//   D = diag(sqrt |H_kk|),  C = D^-1 H D^-1,  L L' = C + lambda I
#ifndef QUILMAR_GGI_ENGINE_SCALED_INFORMATION_H
#define QUILMAR_GGI_ENGINE_SCALED_INFORMATION_H

#include <cstddef>
#include <vector>

constexpr double SMALLEST_PIVOT = 1e-10; // of C, below which it counts as singular

// m parameters, called free; the arrays have room for all.
struct scaled_information {
    std::size_t m;
    std::vector<double> C, L, scale;
    double pivot; // the last one of a factorisation that failed, else the smallest

    // From the rows and columns of H (p x p, lower triangle) that are free.
    void take(std::vector<unsigned> const& free, std::size_t p, std::vector<double> const& H);
    // L L' = C + lambda I; the first row whose pivot vanishes or is negative, or m.
    std::size_t factorise(double lambda);
    // y := L^-T y for the first n rows.
    void solve_transposed(std::size_t n, double* y) const;
    // y := (L L')^-1 y.
    void solve(double* y) const;
    // Standard error of the free parameter j; y is for work.
    double error(std::size_t j, double* y) const;
    // v with v_j = 1, none after j and (C v)_i = 0 before j, for the row j of a failed factorisation:
    // v'C v is its pivot.
    void null_vector(std::size_t j, double* v) const;
};

#endif
