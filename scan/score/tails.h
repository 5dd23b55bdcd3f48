// Tail probabilities on the log scale, which do not underflow.
#ifndef QUILMAR_SCAN_SCORE_TAILS_H
#define QUILMAR_SCAN_SCORE_TAILS_H

namespace scan {

// ln P(|Z| > |z|) for a standard normal Z.
double log_p_two_sided(double z);

// ln P(X > chisq) for a chi-square X with df degrees of freedom.
double log_p_chi_square(double chisq, unsigned df);

// The z below which a standard normal variable is with probability p.
double normal_quantile(double p);

// The median of a chi-square with df degrees of freedom.
double chi_square_median(unsigned df);

} // namespace scan

#endif
