// Newton-Raphson iteration  x := x + d,  H d = g  with full steps.
#include "ggi/engine/newton.h"

#include "numeric/lu.h"
#include "numeric/nutil.h"
#include "numeric/recurrence.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace {

// One fit: its work arrays and the quantities of the last evaluation.
struct fit {
    newton_model const& model;
    unsigned p;
    double* x;
    std::vector<double> g, H, d, previous;
    double L;     // log-likelihood
    double gnorm; // Euclidean norm of the score

    int evaluate() {
        int const status = model.evaluate(x, L, g.data());
        gnorm = nrm2(g.data(), p);
        return status;
    }

    // x := x + d; the status of lu_solve.
    int step() {
        std::size_t const n = p;
        std::copy(x, x + n, previous.begin());
        model.information(H.data());
        for (std::size_t i = 0; i < n; ++i)
            for (std::size_t j = i + 1; j < n; ++j)
                H[i * n + j] = H[j * n + i];
        int const status = lu_solve(H.data(), p, g.data(), d.data());
        if (status == LU_SUCCESS)
            std::transform(previous.begin(), previous.end(), d.begin(), x, std::plus<double>());
        return status;
    }

    // Status of the evaluation after a step.
    int step_status(double tolerance) const {
        if (std::isnan(gnorm) || std::isnan(L)) return NOT_A_NUMBER;
        if (std::isinf(gnorm) || std::isinf(L)) return NOT_FINITE;
        // A score that is small while the parameters still move by a whole unit: they run away.
        double const moved = abs_err(x, previous.data(), p);
        if (gnorm < tolerance && moved + EPS >= 1) return NOT_CONVERGED;
        return SUCCESS;
    }
};

} // namespace

newton_outcome newton_fit(newton_model const& model, unsigned p, unsigned iterations,
                          double tolerance, double* x) {
    fit f{model, p, x, std::vector<double>(p), {}, {}, {}, 0, 0};
    newton_outcome out{SUCCESS, 0, model.first_step, 0};
    out.status = f.evaluate();
    if (out.status != SUCCESS) {
        out.log_likelihood = f.L;
        return out;
    }
    f.H.resize(std::size_t{p} * p);
    f.d.resize(p);
    f.previous.resize(p);
    double dL = model.first_step;
    recurrence seen;
    while (!(out.error <= tolerance && dL <= tolerance && f.gnorm <= tolerance) &&
           out.iterations < iterations && out.status == SUCCESS) {
        ++out.iterations;
        if (f.step() != LU_SUCCESS) {
            out.status = NOT_FINITE;
            break;
        }
        out.error = max_err(x, f.previous.data(), p);
        double const L = f.L;
        out.status = f.evaluate();
        if (out.status != SUCCESS) {
            f.L = QNAN;
            break;
        }
        dL = std::fabs(f.L - L);
        out.status = f.step_status(tolerance);
        seen.skip_rounds(x, p, 0, iterations, out.iterations);
    }
    bool const is_open = out.error > tolerance || dL > tolerance || f.gnorm > tolerance;
    if (is_open && out.iterations >= iterations) out.status = ITERATIONS_EXCEEDED;
    out.log_likelihood = f.L;
    return out;
}
