// The two-sided saddlepoint tail of a score, written out over all subjects with long doubles and
// bisection alone.
#ifndef QUILMAR_TESTS_PLAIN_TAIL_H
#define QUILMAR_TESTS_PLAIN_TAIL_H

#include <cmath>
#include <vector>

struct score_subject {
    double mu, g;
    bool is_carrier; // others are normal
};

// ln P(sign T >= q); -infinity beyond the largest score, not a number at it.
inline double plain_log_tail(std::vector<score_subject> const& subjects, int sign, double q) {
    using number = long double;
    number V = 0, largest = 0;
    bool is_bounded = true;
    for (auto const& [mu, g, is_carrier] : subjects) {
        V += number(mu) * (1 - mu) * g * g;
        largest += sign * g > 0 ? sign * g * (1 - mu) : -sign * g * mu;
        is_bounded = is_bounded && is_carrier;
    }
    if (is_bounded && std::abs(q / largest - 1) < 1e-9) return NAN;
    if (is_bounded && q > largest) return -INFINITY;
    number K[3];
    auto const expand = [&](number t) {
        K[0] = K[1] = K[2] = 0;
        for (auto const& [mu_i, g_i, is_carrier] : subjects) {
            number const mu = mu_i, g = sign * g_i, w = mu * (1 - mu), e = std::exp(g * t),
                         all = 1 - mu + mu * e;
            K[0] += is_carrier ? std::log(all) - g * t * mu : w * g * g * t * t / 2;
            K[1] += is_carrier ? g * (mu * e / all - mu) : w * g * g * t;
            K[2] += is_carrier ? w * g * g * e / (all * all) : w * g * g;
        }
    };
    number low = 0, high = 1;
    for (expand(high); K[1] < q; expand(high))
        high *= 2;
    for (int step = 0; step < 100; ++step) {
        number const t = (low + high) / 2;
        expand(t);
        (K[1] < q ? low : high) = t;
    }
    number const s = std::sqrt(2 * (low * q - K[0])), v = low * std::sqrt(K[2]),
                 r = low < 1e-4L / std::sqrt(V) ? q / std::sqrt(V) : s + std::log(v / s) / s;
    return static_cast<double>(std::log(std::erfc(r / std::sqrt(number(2))) / 2));
}

// Not a number where a side has no saddle point.
inline double plain_log_p(std::vector<score_subject> const& subjects, double score) {
    double const a = plain_log_tail(subjects, 1, std::fabs(score)),
                 b = plain_log_tail(subjects, -1, std::fabs(score));
    return std::isnan(a) || std::isnan(b)
               ? NAN
               : std::max(a, b) + std::log1p(std::exp(-std::fabs(a - b)));
}

#endif
