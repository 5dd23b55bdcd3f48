// Maximisation by the limited-memory BFGS method (Nocedal J, Mathematics of Computation 35 (1980)
// 773-782) in coordinates in which EM is steepest ascent with step 1, so that it accelerates EM
// (Jamshidian M, Jennrich RI, Journal of the Royal Statistical Society B 59 (1997) 569-587).
//
// With x_h the square root of a frequency p_h, l the log-likelihood of N subjects and D_h = dl/dp_h,
//
//   f(x) = (l - 2N (sum of p - 1)) / 8N,     df/dx_h = x_h (D_h / 2N - 1) / 2
//
// and EM's p_h D_h / 2N is x_h + df/dx_h to first order. The multiplier 2N is exact, as l grows by
// 2N ln t when p becomes t p; so no constraint is left, and frequencies at their bound 0 have the
// ordinary maximum x_h = 0.
#ifndef QUILMAR_SCAN_SCORE_QUASI_NEWTON_H
#define QUILMAR_SCAN_SCORE_QUASI_NEWTON_H

#include <Eigen/Core>

#include <algorithm>
#include <cmath>
#include <vector>

namespace scan {

// Reused, so that it does not allocate.
class quasi_newton {
  public:
    // Replaces x by the maximum of f to which the ascent leads; gradient(x, g) stores df/dx in g.
    // Ends where the maximum is predicted to be at most `gain` above; false after too many steps.
    template <typename function>
    bool maximise(function&& gradient, double gain, std::vector<double>& x);

  private:
    static constexpr Eigen::Index MEMORY = 8;
    static constexpr unsigned MAX_GRADIENTS = 20000;
    static constexpr double ROUNDING = 1e-20;    // below it f's gain is noise
    static constexpr double LONGEST_STEP = 0.25; // the sum of squares of x is about 1
    static constexpr double SHORTEST_STEP = 1e-6, MOST_HIDDEN = 1e3;

    using vector = Eigen::Map<Eigen::VectorXd>;

    Eigen::Index n_ = 0; // coordinates
    // Of n_ numbers each: gradient, direction, next point and gradient, then the last steps and the
    // changes of the negative gradient along them.
    enum { GRADIENT, DIRECTION, POINT, NEXT_GRADIENT, STEPS, CHANGES = STEPS + MEMORY };
    std::vector<double> numbers_;
    double inverse_[MEMORY], alpha_[MEMORY]; // 1 / product of step and change; work
    Eigen::Index n_steps_ = 0, newest_ = 0;

    vector at(Eigen::Index which) { return {numbers_.data() + which * n_, n_}; }
    void reset(Eigen::Index n);
    void remember(double t);
    void find_direction();
};

template <typename function>
bool quasi_newton::maximise(function&& gradient, double gain, std::vector<double>& start) {
    vector x(start.data(), static_cast<Eigen::Index>(start.size()));
    reset(x.size());
    vector g = at(GRADIENT), d = at(DIRECTION), x1 = at(POINT), g1 = at(NEXT_GRADIENT);
    gradient(x.data(), g.data());
    double stretch = 1;
    for (unsigned n_gradients = 1; n_gradients < MAX_GRADIENTS;) {
        find_direction();
        double slope = g.dot(d);
        if (!(slope > 0)) {
            n_steps_ = 0;
            d = g;
            slope = g.squaredNorm();
        }
        if (slope <= 2 * std::max(gain, ROUNDING)) {
            x += d;
            return true;
        }
        double const first = std::min(stretch, LONGEST_STEP / d.norm());
        double t = first;
        // The mean of the slopes at both ends tells whether f has grown.
        for (;; ++n_gradients) {
            x1 = x + t * d;
            gradient(x1.data(), g1.data());
            double const end = g1.dot(d);
            if (end >= -0.5 * slope) {
                stretch = end > 0.5 * slope ? std::min(2 * std::max(t, 1.0), 64.0) : 1.0;
                break;
            }
            if (n_gradients >= MAX_GRADIENTS) return false;
            t *= std::isfinite(end) ? std::max(slope / (slope - end), 0.1) : 0.1;
            if (t < SHORTEST_STEP * first) break;
        }
        if (t < SHORTEST_STEP * first) {
            // Rounding spoils the memory first, and then hides the rest of the way.
            if (n_steps_ == 0) return slope <= MOST_HIDDEN * std::max(gain, ROUNDING);
            n_steps_ = 0;
            continue;
        }
        ++n_gradients;
        remember(t);
        x = x1;
        g = g1;
    }
    return false;
}

} // namespace scan

#endif
