// Factorisations, error measures and the chi-square distribution.
#include "numeric/cholesky.h"
#include "numeric/dcdflib.h"
#include "numeric/lu.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
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

bool same_bits(matrix const& A, matrix const& B) {
    return A.size() == B.size() && std::memcmp(A.data(), B.data(), A.size() * sizeof(double)) == 0;
}

// Sum of a[k stride_a] b[k stride_b] over `terms` places, one by one in extended precision.
double plain_sum(double const* a, unsigned stride_a, double const* b, unsigned stride_b,
                 unsigned terms) {
    long double sum = 0;
    for (unsigned k = 0; k < terms; ++k)
        sum += static_cast<long double>(a[k * stride_a]) * b[k * stride_b];
    return static_cast<double>(sum);
}

} // namespace

// Rows and columns that are taken together change no bit, in whole blocks and in parts of them.
TEST(blocks, have_the_bits_of_single_rows) {
    for (unsigned n = 1; n < 14; ++n)
        for (bool const is_singular : {false, true}) {
            matrix A = sample(n, false), S = sample(n, true), columns(n * n), unit(n), x(n);
            if (is_singular) std::copy(A.begin(), A.begin() + n, A.end() - n);
            std::vector<unsigned> indx(n);
            matrix LU = A, inverse = A;
            ASSERT_EQ(lu_decomp(LU.data(), n, indx.data()), 201);
            ASSERT_EQ(lu_inverse(inverse.data(), n), 201);
            for (unsigned j = 0; j < n; ++j) {
                unit.assign(n, 0);
                unit[j] = 1;
                lu_solve(LU.data(), n, indx.data(), unit.data(), x.data());
                for (unsigned i = 0; i < n; ++i)
                    columns[i * n + j] = x[i];
            }
            EXPECT_TRUE(same_bits(inverse, columns)) << n;

            double* const product = matrix_multiply(A.data(), S.data(), n);
            matrix plain(n * n);
            for (unsigned i = 0; i < n; ++i)
                for (unsigned j = 0; j < n; ++j)
                    plain[i * n + j] = plain_sum(&A[i * n], 1, &S[j], n, n);
            EXPECT_TRUE(same_bits(matrix(product, product + n * n), plain)) << n;
            delete[] product;

            matrix L = S;
            ASSERT_EQ(cholesky_decomp(L.data(), n), 301);
            matrix M = L, V = S, triangle = L, symmetric = S;
            cholesky_invert_factor(M.data(), n);
            ASSERT_EQ(cholesky_inverse(V.data(), n, false), 301);
            for (unsigned j = 0; j < n; ++j)
                for (unsigned i = j; i < n; ++i) {
                    double const sum = plain_sum(&L[i * n + j], 1, &triangle[j * n + j], n, i - j);
                    triangle[i * n + j] = (i == j ? 1 : -sum) * (1.0 / L[i * n + i]);
                }
            for (unsigned i = 0; i < n; ++i)
                for (unsigned j = 0; j <= i; ++j)
                    symmetric[i * n + j] =
                        plain_sum(&triangle[i * n + i], n, &triangle[i * n + j], n, n - i);
            EXPECT_TRUE(same_bits(M, triangle) && same_bits(V, symmetric)) << n;
        }
}

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
    // The last pivot is negative, in every row of a block: the last two rows are nearly alike.
    for (unsigned n = 2; n < 10; ++n) {
        matrix copy = sample(n, true);
        for (unsigned j = 0; j < n; ++j)
            copy[n * n - n + j] = copy[n * n - 2 * n + j];
        copy[n * n - 1] = copy[n * n - n - 2] - 1e-6;
        matrix const B = copy;
        EXPECT_EQ(cholesky_decomp(copy.data(), n), 302) << n;
        EXPECT_TRUE(same_bits(copy, B));
    }
    struct {
        matrix A;
        unsigned n;
        int status;
    } const cases[] = {{{-1}, 1, 302},         {{1, 5, 5, 1}, 2, 302}, {{4, 3, 3, 2}, 2, 302},
                       {{1, 1, 1, 1}, 2, 302}, {{1e-17}, 1, 304},      {{4}, 1, 301},
                       {{4}, 0, 303},          {{QNAN}, 1, 302}};
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

TEST(nutil, matrices) {
    double const A[] = {1, 2, 3, 4, 5, 6}, B[] = {1, 0, 2, 1, 0, 1}; // 2 x 3 and 3 x 2
    auto const is = [](double* R, matrix const& expected) {
        matrix const found(R, R + expected.size());
        delete[] R;
        return found == expected;
    };
    EXPECT_TRUE(is(matrix_transpose(A, 2, 3), {1, 4, 2, 5, 3, 6}));
    EXPECT_TRUE(is(matrix_multiply(A, B, 2, 3, 2), {5, 5, 14, 11}));
    EXPECT_TRUE(is(matrix_multiply(B, A, 3, 2, 3), {1, 2, 3, 6, 9, 12, 4, 5, 6}));
    EXPECT_TRUE(is(matrix_multiply(A, B, 2), {5, 2, 11, 4}));
    EXPECT_TRUE(is(matrix_multiply(A, B, 2, 0, 2), {0, 0, 0, 0}));
    EXPECT_TRUE(is(matrix_multiply(A, B, 0), {}));
    EXPECT_TRUE(is(matrix_transpose(A, 0, 3), {}));
}

// The values are those of rand(), from the last slot down; stretched for the largest bounds.
TEST(nutil, random_integers) {
    struct {
        unsigned lo, hi, scale;
    } const ranges[] = {{5, 20, 1},
                        {2147483640u, 2147483647u, 1},
                        {2147483645u, 2147483648u, 2},
                        {4294967290u, 4294967294u, 3}};
    for (auto const& r : ranges) {
        unsigned x;
        ASSERT_EQ(random_uint(1, &x, r.lo, r.hi, 3), 1);
        std::srand(3);
        EXPECT_EQ(x, r.lo + static_cast<unsigned>(std::rand()) * r.scale % (r.hi - r.lo));
        EXPECT_EQ(random_uint(r.scale + 20, &x, r.lo, r.lo + 20, 3), 112);
    }
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

// Reference values in 30 digits.
TEST(dcdflib, error_functions_and_arguments) {
    struct {
        double x, erf, erfc, scaled;
    } const cases[] = {
        {0.0, 0.00000000000000000e+00, 1.00000000000000000e+00, 1.00000000000000000e+00},
        {0.25, 2.76326390168236957e-01, 7.23673609831763098e-01, 7.70346547730996756e-01},
        {-1.0, -8.42700792949714894e-01, 1.84270079294971478e+00, 5.00898008076228329e+00},
        {1.5, 9.66105146475310761e-01, 3.38948535246892738e-02, 3.21585416454317485e-01},
        {1.99, 9.95111413199617045e-01, 4.88858680038300325e-03, 2.56467836719529885e-01},
        {2.0, 9.95322265018952712e-01, 4.67773498104726623e-03, 2.55395676310505748e-01},
        {3.0, 9.99977909503001361e-01, 2.20904969985854412e-05, 1.79001151181389956e-01},
        {26.0, 1.00000000000000000e+00, 5.66319240885614319e-296, 2.16835848505629071e-02},
        {-26.0, -1.00000000000000000e+00, 2.00000000000000000e+00, 7.65772493149056822e+293},
        {30, 1, 0, 0.01879588886141675},
        {INF, 1, 0, 0},
    };
    int plain = 0, scaled = 1;
    for (auto const& c : cases) {
        double x = c.x;
        EXPECT_DOUBLE_EQ(erf1(&x), c.erf) << x;
        EXPECT_NEAR(erfc1(&plain, &x), c.erfc, EPS * c.erfc + 1e-320) << x;
        EXPECT_NEAR(erfc1(&scaled, &x), c.scaled, EPS * c.scaled) << x;
    }
    double missing = QNAN, a = 3, x = 5, P, Q;
    EXPECT_TRUE(std::isnan(erf1(&missing)) && std::isnan(erfc1(&scaled, &missing)));
    for (int ind : {0, 1, 2}) {
        gamma_inc(&a, &x, &P, &Q, &ind);
        EXPECT_NEAR(Q, 18.5 * std::exp(-5), 5e-15 * Q);
        EXPECT_NEAR(P + Q, 1, EPS);
    }
    struct {
        double a, x, P;
    } const edges[] = {{-1, 1, 2}, {1, -1, 2}, {0, 0, 2}, {QNAN, 1, 2}, {0, 1, 1}, {1, 0, 0}};
    for (auto e : edges) {
        gamma_inc(&e.a, &e.x, &P, &Q, &plain);
        EXPECT_EQ(P, e.P) << e.a << " " << e.x;
    }
    int i[] = {1, 2, 3};
    EXPECT_EQ(dpmpar(i), EPS);
    EXPECT_EQ(dpmpar(i + 1), 0x1p-1022);
    EXPECT_EQ(dpmpar(i + 2), MAX_DOUBLE);
}
