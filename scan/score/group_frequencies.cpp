// With f and q the frequencies of controls and cases, c the haplotypes of the class and D_d = dl_d/df:
//
//   l = l_0(f) + l_1(q),         f_c = a_c, q_c = a_c e^beta,         all others free
//
// is maximised as in quasi_newton.h, in square roots u of f N_0 / N, q N_1 / N and a, whose
// derivatives of (l - 2 N_0 (sum of f) - 2 N_1 (sum of q)) / 8N are
//
//   u (D_d / 2N_d - 1) / 2       for a frequency of group d
//   u (s_0 (D_0 / 2N_0 - 1) + s_1 e^beta (D_1 / 2N_1 - 1)) / 2,   s_d = N_d / N,   for a
//   s_1 / 4 (sum over c of q_c (D_1 / 2N_1 - 1))                               for beta
//
// The multipliers are exact: both f and q can be scaled within the model.
#include "scan/score/group_frequencies.h"

#include <cmath>

namespace scan {

namespace {

// As for the pooled frequencies.
constexpr double GAIN = 1e-14, FEW = 1e-2, TOLERANCE = 1e-6;
constexpr unsigned MAX_ROUNDS = 50;
// Expected copies in a group below which a haplotype has vanished.
constexpr double VANISHED = 1e-6;

} // namespace

bool group_frequencies::run(frequency_estimate const& pooled, std::vector<bool> const& in_class,
                            by_group subjects) {
    chromosomes_ = 2 * subjects;
    share_ = subjects / (subjects[0] + subjects[1]);
    expected_.prepare();
    start(pooled, in_class);
    double const gain = GAIN / (4 * (chromosomes_[0] + chromosomes_[1]));
    auto const derivatives = [this](double const* x, double* g) { gradient(x, g); };
    for (unsigned round = 0; round < MAX_ROUNDS; ++round) {
        if (!ascent_.maximise(derivatives, gain, x_)) return false;
        finish();
        if (!raise_any()) return true;
    }
    return false;
}

void group_frequencies::start(frequency_estimate const& pooled, std::vector<bool> const& in_class) {
    own_.clear(), class_.clear();
    for (std::size_t h = 0; h < in_class.size(); ++h)
        (in_class[h] ? class_ : own_).push_back(h);
    x_.clear();
    for (int const d : {0, 1})
        for (std::size_t const h : own_)
            x_.push_back(std::sqrt(share_[d] * pooled.frequency(h)));
    double total = 0;
    for (std::size_t const h : class_) {
        x_.push_back(std::sqrt(pooled.frequency(h)));
        total += pooled.frequency(h);
    }
    beta_scale_ = std::sqrt(share_[0] * share_[1] * total) / 2;
    x_.push_back(0);
}

void group_frequencies::set_frequencies(double const* x) {
    std::size_t const K = own_.size();
    by_group* const p = expected_.frequencies();
    for (std::size_t i = 0; i < K; ++i)
        p[own_[i]] = by_group{x[i] * x[i], x[K + i] * x[K + i]} / share_;
    double const odds = std::exp(x[x_.size() - 1] / beta_scale_);
    for (std::size_t i = 0; i < class_.size(); ++i) {
        double const a = x[2 * K + i] * x[2 * K + i];
        p[class_[i]] = by_group{a, a * odds};
    }
    expected_.step();
}

by_group group_frequencies::excess(std::size_t h) const {
    return expected_.derivatives()[h] / chromosomes_ - 1;
}

double group_frequencies::class_excess(std::size_t h, double odds) const {
    by_group const e = share_ * excess(h);
    return e[0] + odds * e[1];
}

void group_frequencies::gradient(double const* x, double* g) {
    set_frequencies(x);
    std::size_t const K = own_.size(), last = x_.size() - 1;
    double const odds = std::exp(x[last] / beta_scale_);
    for (std::size_t i = 0; i < K; ++i) {
        by_group const e = excess(own_[i]);
        g[i] = x[i] * e[0] / 2;
        g[K + i] = x[K + i] * e[1] / 2;
    }
    double by_beta = 0;
    for (std::size_t i = 0; i < class_.size(); ++i) {
        g[2 * K + i] = x[2 * K + i] * class_excess(class_[i], odds) / 2;
        by_beta += frequency(class_[i])[1] * excess(class_[i])[1];
    }
    g[last] = share_[1] * by_beta / 4 / beta_scale_;
}

// Frequencies that add up to 1, and E-step there.
void group_frequencies::finish() {
    set_frequencies(x_.data());
    by_group* const p = expected_.frequencies();
    by_group total{};
    for (std::size_t h = 0; h < own_.size() + class_.size(); ++h) {
        for (int const d : {0, 1})
            if (p[h][d] * chromosomes_[d] < VANISHED) p[h][d] = 0;
        total += p[h];
    }
    for (std::size_t h = 0; h < own_.size() + class_.size(); ++h)
        p[h] /= total;
    expected_.step();
}

// Was there a haplotype that has vanished without reason? As in frequency_estimate.
bool group_frequencies::raise_any() {
    std::size_t const K = own_.size();
    bool is_raised = false;
    for (std::size_t i = 0; i < x_.size() - 1; ++i) {
        double const odds = std::exp(x_.back() / beta_scale_),
                     all = chromosomes_[0] + chromosomes_[1],
                     above = i < K       ? excess(own_[i])[0]
                             : i < 2 * K ? excess(own_[i - K])[1]
                                         : class_excess(class_[i - 2 * K], odds);
        if (x_[i] * x_[i] * all >= FEW || above <= TOLERANCE) continue;
        x_[i] = std::sqrt(1 / all);
        is_raised = true;
    }
    return is_raised;
}

} // namespace scan
