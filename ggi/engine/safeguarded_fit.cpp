// Newton's method with scaled and shifted information, bounded and halved steps; ridges and
// directions without information are told apart by following them.
#include "ggi/engine/safeguarded_fit.h"

#include "ggi/engine/scaled_information.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr unsigned MOST_ITERATIONS = 500;
constexpr double LONGEST_STEP = 4;  // in units; doubled after a step as long as allowed
constexpr double CONVERGED = 1e-10; // decrements
constexpr double DRIFT = 1e-6;      // and where C is not definite
constexpr double GONE = 1e-12;      // score and information of one that is at infinity
constexpr double RIDGE = 1e-5;      // below which a long step means a ridge
constexpr double RUNNING = 0.2;     // a long step, in units
constexpr double FAR = 20;          // steps along a ridge, each of which leaves 1 / e of it
constexpr double SAFE_PIVOT = 1e-8; // above which the last step does not make it so
constexpr double PULLED = 1e-5;     // score of a parameter that must not be held, per unit
constexpr unsigned MOST_RELEASES = 5;
constexpr double MOST_ERROR = 60; // that an estimate has, in units
constexpr double INVOLVED = 1e-4; // share of a null vector's largest component
constexpr double FLAT = 3e-7;     // score along a null vector that is rounding
constexpr double STRAIGHT = 1e-9; // curvature per square unit that bends nothing

// One fit: its parameters, its work arrays and the quantities of the last evaluation.
struct climb {
    safeguarded_model const& model;
    double* x;
    safeguarded_outcome& out;
    std::size_t p;
    std::vector<unsigned> free, estimated; // now, and all that the caller does not hold
    std::vector<double> g, H, step, trial, at_trial, v;
    scaled_information information;
    // The first null vector of C, in its scale and as a direction.
    std::vector<double> null_vector, null_direction;
    std::vector<double> saddle_direction; // in which C is not definite
    double L, longest_step;
    unsigned releases;
    bool is_here; // the last evaluation was at x, where the model is asked for the information

    climb(safeguarded_model const& of, double* start, safeguarded_outcome& outcome)
        : model(of), x(start), out(outcome), p(of.p), g(p), H(p * p), step(p), trial(p),
          at_trial(p), v(p), information{0, H, H, g, 0}, null_vector(p), null_direction(p),
          saddle_direction(p), L(QNAN), longest_step(LONGEST_STEP), releases(0), is_here(false) {
        for (unsigned k = 0; k < p; ++k)
            if (!out.held[k]) free.push_back(k);
        estimated = free;
    }

    double unit(unsigned k) const { return model.units == nullptr ? 1 : model.units[k]; }
    bool is_finite(int status, double value, std::vector<double> const& score) const {
        return status == SUCCESS && std::isfinite(value) &&
               std::all_of(score.begin(), score.end(), [](double s) { return std::isfinite(s); });
    }
    bool evaluate() {
        int const status = model.evaluate(x, L, g.data());
        return is_here = is_finite(status, L, g);
    }
    // The log-likelihood beside x, or minus infinity; its score goes into at_trial.
    double look(std::vector<double> const& at) {
        is_here = false;
        double value;
        int const status = model.evaluate(at.data(), value, at_trial.data());
        return is_finite(status, value, at_trial) ? value : -INF;
    }
    // Goes to x + t direction if the log-likelihood is finite there and at least the bound.
    bool try_step(double t, std::vector<double> const& direction, double bound) {
        for (std::size_t k = 0; k < p; ++k)
            trial[k] = x[k] + t * direction[k];
        double const value = look(trial);
        if (value == -INF || value < bound) return false;
        std::copy(trial.begin(), trial.end(), x);
        g.swap(at_trial);
        L = value;
        return is_here = true;
    }
    // What rounding may change of the log-likelihood.
    double noise() const { return 1e-12 * (1 + std::fabs(L)); }

    void hold(unsigned k) {
        out.held[k] = 1;
        free.erase(std::find(free.begin(), free.end(), k));
    }
    // The components of some parameters in `from`, scaled back, as a direction of all parameters.
    void spread(std::vector<unsigned> const& of, std::vector<double> const& from,
                std::vector<double>& direction) const {
        std::fill(direction.begin(), direction.end(), 0.0);
        for (std::size_t i = 0; i < of.size(); ++i)
            direction[of[i]] = from[i] / information.scale[i];
    }
    double along(std::vector<double> const& direction) const {
        double sum = 0;
        for (unsigned const k : free)
            sum += g[k] * direction[k];
        return sum;
    }
    // Largest component of a direction in units, and whose it is.
    double longest(std::vector<double> const& direction, unsigned& where) const {
        double most = 0;
        for (unsigned const k : free) {
            double const length = std::fabs(direction[k]) / unit(k);
            if (length <= most) continue;
            most = length;
            where = k;
        }
        return most;
    }

    enum class definiteness { definite, flat, shifted };

    // Holds those that have gone to infinity while others are on their way: a step for what rounding
    // leaves of them would lead anywhere.
    void hold_those_gone() {
        for (std::size_t i = free.size(); i-- > 0;) {
            unsigned const k = free[i];
            double const u = unit(k), h = std::fabs(H[k * (p + 1)]);
            bool const is_gone = std::fabs(x[k]) > 30 * u && std::fabs(g[k]) * u < GONE;
            if (!is_gone || h * u * u >= GONE || g[k] * x[k] < 0) continue;
            out.direction[k] = x[k] > 0 ? 1 : -1;
            hold(k);
        }
    }
    // Newton's step and decrement at x. Parameters along whose null vector neither score nor
    // information is left stay where they are: a shift for their sake would hold up those that run.
    definiteness newton() {
        model.information(H.data());
        hold_those_gone();
        std::vector<unsigned> active = free;
        definiteness found = definiteness::definite;
        while (true) {
            information.take(active, p, H);
            std::size_t const failed = information.factorise(0);
            if (failed == active.size()) break;
            information.null_vector(failed, v.data());
            spread(active, v, trial);
            if (found == definiteness::definite) {
                null_vector = v;
                null_direction = trial;
            }
            found = definiteness::flat;
            unsigned where = 0;
            double const length = longest(trial, where);
            bool const is_bent = -information.pivot > STRAIGHT * length * length;
            if ((is_saddle(information.pivot) && is_bent) || std::fabs(along(trial)) > FLAT) {
                found = definiteness::shifted;
                saddle_direction = trial;
                break;
            }
            active.erase(active.begin() + static_cast<std::ptrdiff_t>(failed));
        }
        if (found == definiteness::shifted)
            for (double lambda = 1e-3; !std::isinf(lambda); lambda *= 4)
                if (information.factorise(lambda) == active.size()) break;
        std::fill(trial.begin(), trial.end(), 0.0);
        for (std::size_t i = 0; i < active.size(); ++i)
            trial[i] = g[active[i]] / information.scale[i];
        information.solve(trial.data());
        spread(active, trial, step);
        out.decrement = along(step);
        return found;
    }
    static bool is_saddle(double pivot) { return pivot < -1e3 * SMALLEST_PIVOT; }
    // What the log-likelihood gains along a direction if it is a parabola.
    double gain(std::vector<double> const& direction) const {
        double bend = 0;
        for (unsigned const k : free)
            for (unsigned const l : free)
                bend += H[std::max(k, l) * p + std::min(k, l)] * direction[k] * direction[l];
        return along(direction) - bend / 2;
    }
    // Bounds the components of the step, or where they keep to a narrow ridge only together, its
    // length; the slope of the log-likelihood along it.
    double bound_step() {
        unsigned where = 0;
        double const length = longest(step, where);
        if (length <= longest_step) return along(step);
        std::copy(step.begin(), step.end(), trial.begin());
        for (unsigned const k : free) {
            double const most = longest_step * unit(k);
            trial[k] = std::max(-most, std::min(most, step[k]));
        }
        for (unsigned const k : free)
            step[k] *= longest_step / length;
        if (along(trial) > 0 && gain(trial) > gain(step)) step.swap(trial);
        return along(step);
    }
    // A step that raises the log-likelihood by enough, or that changes it no more than rounding.
    bool ascend() {
        double const slope = bound_step();
        unsigned where = 0;
        bool const is_cut = longest(step, where) >= longest_step;
        for (double t = 1; t > 1e-12; t /= 2)
            if (try_step(t, step, L + 1e-4 * t * slope - noise())) {
                if (is_cut) longest_step = std::max(LONGEST_STEP, 2 * t * longest_step);
                return true;
            }
        return false;
    }
    // Away from a point that is no maximum along a direction.
    bool leave_saddle(std::vector<double> const& direction) {
        unsigned where = 0;
        double const length = longest(direction, where);
        double const least = L + std::max(1e3 * noise(), out.decrement);
        for (double t = longest_step; length > 0 && t > 1e-3; t /= 2)
            for (double const sign : {1.0, -1.0})
                if (try_step(sign * t / length, direction, least)) {
                    longest_step = std::max(LONGEST_STEP, 2 * t);
                    return true;
                }
        return false;
    }

    bool runs(unsigned k) const { return std::fabs(step[k]) > RUNNING * unit(k); }
    // Does the step run along a ridge, while all others are where they belong?
    bool is_on_ridge() const {
        if (out.decrement > RIDGE) return false;
        double others = 0;
        bool is_running = false;
        for (unsigned const k : free)
            if (runs(k))
                is_running = true;
            else
                others += std::fabs(g[k] * step[k]);
        return is_running && others <= 10 * CONVERGED;
    }
    // The parameters that run are followed and marked, the fastest is held; but where the
    // log-likelihood rises on the way by more than is left of a ridge, the climb goes on from there.
    void follow_ridge() {
        std::vector<int> const before = out.direction;
        bool is_new = false;
        for (unsigned const k : free)
            if (runs(k)) {
                is_new = is_new || out.direction[k] == 0;
                out.direction[k] = step[k] > 0 ? 1 : -1;
            }
        double const start = L;
        for (double t = FAR; is_new && t > 1; t /= 2)
            if (try_step(t, step, L - RIDGE)) break;
        if (L > start + 10 * RIDGE) {
            out.direction = before;
            return;
        }
        unsigned fastest = 0;
        longest(step, fastest);
        hold(fastest);
    }
    // What the log-likelihood loses at 30 units along v from here.
    double loss(double sign, double length) {
        for (std::size_t k = 0; k < p; ++k)
            trial[k] = x[k] + sign * 30 / length * v[k];
        return L - look(trial);
    }
    // C is singular along v at a maximum: the log-likelihood is the same on both sides, and the
    // parameters in v cannot be told apart, or it falls on one side only, and they run to the other.
    void settle_null_vector(std::vector<double> const& scaled) {
        double largest = 0;
        std::size_t where = 0;
        for (std::size_t i = 0; i < free.size(); ++i)
            if (std::fabs(scaled[i]) > largest) {
                largest = std::fabs(scaled[i]);
                where = i;
            }
        unsigned k = 0;
        double const length = longest(v, k);
        double const up = length > 0 ? loss(1, length) : 0,
                     down = length > 0 ? loss(-1, length) : 0;
        double const flat = std::max(1e-6, 1e3 * noise());
        bool const is_ridge = (up <= flat) != (down <= flat);
        for (std::size_t i = 0; i < free.size(); ++i) {
            if (std::fabs(scaled[i]) <= INVOLVED * largest || out.direction[free[i]] != 0) continue;
            if (is_ridge)
                out.direction[free[i]] = (v[free[i]] > 0) == (up <= flat) ? 1 : -1;
            else
                out.unidentified[free[i]] = 1;
        }
        if (is_ridge) try_step((up <= flat ? 1 : -1) * FAR / length, v, L - flat);
        hold(free[where]);
    }

    // Marks the parameters of which a definite matrix says nothing, and holds the one of which it says
    // least; is there one?
    bool settle_vague_ones() {
        double most = 0;
        unsigned vaguest = 0;
        for (std::size_t j = 0; j < free.size(); ++j) {
            double const error = information.error(j, v.data()) / unit(free[j]);
            if (!(error > MOST_ERROR)) continue;
            out.unidentified[free[j]] = 1;
            if (error <= most) continue;
            most = error;
            vaguest = free[j];
        }
        if (most > 0) hold(vaguest);
        return most > 0;
    }
    // Frees all again where one was held too early: the log-likelihood rises along it.
    bool release() {
        bool const is_pulled = std::any_of(estimated.begin(), estimated.end(), [this](unsigned k) {
            return out.held[k] && std::fabs(g[k]) * unit(k) > PULLED;
        });
        if (!is_pulled || ++releases > MOST_RELEASES) return false;
        for (unsigned const k : estimated)
            out.direction[k] = out.unidentified[k] = out.held[k] = 0;
        free = estimated;
        return true;
    }
    // The last step, but not where the matrix could be singular after it, which no standard error
    // survives.
    fit_end finish() {
        if (information.pivot > SAFE_PIVOT) try_step(1, step, L - noise());
        ++out.iterations;
        return fit_end::converged;
    }

    fit_end run() {
        while (true) {
            if (!is_here && !evaluate()) return fit_end::broken_down;
            if (free.empty() && !release()) return fit_end::converged;
            definiteness const found = newton();
            if (found != definiteness::shifted && is_on_ridge()) {
                follow_ridge();
                if (++out.iterations >= MOST_ITERATIONS) return fit_end::limit_reached;
                continue;
            }
            bool const is_saddled = found == definiteness::shifted && out.decrement <= RIDGE;
            if (is_saddled && leave_saddle(saddle_direction)) {
                // The climb goes on from there.
            } else if (out.decrement > (found == definiteness::shifted ? DRIFT : CONVERGED)) {
                if (!ascend()) return fit_end::broken_down;
            } else if (found != definiteness::definite) {
                v = null_direction;
                settle_null_vector(null_vector);
                continue;
            } else if (!settle_vague_ones() && !release()) {
                return finish();
            }
            if (++out.iterations >= MOST_ITERATIONS) return fit_end::limit_reached;
        }
    }
};

} // namespace

safeguarded_outcome safeguarded_fit(safeguarded_model const& model,
                                    std::vector<char> const* is_fixed, double* x) {
    unsigned const p = model.p;
    safeguarded_outcome out{
        fit_end::converged,  0, QNAN, 0, {}, std::vector<int>(p), std::vector<char>(p),
        std::vector<char>(p)};
    if (is_fixed != nullptr) out.held = *is_fixed;
    climb fit(model, x, out);
    out.end = fit.run();
    out.log_likelihood = fit.L;
    out.score = fit.g;
    if (out.end != fit_end::converged) return out;
    auto const has = [](auto const& flags) {
        return std::any_of(flags.begin(), flags.end(), [](int flag) { return flag != 0; });
    };
    if (has(out.direction)) out.end = fit_end::infinite;
    if (has(out.unidentified)) out.end = fit_end::not_identifiable;
    return out;
}

int safeguarded_covariance(safeguarded_model const& model, safeguarded_outcome const& outcome,
                           double const* x, double* V) {
    std::size_t const p = model.p;
    std::fill(V, V + p * p, 0.0);
    std::vector<unsigned> free;
    for (unsigned k = 0; k < p; ++k)
        if (!outcome.held[k]) free.push_back(k);
    std::vector<double> g(p), H(p * p), column(p);
    double L;
    if (model.evaluate(x, L, g.data()) != SUCCESS) return NOT_FINITE;
    model.information(H.data());
    scaled_information information{0, H, H, g, 0};
    information.take(free, p, H);
    for (std::size_t j; (j = information.factorise(0)) < free.size();
         information.take(free, p, H)) {
        V[free[j] * (p + 1)] = QNAN;
        free.erase(free.begin() + static_cast<std::ptrdiff_t>(j));
    }
    for (std::size_t j = 0; j < free.size(); ++j) {
        if (!outcome.is_estimable(free[j])) continue;
        std::fill(column.begin(), column.end(), 0.0);
        column[j] = 1;
        information.solve(column.data());
        for (std::size_t i = 0; i < free.size(); ++i)
            if (outcome.is_estimable(free[i]))
                V[free[i] * p + free[j]] =
                    column[i] / (information.scale[i] * information.scale[j]);
    }
    return SUCCESS;
}
