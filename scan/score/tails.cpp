#include "scan/score/tails.h"

#define MATHLIB_STANDALONE
#include <Rmath.h>

#include <cmath>

namespace scan {

double log_p_two_sided(double z) {
    return std::log(2.0) + pnorm5(std::fabs(z), 0, 1, 0, 1);
}

double log_p_chi_square(double chisq, unsigned df) {
    return pchisq(chisq, df, 0, 1);
}

double normal_quantile(double p) {
    return qnorm5(p, 0, 1, 1, 0);
}

double chi_square_median(unsigned df) {
    return qchisq(0.5, df, 1, 0);
}

} // namespace scan
