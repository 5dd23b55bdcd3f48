#include "scan/score/quasi_newton.h"

namespace scan {

namespace {

// Least curvature along a step, in units of EM's, that is believed.
constexpr double LEAST_CURVATURE = 1e-6;
// Most by which the step in directions of which nothing is known is longer than EM's.
constexpr double LONGER = 2;

} // namespace

void quasi_newton::reset(Eigen::Index n) {
    n_ = n;
    auto const size = static_cast<std::size_t>((CHANGES + MEMORY) * n);
    if (numbers_.size() < size) numbers_.resize(size);
    n_steps_ = 0;
}

// The step t d to the next gradient.
void quasi_newton::remember(double t) {
    Eigen::Index const next = n_steps_ == 0 ? 0 : (newest_ + 1) % MEMORY;
    vector step = at(STEPS + next), change = at(CHANGES + next);
    step = t * at(DIRECTION);
    change = at(GRADIENT) - at(NEXT_GRADIENT);
    double const product = step.dot(change);
    if (product <= LEAST_CURVATURE * step.squaredNorm()) return;
    inverse_[next] = 1 / product;
    newest_ = next;
    n_steps_ = std::min(n_steps_ + 1, MEMORY);
}

// d = H g.
void quasi_newton::find_direction() {
    vector d = at(DIRECTION);
    d = at(GRADIENT);
    for (Eigen::Index k = 0; k < n_steps_; ++k) {
        Eigen::Index const i = (newest_ - k + MEMORY) % MEMORY;
        alpha_[i] = inverse_[i] * at(STEPS + i).dot(d);
        d -= alpha_[i] * at(CHANGES + i);
    }
    if (n_steps_ > 0)
        d *= std::min(LONGER, 1 / (inverse_[newest_] * at(CHANGES + newest_).squaredNorm()));
    for (Eigen::Index k = n_steps_ - 1; k >= 0; --k) {
        Eigen::Index const i = (newest_ - k + MEMORY) % MEMORY;
        d += (alpha_[i] - inverse_[i] * at(CHANGES + i).dot(d)) * at(STEPS + i);
    }
}

} // namespace scan
