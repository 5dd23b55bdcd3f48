// Newton-Raphson iteration  x := x + d,  H d = g  with full steps.
#include "ggi/newton.h"

#include "numeric/lu.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

namespace {

// Work arrays of one fit and the quantities of its last evaluation.
struct evaluation {
    std::vector<double> W, a, b, g, H;
    double L;     // log-likelihood
    double gnorm; // Euclidean norm of the score
};

int evaluate(case_control_ggi_data const& data, newton_model const& model, double const* x,
             evaluation& e) {
    int const status = model.f(data, x, e.W.data(), e.a.data(), e.b.data(), e.g.data());
    e.gnorm = nrm2(e.g.data(), data.n_parameters);
    e.L = model.llh(data, e.a.data(), e.b.data());
    return status;
}

// Newton step d at the last evaluation; the status of lu_solve.
int newton_step(case_control_ggi_data const& data, newton_model const& model, evaluation& e,
                std::vector<double>& d) {
    std::size_t const p = data.n_parameters;
    model.df(data, e.W.data(), e.a.data(), e.b.data(), e.H.data());
    for (std::size_t i = 0; i < p; ++i)
        for (std::size_t j = i + 1; j < p; ++j)
            e.H[i * p + j] = e.H[j * p + i];
    return lu_solve(e.H.data(), data.n_parameters, e.g.data(), d.data());
}

// Status of the evaluation after a step whose absolute change is `moved`.
int step_status(evaluation const& e, double tolerance, double moved) {
    if (std::isnan(e.gnorm) || std::isnan(e.L)) return 114;
    if (std::isinf(e.gnorm) || std::isinf(e.L)) return 115;
    // A score that is small while the parameters still move by a whole unit: they run away.
    if (e.gnorm < tolerance && moved + EPS >= 1) return 113;
    return 1;
}

void store(int status, double error, double log_likelihood, result& res) {
    res.status = status;
    res.error = error;
    res.log_likelihood = log_likelihood;
}

} // namespace

int newton_fit(case_control_ggi_data const& data, newton_model const& model, unsigned iterations,
               double tolerance, result& res) {
    unsigned const p = data.n_parameters;
    double* const x = res.estimates;
    evaluation e{};
    e.W.resize(model.n_weights);
    e.a.resize(model.n_normalisers);
    e.b.resize(model.n_terms);
    e.g.resize(p);

    res.iterations = 0;
    double step = model.first_step, dL = model.first_step;
    int status = evaluate(data, model, x, e);
    if (status != 1) {
        store(status, step, e.L, res);
        return status;
    }
    e.H.resize(std::size_t{p} * p);
    std::vector<double> previous(p), d(p);
    while (!(step <= tolerance && dL <= tolerance && e.gnorm <= tolerance) &&
           res.iterations < iterations && status == 1) {
        ++res.iterations;
        std::copy(x, x + p, previous.begin());
        if (newton_step(data, model, e, d) != 201) {
            status = 115;
            break;
        }
        std::transform(previous.begin(), previous.end(), d.begin(), x, std::plus<double>());
        step = max_err(x, previous.data(), p);
        double const L = e.L;
        status = evaluate(data, model, x, e);
        if (status != 1) {
            e.L = QNAN;
            break;
        }
        dL = std::fabs(e.L - L);
        status = step_status(e, tolerance, abs_err(x, previous.data(), p));
    }
    bool const is_open = step > tolerance || dL > tolerance || e.gnorm > tolerance;
    store(is_open && res.iterations >= iterations ? 5 : status, step, e.L, res);
    return res.status;
}
