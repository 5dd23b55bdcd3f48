// Saddlepoint approximation (Dey R, Schmidt EM, Abecasis GR, Lee S, American Journal of Human Genetics
// 101 (2017) 37-49). T = sum of g (y - mu) has the cumulant generating function
//
//   K(t) = sum over carriers of  ln(1 - mu + mu e^(gt)) - gt mu   +  rest t^2 / 2
//
// and with K'(t) = q, s = sqrt(2 (tq - K(t))), v = t sqrt(K''(t)),
//
//   P(T >= q) = Phi(-r),     r = s + ln(v / s) / s
//
// The lower tail is the upper one of -T. Where all |gt| are small, K is its series
//
//   K(t) = V t^2 / 2 + sum over n > 2 of  kappa_n t^n / n!      kappa_n = sum of k_n(mu) g^n
//
// with k_n the cumulants of y. On |a| <= 2 the second derivative of ln(1 - mu + mu e^a) is at most e^2
// mu (1 - mu), so that the series of K'' to the order N lacks at most V e^2 (A/2)^(N-1) / (1 - A/2), A
// being the largest |gt|, and that of K less than t^2 / (N (N + 1)) times as much.
#include "scan/score/saddlepoint.h"

#include "scan/score/tails.h"

#include <Eigen/Core>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace scan {

namespace {

constexpr unsigned MAX_STEPS = 200;
constexpr double FURTHEST = 8;     // t that a step goes to, in units of the last one
constexpr double TOLERANCE = 1e-6; // of t, in the last step, after which its square is left
constexpr double MOST = 700;       // of gt, whose exponential is still a number
constexpr double TOUCHING = 1e-9;  // of the largest score, within which a score is the largest one
constexpr double NEAR_ZERO = 1e-4; // of t sqrt(V), where s, v and their ratio are 0 / 0

constexpr unsigned ORDER = 12;   // of the series
constexpr double REACH = 0.3;    // |gt| up to which it takes the place of K: V lacks less than 1e-8
constexpr double GUESSING = 1.5; // and up to which it tells about where the saddle point is

// k_n(mu) with w = mu (1 - mu) is w times this polynomial in w, and for odd n times 1 - 2 mu;
// k_(n+1) = w dk_n / dmu.
constexpr double CUMULANTS[ORDER + 1][6] = {{},
                                            {},
                                            {1},
                                            {1},
                                            {1, -6},
                                            {1, -12},
                                            {1, -30, 120},
                                            {1, -60, 360},
                                            {1, -126, 1680, -5040},
                                            {1, -252, 5040, -20160},
                                            {1, -510, 17640, -151200, 362880},
                                            {1, -1020, 52920, -604800, 1814400},
                                            {1, -2046, 168960, -3160080, 19958400, -39916800}};

constexpr std::size_t LANES = 2;
using numbers = double __attribute__((vector_size(LANES * sizeof(double))));

template <unsigned n> numbers polynomial(numbers w) {
    numbers sum{};
    for (int j = static_cast<int>(n) / 2 - 1; j >= 0; --j)
        sum = sum * w + CUMULANTS[n][j];
    return sum;
}

// Adds the terms of kappa_n and all higher ones; power: subjects w g^(n - 1), slope: 1 - 2 mu.
template <unsigned n>
void add_cumulants(numbers w, numbers slope, numbers power, numbers g, numbers* sums) {
    power *= g;
    numbers const term = power * polynomial<n>(w);
    sums[n] += n % 2 == 1 ? term * slope : term;
    if constexpr (n < ORDER) add_cumulants<n + 1>(w, slope, power, g, sums);
}

// K and its derivatives.
struct expansion {
    double value, first, second;
};

// The cumulant generating function of T.
class generating_function {
  public:
    generating_function(score_terms const& terms, double variance);

    double variance() const { return variance_; }
    // t up to which the series is near and up to which it is K but for rounding.
    double guessing() const { return GUESSING / largest_g_; }
    double reach() const { return REACH / largest_g_; }
    expansion series(double t) const;
    // Without series; K itself only on request.
    expansion exact(double t, bool with_value) const;
    // Of T; infinite with a normal rest.
    double largest(double sign) const;

  private:
    static constexpr Eigen::Index BLOCK = 256; // carriers whose work arrays stay near
    using block = Eigen::Array<double, Eigen::Dynamic, 1, 0, BLOCK, 1>;
    using values = Eigen::Map<Eigen::ArrayXd const>;

    score_terms const& terms_;
    double variance_, largest_g_;
    std::array<double, ORDER + 1> coefficients_{}; // kappa_n / n!

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

generating_function::generating_function(score_terms const& terms, double variance)
    : terms_(terms), variance_(variance) {
    numbers sums[ORDER + 1] = {}, least{}, most{};
    for (std::size_t i = 0; i < terms.size(); i += LANES) {
        numbers mu{}, g{}, subjects{};
        std::size_t const bytes = std::min(LANES, terms.size() - i) * sizeof(double);
        std::memcpy(&mu, terms.mu.data() + i, bytes);
        std::memcpy(&g, terms.g.data() + i, bytes);
        std::memcpy(&subjects, terms.subjects.data() + i, bytes);
        numbers const w = mu * (1 - mu);
        add_cumulants<3>(w, 1 - 2 * mu, subjects * w * g * g, g, sums);
        least = g < least ? g : least;
        most = g > most ? g : most;
    }
    largest_g_ = 0;
    for (std::size_t l = 0; l < LANES; ++l)
        largest_g_ = std::max({largest_g_, -least[l], most[l]});
    coefficients_[2] = variance / 2;
    double factorial = 2;
    for (unsigned n = 3; n <= ORDER; ++n) {
        factorial *= n;
        for (std::size_t l = 0; l < LANES; ++l)
            coefficients_[n] += sums[n][l] / factorial;
    }
}

expansion generating_function::series(double t) const {
    expansion e{0, 0, 0};
    for (unsigned n = ORDER; n >= 2; --n) {
        e.second = e.second * t + n * (n - 1) * coefficients_[n];
        e.first = e.first * t + n * coefficients_[n];
        e.value = e.value * t + coefficients_[n];
    }
    return {e.value * t * t, e.first * t, e.second};
}

expansion generating_function::exact(double t, bool with_value) const {
    expansion sum{terms_.rest * t * t / 2, terms_.rest * t, terms_.rest};
    for_blocks([&](values const& mu, values const& g, values const& subjects) {
        block const a = (t * g).min(MOST), e = mu * a.exp(), all = 1 - mu + e, tilted = e / all;
        if (with_value) sum.value += (subjects * (all.log() - a * mu)).sum();
        sum.first += (subjects * g * (tilted - mu)).sum();
        sum.second += (subjects * g.square() * tilted * (1 - mu) / all).sum();
    });
    return sum;
}

double generating_function::largest(double sign) const {
    if (terms_.rest > 0) return INFINITY;
    double sum = 0;
    for_blocks([&](values const& mu, values const& g, values const& subjects) {
        sum += (subjects * ((sign * g).max(0) * (1 - mu) - (sign * g).min(0) * mu)).sum();
    });
    return sum;
}

// One side of T: the upper one for the sign 1, the lower one for -1. t and q are above 0.
class side {
  public:
    side(generating_function const& K, double sign) : K_(K), sign_(sign) {}

    // ln P(sign T >= q). Not a number where there is no saddle point.
    double log_tail(double q) const {
        double const largest = K_.largest(sign_), deviation = std::sqrt(K_.variance());
        if (q > (1 + TOUCHING) * largest) return -INFINITY;
        if (q >= (1 - TOUCHING) * largest) return NAN;
        double t = root(q, q / K_.variance(), true);
        if (!(t <= K_.reach())) {
            t = root(q, t <= K_.guessing() ? t : q / K_.variance(), false);
        }
        if (t < NEAR_ZERO / deviation) return log_p_above(q / deviation);
        expansion const e = at(t, t <= K_.reach(), true);
        double const s = std::sqrt(2 * (t * q - e.value)), v = t * std::sqrt(e.second);
        return log_p_above(s + std::log(v / s) / s);
    }

  private:
    generating_function const& K_;
    double sign_;

    expansion at(double t, bool by_series, bool with_value) const {
        expansion const e = by_series ? K_.series(sign_ * t) : K_.exact(sign_ * t, with_value);
        return {e.value, sign_ * e.first, e.second};
    }

    // t with K'(t) = q by Newton's method in a bracket, which a bisection narrows where a step leaves
    // it. Not a number where it does not end.
    double root(double q, double start, bool by_series) const {
        double low = 0, high = INFINITY, t = start;
        for (unsigned step = 0; step < MAX_STEPS; ++step) {
            expansion const e = at(t, by_series, false);
            (e.first < q ? low : high) = t;
            double const most = std::min(high, FURTHEST * t);
            double next = t + (q - e.first) / e.second;
            if (!(next > low && next < most)) next = (low + most) / 2;
            if (std::fabs(next - t) <= TOLERANCE * t) return next;
            t = next;
        }
        return NAN;
    }
};

} // namespace

std::optional<double> saddlepoint_log_p(score_terms const& terms, double score, double variance) {
    generating_function const K(terms, variance);
    double const q = std::fabs(score), upper = side(K, 1).log_tail(q),
                 lower = side(K, -1).log_tail(q);
    if (std::isnan(upper) || std::isnan(lower)) return std::nullopt;
    double const larger = std::max(upper, lower), smaller = std::min(upper, lower);
    if (std::isinf(larger)) return std::nullopt;
    return std::min(0.0, larger + std::log1p(std::exp(smaller - larger)));
}

} // namespace scan
