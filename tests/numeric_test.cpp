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

// A well-conditioned matrix without symmetry, and A A' of it.
matrix sample(unsigned n) {
    matrix A(n * n);
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j)
            A[i * n + j] = std::sin(1.0 + 3 * i + 7 * j) + (i == (j + 1) % n ? 3 : 0);
    return A;
}

matrix product(matrix const& A, matrix const& B, unsigned n) {
    double* const R = matrix_multiply(A.data(), B.data(), n, n, n);
    matrix const result(R, R + n * n);
    delete[] R;
    return result;
}

matrix transposed(matrix const& A, unsigned n) {
    matrix B(n * n);
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j)
            B[j * n + i] = A[i * n + j];
    return B;
}

void expect_identity(matrix const& A, unsigned n) {
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < n; ++j)
            EXPECT_NEAR(A[i * n + j], i == j, 1e-12) << i << "," << j;
}

} // namespace

TEST(lu, inverts_and_solves) {
    unsigned const n = 7;
    matrix const A = sample(n);
    matrix inverse = A, b(n), x(n);
    ASSERT_EQ(lu_inverse(inverse.data(), n), 201);
    expect_identity(product(A, inverse, n), n);
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
    EXPECT_EQ(lu_determinant(swap, 0, det), 202);
    EXPECT_EQ(det, 0);
}

TEST(cholesky, inverts_and_solves) {
    unsigned const n = 7;
    matrix const A = sample(n), S = product(A, transposed(A, n), n);
    matrix inverse = S, b(n, 1.0), x(n);
    double det, root;
    ASSERT_EQ(cholesky_inverse(inverse.data(), n, det, false), 301);
    ASSERT_EQ(cholesky_determinant(S.data(), n, root), 301);
    EXPECT_NEAR(root * root / det, 1, 1e-12);
    for (unsigned i = 0; i < n; ++i)
        for (unsigned j = 0; j < i; ++j)
            inverse[j * n + i] = inverse[i * n + j];
    expect_identity(product(S, inverse, n), n);
    ASSERT_EQ(cholesky_solve(S.data(), n, b.data(), x.data(), false), 301);
    for (unsigned i = 0; i < n; ++i) {
        double sum = 0;
        for (unsigned j = 0; j < n; ++j)
            sum += S[i * n + j] * x[j];
        EXPECT_NEAR(sum, 1, 1e-11);
    }
}

TEST(cholesky, small_matrices) {
    double A[] = {4, 2, 2, 3}, det;
    EXPECT_EQ(cholesky_determinant(A, 2, det), 301);
    EXPECT_DOUBLE_EQ(det, std::sqrt(8.0));
    EXPECT_EQ(cholesky_inverse(A, 2, det, false), 301);
    EXPECT_DOUBLE_EQ(det, 8);
    EXPECT_DOUBLE_EQ(A[0], 0.375);
    EXPECT_EQ(A[1], 2); // the upper triangle stays
    EXPECT_DOUBLE_EQ(A[2], -0.25);
    EXPECT_DOUBLE_EQ(A[3], 0.5);

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
    EXPECT_EQ(max_err(a, b, 0), -MAX_DOUBLE);
    EXPECT_NEAR(abs_err(a, b, 3), 0.001 + 0.01 + 1, 1e-14);
}

TEST(error_measures, extended_range) {
    double const large[] = {3e200, 4e200}; // squares beyond the range of double
    EXPECT_NEAR(nrm2(large, 2) / 5e200, 1, 1e-15);
}

// Reference values: regularised incomplete gamma functions in 60 digits.
TEST(cdfchi, tails) {
    struct {
        double x, df, p, q;
    } const cases[] = {
        {0.2, 1, 0.34527915398142298, 0.65472084601857702},
        {0.3, 1, 0.416117579229634821, 0.583882420770365179},
        {0.49999, 1, 0.520495483867197198, 0.479504516132802802},
        {0.5, 1, 0.520499877813046538, 0.479500122186953462},
        {1, 1, 0.682689492137085897, 0.317310507862914103},
        {3.841458820694124, 1, 0.949999999999999943, 0.0500000000000000574},
        {10, 1, 0.99843459774199745, 0.00156540225800254968},
        {100, 1, 1.0, 1.52397060483210521e-23},
        {700, 1, 1.0, 2.99022697512462034e-154},
        {1370, 1, 1.0, 6.94293736464326774e-300},
        {0.01, 2, 0.00498752080731768675, 0.995012479192682313},
        {1, 3, 0.198748043098799198, 0.801251956901200802},
        {20, 3, 0.999830257564447174, 0.000169742435552826431},
        {2, 5, 0.150854963915390364, 0.849145036084609636},
        {40, 7, 0.999998741209612629, 1.25879038737130878e-6},
        {3.5, 1.5, 0.888113507110128071, 0.111886492889871929},
        {90, 100, 0.246802034400170273, 0.753197965599829727},
        {130, 100, 0.976487602190191324, 0.0235123978098086757},
        {1000, 1000, 0.505947146170760358, 0.494052853829239642},
        {9000, 10000, 1.26977317052044212e-13, 0.999999999999873023},
        {2010000.0, 2000000, 0.999999701250985989, 2.98749014011463485e-7},
    };
    for (auto const& c : cases) {
        int which = 1, status;
        double x = c.x, df = c.df, p, q, bound;
        cdfchi(&which, &p, &q, &x, &df, &status, &bound);
        EXPECT_EQ(status, 0);
        EXPECT_NEAR(q / c.q, 1, 5e-15) << x << " df " << df;
        EXPECT_NEAR(p, c.p, 5e-15) << x << " df " << df;
    }
}

TEST(cdfchi, limits_and_arguments) {
    struct {
        int which;
        double x, df;
        int status;
        double bound, p, q;
    } const cases[] = {{1, 0, 1, 0, 7, 0, 1},        {1, 1e4, 1, 0, 7, 1, 0},
                       {1, INFINITY, 3, 0, 7, 1, 0}, {1, -1, 1, -4, 0, 7, 7},
                       {1, QNAN, 1, -4, 0, 7, 7},    {1, 1, 0, -5, 0, 7, 7},
                       {0, 1, 1, -1, 1, 7, 7},       {4, 1, 1, -1, 3, 7, 7}};
    for (auto const& c : cases) {
        int which = c.which, status;
        double x = c.x, df = c.df, p = 7, q = 7, bound = 7;
        cdfchi(&which, &p, &q, &x, &df, &status, &bound);
        EXPECT_EQ(status, c.status) << x;
        EXPECT_EQ(bound, c.bound) << x;
        EXPECT_EQ(p, c.p) << x;
        EXPECT_EQ(q, c.q) << x;
    }
}
