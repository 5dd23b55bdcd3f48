#include "scan/score/tails.h"

#define MATHLIB_STANDALONE
#include <Rmath.h>

#include <algorithm>
#include <cmath>

namespace scan {

namespace {

constexpr double PI = 3.14159265358979323846;
constexpr double LARGEST_P = 1 - 1e-7;        // whose cotangent may stand beside others
constexpr double LOG_SMALLEST_P = -34.538776; // ln 1e-15; below it, cot(pi p) = 1 / (pi p)

} // namespace

double log_p_above(double z) {
    return pnorm5(z, 0, 1, 0, 1);
}

double log_p_two_sided(double z) {
    return std::log(2.0) + log_p_above(std::fabs(z));
}

double log_p_chi_square(double chisq, unsigned df) {
    return pchisq(chisq, df, 0, 1);
}

// Cotangents are divided by the one of the smallest p-value where that is too large for a number.
double log_p_cauchy(std::vector<double> const& log_p) {
    double const least = *std::min_element(log_p.begin(), log_p.end()),
                 log_unit = least < LOG_SMALLEST_P ? -least : 0;
    double sum = 0;
    for (double const l : log_p)
        sum += l < LOG_SMALLEST_P
                   ? std::exp(-l - log_unit) / PI
                   : std::exp(-log_unit) / std::tan(PI * std::min(LARGEST_P, std::exp(l)));
    double const T = sum / static_cast<double>(log_p.size());
    if (log_unit > 0) return -std::log(PI * T) - log_unit;
    return std::log(std::atan2(1, T) / PI);
}

double normal_quantile(double p) {
    return qnorm5(p, 0, 1, 1, 0);
}

double chi_square_median(unsigned df) {
    return qchisq(0.5, df, 1, 0);
}

} // namespace scan
