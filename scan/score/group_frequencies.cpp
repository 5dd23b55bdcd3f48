// With f and q the frequencies of controls and cases, e the effects and D_d = dl_d/df:
//
//   l = l_0(f) + l_1(q),     f_h = a_h A_0e,  q_h = a_h A_1e,     sum of a over each effect = 1
//
// is maximised as in quasi_newton.h, in the square roots v_d of A_d N_d / N and u of a times a factor
// that is free, in which derivatives of (l - 2 N_0 (sum of f) - 2 N_1 (sum of q)) / 8N are
//
//   v_d m_d / 2                                        for v_d of an effect
//   u_h (sum over d of v_d^2 (x_dh - m_d)) / 2U        for u_h
//
//   x_dh = D_dh / 2N_d - 1,   m_d = sum of a_h x_dh and U = sum of u^2 over the effect
//
// The multipliers are exact: both f and q can be scaled within the model. U starts as the effect's
// frequency in all subjects, which makes EM's step 1 long in u, too. Both groups enter alike.
#include "scan/score/group_frequencies.h"

#include <cmath>

namespace scan {

namespace {

constexpr unsigned MAX_ROUNDS = 50;
// Expected copies: below FEW a haplotype may have all but vanished, below VANISHED it has.
constexpr double FEW = 1e-2, VANISHED = 1e-6;
// Excess above which a haplotype that has vanished comes back, and below minus which one of which there
// are few goes: it would go on shrinking.
constexpr double TOLERANCE = 1e-6, CLEARLY = 1e-5;

double square(double x) {
    return x * x;
}

} // namespace

bool group_frequencies::run(std::vector<by_group> const& start,
                            std::vector<std::size_t> const& effects, std::size_t n_effects,
                            by_group subjects, double gain) {
    chromosomes_ = 2 * subjects;
    share_ = subjects / (subjects[0] + subjects[1]);
    expected_.prepare();
    list_members(effects, n_effects);
    place(start);
    double const scaled = gain / (4 * (chromosomes_[0] + chromosomes_[1]));
    auto const gradient = [this](double const* x, double* g) {
        set_frequencies(x);
        find_excess(x);
        for (std::size_t i = 0; i < x_.size(); ++i)
            g[i] = x[i] * excess_[i] / 2;
    };
    for (unsigned round = 0; round < MAX_ROUNDS; ++round) {
        if (!ascent_.maximise(gradient, scaled, x_)) return false;
        finish();
        if (!leave_bounds()) return true;
    }
    return false;
}

void group_frequencies::list_members(std::vector<std::size_t> const& effects,
                                     std::size_t n_effects) {
    first_.assign(n_effects + 1, 0);
    for (std::size_t const e : effects)
        ++first_[e + 1];
    for (std::size_t e = 0; e < n_effects; ++e)
        first_[e + 1] += first_[e];
    members_.resize(effects.size());
    for (std::size_t h = effects.size(); h-- > 0;)
        members_[--first_[effects[h] + 1]] = h;
    first_.erase(first_.begin());
    first_.push_back(effects.size());
}

void group_frequencies::place(std::vector<by_group> const& start) {
    std::size_t const E = n_effects();
    x_.assign(2 * E, 0.0);
    for (std::size_t e = 0; e < E; ++e) {
        by_group total{};
        for (std::size_t i = first_[e]; i < first_[e + 1]; ++i)
            total += share_ * start[members_[i]];
        x_[e] = std::sqrt(total[0]), x_[E + e] = std::sqrt(total[1]);
        if (first_[e + 1] - first_[e] < 2) continue;
        // Of an effect that has vanished any shares will do.
        double const least = total[0] + total[1] > 0 ? 0 : 1 / (chromosomes_[0] + chromosomes_[1]);
        for (std::size_t i = first_[e]; i < first_[e + 1]; ++i) {
            by_group const p = share_ * start[members_[i]];
            x_.push_back(std::sqrt(std::max(p[0] + p[1], least)));
        }
    }
    excess_.resize(x_.size());
}

// And the E-step.
void group_frequencies::set_frequencies(double const* x) {
    std::size_t const E = n_effects();
    by_group* const p = expected_.frequencies();
    double const* u = x + 2 * E;
    for (std::size_t e = 0; e < E; ++e) {
        std::size_t const first = first_[e], n = first_[e + 1] - first;
        by_group const A = by_group{square(x[e]), square(x[E + e])} / share_;
        if (n == 1) p[members_[first]] = A;
        if (n < 2) continue;
        double U = 0;
        for (std::size_t i = 0; i < n; ++i)
            U += square(u[i]);
        for (std::size_t i = 0; i < n; ++i)
            p[members_[first + i]] = A * (square(u[i]) / U);
        u += n;
    }
    expected_.step();
}

void group_frequencies::find_excess(double const* x) {
    std::size_t const E = n_effects();
    double const* u = x + 2 * E;
    double* of_share = excess_.data() + 2 * E;
    auto const excess = [&](std::size_t member) {
        return expected_.derivatives()[members_[member]] / chromosomes_ - 1;
    };
    for (std::size_t e = 0; e < E; ++e) {
        std::size_t const first = first_[e], n = first_[e + 1] - first;
        by_group mean{};
        if (n == 1) mean = excess(first);
        if (n > 1) {
            double U = 0;
            for (std::size_t i = 0; i < n; ++i) {
                U += square(u[i]);
                mean += square(u[i]) * excess(first + i);
            }
            mean /= U;
            by_group const A = by_group{square(x[e]), square(x[E + e])} / U;
            for (std::size_t i = 0; i < n; ++i) {
                by_group const above = A * (excess(first + i) - mean);
                of_share[i] = above[0] + above[1];
            }
            u += n, of_share += n;
        }
        excess_[e] = mean[0], excess_[E + e] = mean[1];
    }
}

// Frequencies that add up to 1, and E-step there.
void group_frequencies::finish() {
    set_frequencies(x_.data());
    by_group* const p = expected_.frequencies();
    by_group total{};
    for (std::size_t const h : members_) {
        for (int const d : {0, 1})
            if (p[h][d] * chromosomes_[d] < VANISHED) p[h][d] = 0;
        total += p[h];
    }
    for (std::size_t const h : members_)
        p[h] /= total;
    expected_.step();
    find_excess(x_.data());
}

// Was there a coordinate that has vanished without reason, as in frequency_estimate, or one that has
// not quite vanished?
bool group_frequencies::leave_bounds() {
    double const all = chromosomes_[0] + chromosomes_[1];
    bool has_changed = false;
    for (std::size_t i = 0; i < x_.size(); ++i) {
        double const copies = square(x_[i]) * all;
        bool const comes = excess_[i] > TOLERANCE,
                   goes = excess_[i] < -CLEARLY && copies >= VANISHED;
        if (copies >= FEW || (!comes && !goes)) continue;
        x_[i] = comes ? std::sqrt(1 / all) : 0;
        has_changed = true;
    }
    return has_changed;
}

} // namespace scan
