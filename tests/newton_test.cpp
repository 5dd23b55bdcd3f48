// The Newton-Raphson iteration by itself: every way in which a fit can end, and which of two wins.
#include "ggi/engine/newton.h"
#include "numeric/nutil.h"
#include "numeric/recurrence.h"
#include "numeric/status_code.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numeric>

namespace {

// log L = -(x - 1)^2 / 2 unless the case says otherwise.
struct one_parameter {
    double L = 0, score = 0, information = 1;
    int status = SUCCESS;
};

using behaviour = one_parameter (*)(double x, unsigned evaluations);

newton_outcome fit(behaviour of, unsigned iterations, double tolerance, double& x) {
    unsigned evaluations = 0;
    one_parameter last;
    newton_model const model{[&](double const* at, double& L, double* g) {
                                 last = of(*at, evaluations++);
                                 L = last.L;
                                 *g = last.score;
                                 return last.status;
                             },
                             [&](double* H) { *H = last.information; }, 1.0};
    return newton_fit(model, 1, iterations, tolerance, &x);
}

one_parameter parabola(double x, unsigned) {
    return {-(x - 1) * (x - 1) / 2, 1 - x};
}
// The step after which the evaluation turns bad.
template <int status> one_parameter fails(double x, unsigned n) {
    one_parameter p = parabola(x, n);
    if (n == 1) p.status = status;
    return p;
}
one_parameter no_number(double x, unsigned n) {
    return n == 1 ? one_parameter{QNAN, 1} : parabola(x, n);
}
one_parameter infinite(double x, unsigned n) {
    return n == 1 ? one_parameter{-INFINITY, 1} : parabola(x, n);
}
one_parameter both(double x, unsigned n) {
    return n == 1 ? one_parameter{-INFINITY, QNAN} : parabola(x, n);
}
one_parameter singular(double x, unsigned n) {
    one_parameter p = parabola(x, n);
    p.information = 0;
    return p;
}
// exp(-x): the score vanishes while x goes on by ones.
one_parameter runs_away(double x, unsigned) {
    return {-std::exp(-x), std::exp(-x), std::exp(-x)};
}
// The same by steps of 0.9.
one_parameter walks_away(double x, unsigned) {
    return {-std::exp(-x), std::exp(-x), std::exp(-x) / 0.9};
}
// x becomes -x for ever.
one_parameter swings(double x, unsigned) {
    return {-1, -2 * x};
}
// A score that never vanishes and moves x by less than it can resolve.
one_parameter stands(double, unsigned) {
    return {-1, 1e-3, 1e20};
}
// Step and score vanish from the first iteration on, the log-likelihood stands from the second on.
one_parameter still_changes(double, unsigned n) {
    return {n < 2 ? -1.0 - n : -3.0, n == 0 ? 1e-9 : 0};
}
// Steps of one bit that never lead back.
one_parameter creeps(double, unsigned) {
    return {-1, 1, 1 / EPS};
}
// Steps of a half from 500 to 0, which is reached when the states begin to be watched.
one_parameter arrives_late(double x, unsigned) {
    return {-x, x > 0 ? -0.5 : 0};
}

} // namespace

TEST(newton_fit, statuses_and_precedence) {
    struct {
        char const* what;
        behaviour of;
        unsigned limit;
        double tolerance, start;
        int status;
        unsigned iterations;
        double x, error, L;
    } const cases[] = {
        {"one step, one more that is 0", parabola, 9, 1e-4, 0.5, SUCCESS, 2, 1, 0, 0},
        {"the step of the first does not fit", parabola, 1, 1e-4, 0.5, ITERATIONS_EXCEEDED, 1, 1, 1,
         0},
        {"no iteration", parabola, 0, 1e-4, 0.5, ITERATIONS_EXCEEDED, 0, 0.5, 1, -0.125},
        {"converged before the first", parabola, 9, 1.5, 0.5, SUCCESS, 0, 0.5, 1, -0.125},
        {"not a number", no_number, 9, 1e-4, 0.5, NOT_A_NUMBER, 1, 1, 1, QNAN},
        {"infinite", infinite, 9, 1e-4, 0.5, NOT_FINITE, 1, 1, 1, -INFINITY},
        {"not a number before infinite", both, 9, 1e-4, 0.5, NOT_A_NUMBER, 1, 1, 1, -INFINITY},
        {"the limit before not a number", no_number, 1, 1e-4, 0.5, ITERATIONS_EXCEEDED, 1, 1, 1,
         QNAN},
        {"a failed evaluation", fails<NOT_FINITE>, 9, 1e-4, 0.5, NOT_FINITE, 1, 1, 1, QNAN},
        {"the limit before it", fails<NOT_A_NUMBER>, 1, 1e-4, 0.5, ITERATIONS_EXCEEDED, 1, 1, 1,
         QNAN},
        {"a singular system", singular, 9, 1e-4, 0.5, NOT_FINITE, 1, 0.5, 1, -0.125},
        {"the limit before it", singular, 1, 1e-4, 0.5, ITERATIONS_EXCEEDED, 1, 0.5, 1, -0.125},
        {"a small score with whole steps", runs_away, 99, 0.1, 0, NOT_CONVERGED, 3, 3, 0.5,
         -0.0497871},
        {"not by less than one", walks_away, 5, 0.5, 0, SUCCESS, 4, 3.6, 1 / 3.0, -0.0273237},
        {"at the limit", runs_away, 3, 0.1, 0, ITERATIONS_EXCEEDED, 3, 3, 0.5, -0.0497871},
        {"for ever, an even number", swings, 4294967294u, 1e-4, 3, ITERATIONS_EXCEEDED, 4294967294u,
         3, 2, -1},
        {"for ever, an odd number", swings, 4294967295u, 1e-4, 3, ITERATIONS_EXCEEDED, 4294967295u,
         -3, 2, -1},
        {"for ever in one place", stands, 4294967295u, 1e-4, 3, ITERATIONS_EXCEEDED, 4294967295u, 3,
         0, -1},
        {"a log-likelihood that changes", still_changes, 9, 1e-4, 0.5, SUCCESS, 3, 0.5 + 1e-9, 0,
         -3},
        {"for ever in the last bits", creeps, 4294967295u, 1e-4, 1, ITERATIONS_EXCEEDED,
         4294967295u, 1 + 10000 * EPS, 0, -1},
        {"converged where it came back", arrives_late, 4294967295u, 1e-4, 500, SUCCESS, 1001, 0, 0,
         0},
    };
    for (auto const& c : cases) {
        SCOPED_TRACE(c.what);
        double x = c.start;
        newton_outcome const out = fit(c.of, c.limit, c.tolerance, x);
        EXPECT_EQ(out.status, c.status);
        EXPECT_EQ(out.iterations, c.iterations);
        EXPECT_NEAR(x, c.x, 1e-12);
        EXPECT_NEAR(out.error, c.error, 1e-12);
        if (std::isfinite(c.L))
            EXPECT_NEAR(out.log_likelihood, c.L, 1e-6);
        else
            EXPECT_EQ(std::isnan(out.log_likelihood), std::isnan(c.L));
    }
}

TEST(newton_fit, fails_at_the_start) {
    double x = 2;
    newton_outcome const out = fit(
        [](double, unsigned) {
            return one_parameter{-7, 0, 1, NOT_A_NUMBER};
        },
        0, 1e-4, x);
    EXPECT_EQ(out.status, NOT_A_NUMBER);
    EXPECT_EQ(out.iterations, 0u);
    EXPECT_EQ(out.error, 1);
    EXPECT_EQ(out.log_likelihood, -7);
}

// x -> 3 x mod 1009 from 5, after a lead-in that does not repeat: skipping whole rounds ends where
// going all the way does.
TEST(recurrence, ends_where_all_iterations_end) {
    for (unsigned const limit : {1500u, 20011u, 123456u}) {
        double skipped = 0, straight = 0;
        for (bool const is_skipping : {true, false}) {
            double state[2] = {5, 3000};
            recurrence seen;
            unsigned steps = 0;
            for (unsigned i = 1; i <= limit; ++i, ++steps) {
                state[0] = std::fmod(3 * state[0], 1009);
                state[1] = std::max(0.0, state[1] - 1);
                if (is_skipping) seen.skip_rounds(state, 1, state[1], limit, i);
            }
            (is_skipping ? skipped : straight) = state[0];
            EXPECT_TRUE(!is_skipping || limit < 20000 || steps < 15000) << steps;
        }
        EXPECT_EQ(skipped, straight) << limit;
    }
}
