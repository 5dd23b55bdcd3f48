// Factorisations, error measures and the chi-square distribution.
#include "numeric/cholesky.h"
#include "numeric/dcdflib.h"
#include "numeric/lu.h"
#include "numeric/nutil.h"

#include <cmath>
#include <gtest/gtest.h>
#include <vector>

namespace {

using matrix = std::vector<double>;

// A well-conditioned matrix without symmetry, or a positive definite one.
matrix sample(unsigned n, bool is_symmetric) {
    matrix A(n * n);
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j)
            A[i * n + j] = is_symmetric
                               ? std::sin(1.0 + i + j) + (i == j ? n : 0)
                               : std::sin(1.0 + 3 * i + 7 * j) + (i == (j + 1) % n ? 3 : 0);
    return A;
}

} // namespace

TEST(lu, inverts_and_solves) {
    unsigned const n = 7;
    matrix const A = sample(n, false);
    matrix inverse = A, b(n), x(n);
    ASSERT_EQ(lu_inverse(inverse.data(), n), 201);
    double* const R = matrix_multiply(A.data(), inverse.data(), n, n, n);
    for (unsigned k = 0; k < n * n; ++k)
        EXPECT_NEAR(R[k], k % (n + 1) == 0, 1e-12) << k;
    delete[] R;
    // Leading zeros of the right-hand side take the short way.
    b[4] = 1;
    ASSERT_EQ(lu_solve(A.data(), n, b.data(), x.data()), 201);
    for (unsigned i = 0; i < n; ++i)
        EXPECT_NEAR(x[i], inverse[i * n + 4], 1e-12);
}

TEST(lu, small_matrices) {
    double swap[] = {0, 1, 1, 0}, det;
    unsigned indx[2];
    int sign;
    EXPECT_EQ(lu_determinant(swap, 2, det), 201);
    EXPECT_EQ(det, 1); // the sign of the interchange is left out
    EXPECT_EQ(lu_decomp(swap, 2, indx, sign), 201);
    EXPECT_EQ(sign, -1);
    EXPECT_EQ(indx[0], 1u);
    EXPECT_EQ(indx[1], 1u);

    double tiny_row[] = {1, 2, 1e-17, 0};
    EXPECT_EQ(lu_decomp(tiny_row, 2, indx), 203);
    EXPECT_EQ(tiny_row[0], 1);
    double rank_one[] = {1, 2, 1, 2};
    EXPECT_EQ(lu_decomp(rank_one, 2, indx), 201);
    EXPECT_EQ(rank_one[3], EPS);
    EXPECT_EQ(lu_inverse(swap, 0), 202);
}

TEST(cholesky, inverts_and_solves) {
    unsigned const n = 7;
    matrix const S = sample(n, true);
    matrix inverse = S, by_lu = S, b(n), x(n);
    double det, root;
    ASSERT_EQ(cholesky_inverse(inverse.data(), n, det, false), 301);
    ASSERT_EQ(cholesky_determinant(S.data(), n, root), 301);
    EXPECT_NEAR(root * root / det, 1, 1e-12);
    lu_inverse(by_lu.data(), n);
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j <= i; ++j)
            EXPECT_NEAR(inverse[i * n + j], by_lu[i * n + j], 1e-13);
    b[4] = 1;
    ASSERT_EQ(cholesky_solve(S.data(), n, b.data(), x.data(), false), 301);
    for (unsigned i = 0; i < n; ++i)
        EXPECT_NEAR(x[i], by_lu[i * n + 4], 1e-13);
}

TEST(cholesky, small_matrices) {
    double A[] = {4, 2, 2, 3}, det;
    EXPECT_EQ(cholesky_determinant(A, 2, det), 301);
    EXPECT_DOUBLE_EQ(det, std::sqrt(8.0));
    EXPECT_EQ(cholesky_inverse(A, 2, det, false), 301);
    EXPECT_DOUBLE_EQ(det, 8);
    EXPECT_EQ(A[1], 2); // the upper triangle stays
    struct {
        matrix A;
        unsigned n;
        int status;
    } const cases[] = {{{-1}, 1, 302},    {{1, 5, 5, 1}, 2, 302}, {{4, 3, 3, 2}, 2, 302},
                       {{1e-17}, 1, 304}, {{4}, 1, 301},          {{4}, 0, 303},
                       {{QNAN}, 1, 302}};
    for (auto const& c : cases) {
        matrix copy = c.A;
        EXPECT_EQ(cholesky_decomp(copy.data(), c.n), c.status);
        if (c.status == 302 && !std::isnan(c.A[0])) {
            EXPECT_EQ(copy, c.A);
        }
    }
}

TEST(error_measures, mixed_and_skipping) {
    double const b[] = {0.01, 0.00999, 100}, a[] = {0.011, 0.01999, 101};
    EXPECT_NEAR(max_err(a, b, 1), 0.1, 1e-15);          // relative from 0.01 on
    EXPECT_NEAR(max_err(a + 1, b + 1, 1), 0.01, 1e-15); // absolute below
    double const with_nan[] = {0.011, QNAN, 101};
    EXPECT_NEAR(max_err(with_nan, b, 3), 0.1, 1e-15);
    EXPECT_NEAR(abs_err(a, b, 3), 0.001 + 0.01 + 1, 1e-14);
    double const large[] = {3e200, 4e200}; // squares beyond the range of double
    EXPECT_NEAR(nrm2(large, 2) / 5e200, 1, 1e-15);
}

// Reference values: regularised incomplete gamma functions in 60 digits.
TEST(cdfchi, tails_and_arguments) {
    struct {
        double x, df, p, q;
        int status, which;
        double bound;
    } const cases[] = {
        {0.49999, 1, 0.520495483867197198, 0.479504516132802802, 0, 1, 7},
        {0.5, 1, 0.520499877813046538, 0.479500122186953462, 0, 1, 7},
        {3.841458820694124, 1, 0.949999999999999943, 0.0500000000000000574, 0, 1, 7},
        {100, 1, 1.0, 1.52397060483210521e-23, 0, 1, 7},
        {1370, 1, 1.0, 6.94293736464326774e-300, 0, 1, 7},
        {0.01, 2, 0.00498752080731768675, 0.995012479192682313, 0, 1, 7},
        {40, 7, 0.999998741209612629, 1.25879038737130878e-6, 0, 1, 7},
        {3.5, 1.5, 0.888113507110128071, 0.111886492889871929, 0, 1, 7},
        {90, 100, 0.246802034400170273, 0.753197965599829727, 0, 1, 7},
        {9000, 10000, 1.26977317052044212e-13, 0.999999999999873023, 0, 1, 7},
        {2010000.0, 2000000, 0.999999701250985989, 2.98749014011463485e-7, 0, 1, 7},
        {0, 1, 0, 1, 0, 1, 7},
        {INFINITY, 3, 1, 0, 0, 1, 7},
        {-1, 1, 7, 7, -4, 1, 0},
        {QNAN, 1, 7, 7, -4, 1, 0},
        {1, 0, 7, 7, -5, 1, 0},
        {1, 1, 7, 7, -1, 0, 1},
        {1, 1, 7, 7, -1, 4, 3},
    };
    for (auto const& c : cases) {
        int which = c.which, status;
        double x = c.x, df = c.df, p = 7, q = 7, bound = 7;
        cdfchi(&which, &p, &q, &x, &df, &status, &bound);
        EXPECT_EQ(status, c.status) << x;
        EXPECT_EQ(bound, c.bound) << x;
        EXPECT_NEAR(p, c.p, 5e-15) << x << " df " << df;
        EXPECT_NEAR(q, c.q, 5e-15 * c.q) << x << " df " << df;
    }
}
