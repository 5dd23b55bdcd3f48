// Saddlepoint approximation (Dey R, Schmidt EM, Abecasis GR, Lee S, American Journal of Human Genetics
// 101 (2017) 37-49). T = sum of g (y - mu) has the cumulant generating function
//
//   K(t) = sum over carriers of  ln(1 - mu + mu e^(gt)) - gt mu   +  rest t^2 / 2
//
// and with K'(t) = q, s = sqrt(2 (tq - K(t))), v = t sqrt(K''(t)),
//
//   P(T >= q) = Phi(-r),     r = s + ln(v / s) / s
//
// The lower tail is the upper one of -T.
#include "scan/score/saddlepoint.h"

#include "scan/score/tails.h"

#include <Eigen/Core>

#include <algorithm>
#include <cmath>

namespace scan {

namespace {

constexpr Eigen::Index BLOCK = 256; // carriers whose work arrays stay in the fastest memory
using block = Eigen::Array<double, Eigen::Dynamic, 1, 0, BLOCK, 1>;
using values = Eigen::Map<Eigen::ArrayXd const>;

constexpr unsigned MAX_STEPS = 200;
constexpr double FURTHEST = 8;     // t that a step goes to, in units of the last one
constexpr double TOLERANCE = 1e-9; // of t; the tail changes by its square
constexpr double MOST = 700;       // of gt, whose exponential is still a number
constexpr double TOUCHING = 1e-9;  // of the largest score, within which a score is the largest one
constexpr double NEAR_ZERO = 1e-4; // of t sqrt(V), where s, v and their ratio are 0 / 0

struct derivatives {
    double first, second; // K', K''
};

// K of `sign` T, sign being 1 or -1.
class generating_function {
  public:
    generating_function(score_terms const& terms, double sign) : terms_(terms), sign_(sign) {}

    double value(double t) const;
    derivatives at(double t) const;
    double largest() const; // of sign T; infinite with a normal rest

  private:
    score_terms const& terms_;
    double sign_;

    // Calls f(mu, g, subjects) with the carriers of a block after the other.
    template <typename function> void for_blocks(function const& f) const {
        auto const n = static_cast<Eigen::Index>(terms_.size());
        for (Eigen::Index i = 0; i < n; i += BLOCK) {
            Eigen::Index const m = std::min(BLOCK, n - i);
            f(values(terms_.mu.data() + i, m), values(terms_.g.data() + i, m),
              values(terms_.subjects.data() + i, m));
        }
    }
};

double generating_function::value(double t) const {
    double sum = terms_.rest * t * t / 2;
    for_blocks([&](values const& mu, values const& g, values const& subjects) {
        block const a = (sign_ * t * g).min(MOST);
        sum += (subjects * ((1 - mu + mu * a.exp()).log() - a * mu)).sum();
    });
    return sum;
}

derivatives generating_function::at(double t) const {
    derivatives d{terms_.rest * t, terms_.rest};
    for_blocks([&](values const& mu, values const& g, values const& subjects) {
        block const e = (sign_ * t * g).min(MOST).exp(), share = 1 / (1 - mu + mu * e),
                    tilted = mu * e * share;
        d.first += sign_ * (subjects * g * (tilted - mu)).sum();
        d.second += (subjects * g.square() * tilted * share * (1 - mu)).sum();
    });
    return d;
}

double generating_function::largest() const {
    if (terms_.rest > 0) return INFINITY;
    double sum = 0;
    for_blocks([&](values const& mu, values const& g, values const& subjects) {
        sum += (subjects * ((sign_ * g).max(0) * (1 - mu) - (sign_ * g).min(0) * mu)).sum();
    });
    return sum;
}

// t with K'(t) = q by Newton's method, from `start`, in a bracket that bisection narrows where a step
// leaves it. Not a number where it does not end.
double saddle_point(generating_function const& K, double q, double start) {
    double low = 0, high = INFINITY, t = start;
    for (unsigned step = 0; step < MAX_STEPS; ++step) {
        derivatives const d = K.at(t);
        (d.first < q ? low : high) = t;
        double const most = std::min(high, FURTHEST * t);
        double next = t + (q - d.first) / d.second;
        if (!(next > low && next < most)) next = (low + most) / 2;
        if (std::fabs(next - t) <= TOLERANCE * t) return next;
        t = next;
    }
    return NAN;
}

// ln P(sign T >= q), q > 0. Not a number where there is no saddle point.
double log_tail(generating_function const& K, double q, double variance) {
    double const largest = K.largest();
    if (q > (1 + TOUCHING) * largest) return -INFINITY;
    if (q >= (1 - TOUCHING) * largest) return NAN;
    double const t = saddle_point(K, q, q / variance);
    if (t < NEAR_ZERO / std::sqrt(variance)) return log_p_above(q / std::sqrt(variance));
    double const s = std::sqrt(2 * (t * q - K.value(t))), v = t * std::sqrt(K.at(t).second);
    return log_p_above(s + std::log(v / s) / s);
}

} // namespace

std::optional<double> saddlepoint_log_p(score_terms const& terms, double score, double variance) {
    double const q = std::fabs(score), upper = log_tail(generating_function(terms, 1), q, variance),
                 lower = log_tail(generating_function(terms, -1), q, variance);
    if (std::isnan(upper) || std::isnan(lower)) return std::nullopt;
    double const larger = std::max(upper, lower), smaller = std::min(upper, lower);
    if (std::isinf(larger)) return std::nullopt;
    return std::min(0.0, larger + std::log1p(std::exp(smaller - larger)));
}

} // namespace scan
