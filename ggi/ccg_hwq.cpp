// Newton-Raphson iteration  x := x + d,  H d = g  with full steps.
#include "ggi/ccg_hwq.h"

#include "ggi/case_control_ggi_hwq.h"
#include "numeric/lu.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

namespace {

// Work arrays of one fit and the quantities of its last evaluation.
struct evaluation {
    std::vector<double> W, b, g, H;
    double a[2];
    double L;     // log-likelihood
    double gnorm; // Euclidean norm of the score
};

void evaluate(case_control_ggi_data const& data, double const* x, evaluation& e) {
    case_control_ggi_hwq::f(data, x, e.W.data(), e.a, e.b.data(), e.g.data());
    e.gnorm = nrm2(e.g.data(), data.n_parameters);
    e.L = case_control_ggi_hwq::llh(data, e.a, e.b.data());
}

// Newton step d at the last evaluation; the status of lu_solve.
int newton_step(case_control_ggi_data const& data, evaluation& e, std::vector<double>& d) {
    std::size_t const p = data.n_parameters;
    case_control_ggi_hwq::df(data, e.W.data(), e.a, e.b.data(), e.H.data());
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

} // namespace

int ccg_hwq(case_control_ggi_data const& data, unsigned iterations, double tolerance, result& res) {
    unsigned const p = data.n_parameters;
    double* const x = res.estimates;
    evaluation e{};
    e.W.resize(2 * triangle(data.n_haplotypes));
    e.b.resize(2 * std::size_t{data.distinct->count});
    e.g.resize(p);
    e.H.resize(std::size_t{p} * p);
    std::vector<double> previous(p), d(p);

    evaluate(data, x, e);
    double step = 1, dL = 1;
    res.iterations = 0;
    res.status = 1;
    while (!(step <= tolerance && dL <= tolerance && e.gnorm <= tolerance) &&
           res.iterations < iterations && res.status == 1) {
        ++res.iterations;
        std::copy(x, x + p, previous.begin());
        if (newton_step(data, e, d) != 201) {
            res.status = 115;
            break;
        }
        std::transform(previous.begin(), previous.end(), d.begin(), x, std::plus<double>());
        step = max_err(x, previous.data(), p);
        double const L = e.L;
        evaluate(data, x, e);
        dL = std::fabs(e.L - L);
        res.status = step_status(e, tolerance, abs_err(x, previous.data(), p));
    }
    if ((step > tolerance || dL > tolerance || e.gnorm > tolerance) && res.iterations >= iterations)
        res.status = 5;
    res.error = step;
    res.log_likelihood = e.L;
    res.rho = 0;
    return res.status;
}
