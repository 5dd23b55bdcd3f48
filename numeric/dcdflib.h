// Chi-square distribution function and what it stands on, with the calling conventions of the public-domain collection
// DCDFLIB (B. W. Brown, J. Lovato, K. Russell). All arguments are passed by pointer; nothing is
// allocated and no state is kept.
#ifndef QUILMAR_NUMERIC_DCDFLIB_H
#define QUILMAR_NUMERIC_DCDFLIB_H

// Tail probabilities of the chi-square distribution with *df degrees of freedom at *x:
// *p = P(X <= x), *q = P(X > x). Only *which = 1 (p and q from x and df) is built.
// *status: 0 success; -1 *which is not 1 (*bound = 1, or 3 when it is above 3); -4 *x is negative
// or not a number (*bound = 0); -5 *df is not above 0 (*bound = 0). On an error p and q are not
// set.
void cdfchi(int* which, double* p, double* q, double* x, double* df, int* status, double* bound);

// *cum = P(X <= x), *ccum = P(X > x) for a chi-square variable with *df degrees of freedom.
void cumchi(double* x, double* df, double* cum, double* ccum);

// *cum = P(a, x), *ccum = Q(a, x); 0 and 1 for *x <= 0.
void cumgam(double* x, double* a, double* cum, double* ccum);

// Incomplete gamma ratios *ans = P(a, x), *qans = Q(a, x); relative accuracy 5e-15 for a up to 1e6.
// *ans = 2 for a < 0, x < 0 or a = x = 0. *ind asks for an accuracy: 0 for 5e-15, 1 for 5e-7, others
// for 5e-4. All have the finest one, so it is not read.
// A. R. DiDinato, A. H. Morris, ACM Transactions on Mathematical Software 12 (1986) 377-393, for
// the special cases; W. Gautschi, ACM TOMS 5 (1979) 466-481, for the power series and the continued
// fraction.
void gamma_inc(double* a, double* x, double* ans, double* qans, int* ind);

// erf(x).
double erf1(double* x);

// erfc(x) for *ind = 0, else exp(x^2) erfc(x).
double erfc1(int* ind, double* x);

// Constants of the arithmetic: for *i = 1 the relative precision 2^-52, 2 the smallest normal
// number, 3 the largest number.
double dpmpar(int* i);

#endif
