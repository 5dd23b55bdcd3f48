// Tail probabilities on the log scale, which do not underflow.
#ifndef QUILMAR_SCAN_SCORE_TAILS_H
#define QUILMAR_SCAN_SCORE_TAILS_H

#include <vector>

namespace scan {

// ln P(Z > z) for a standard normal Z.
double log_p_above(double z);

// ln P(|Z| > |z|).
double log_p_two_sided(double z);

// ln P(X > chisq) for a chi-square X with df degrees of freedom.
double log_p_chi_square(double chisq, unsigned df);

// The Cauchy combination of p-values given by their logarithms, of which there is at least one (Liu Y,
// Xie J, Journal of the American Statistical Association 115 (2020) 393-402), with equal weights:
//
//   T = mean of cot(pi p)          ln P = ln(arccot(T) / pi)
double log_p_cauchy(std::vector<double> const& log_p);

// The z below which a standard normal variable is with probability p.
double normal_quantile(double p);

// The median of a chi-square with df degrees of freedom.
double chi_square_median(unsigned df);

} // namespace scan

#endif
