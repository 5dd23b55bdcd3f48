// Newton-Raphson iteration with full steps for any log-likelihood.
#ifndef QUILMAR_GGI_ENGINE_NEWTON_H
#define QUILMAR_GGI_ENGINE_NEWTON_H

#include <functional>

// What the iteration needs of a model with p parameters.
struct newton_model {
    // Log-likelihood L and score g (p values) at the parameters x. Returns SUCCESS, NOT_A_NUMBER or
    // NOT_FINITE, which ends the fit at once.
    std::function<int(double const* x, double& L, double* g)> evaluate;
    // Lower triangle of the p x p information matrix H at the parameters of the last evaluation.
    std::function<void(double* H)> information;
    // Stands for the changes of parameters and log-likelihood before the first iteration.
    double first_step;
};

struct newton_outcome {
    int status;
    unsigned iterations;
    double error; // max_err of the last step
    double log_likelihood;
};

// Maximises the log-likelihood from x (p values, updated in place) until the last step, the change
// of the log-likelihood and the norm of the score are all within the tolerance.
//
// Status: SUCCESS converged; ITERATIONS_EXCEEDED; NOT_CONVERGED when the parameters still run away
// although the score is small; NOT_A_NUMBER or NOT_FINITE in the log-likelihood or the score,
// NOT_FINITE also when the Newton system cannot be solved; or that of a failed evaluation. A failure
// at the last permitted iteration counts as ITERATIONS_EXCEEDED.
//
// Parameters that come back to values that they had, in all bits, would go round for ever: whole
// rounds are then only counted, so that the end is the one that the permitted iterations lead to.
newton_outcome newton_fit(newton_model const& model, unsigned p, unsigned iterations,
                          double tolerance, double* x);

#endif
