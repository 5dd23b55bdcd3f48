// Maximum of any log-likelihood by safeguarded Newton steps, with an end that says what was found: a
// maximum, parameters that run to infinity, parameters that the data cannot tell apart, or a failure.
//
//   D = diag(sqrt |H_kk|),  C = D^-1 H D^-1,  d = D^-1 (C + lambda I)^-1 D^-1 g,  delta = g'd
//   lambda   0, or where C is not definite the first of 0.001, 0.004, .. that makes it so
//   step     every component of d at most 4 units; halved while it lowers the log-likelihood
//   end      delta <= 1e-10, which does not depend on the parameters' scales. Without shift delta is
//            about twice what the log-likelihood is below its maximum, and no estimate is farther
//            from its limit than sqrt(delta) of its standard errors
//
// On a ridge that rises to infinity delta vanishes while the steps do not: where delta <= 1e-5 and
// yet a component of d is more than a fifth of its unit, the standard error would be above 60 units,
// which no estimate has. The parameters are then moved along d until the remainder of the ridge is
// nothing, the one that runs fastest is held there, and the others are fitted to their limits.
#ifndef QUILMAR_GGI_ENGINE_SAFEGUARDED_FIT_H
#define QUILMAR_GGI_ENGINE_SAFEGUARDED_FIT_H

#include <functional>
#include <vector>

// A log-likelihood of p parameters.
struct safeguarded_model {
    unsigned p;
    // Log-likelihood L and score g (p values) at the parameters x. Returns SUCCESS, or another status
    // where they are not finite, which a step then does not go to.
    std::function<int(double const* x, double& L, double* g)> evaluate;
    // Lower triangle of the p x p information matrix H (row by row) at the last evaluation.
    std::function<void(double* H)> information;
    // Per parameter its unit: 1 for logarithms and for effects of codes and standardised covariates,
    // infinity for a parameter whose steps are not bounded. The caller's; null for 1 everywhere.
    double const* units;
};

enum class fit_end {
    converged,        // a maximum with finite parameters
    infinite,         // some parameters run to infinity, the others are at their limits
    not_identifiable, // some cannot be told apart, the others are at the maximum; some may run too
    limit_reached,    // 500 iterations were not enough
    broken_down       // no step raises the log-likelihood, or it is not finite at the start
};

struct safeguarded_outcome {
    fit_end end;
    unsigned iterations;
    double log_likelihood;     // where parameters run, the limit to which it rises
    double decrement;          // delta of the last iteration
    std::vector<double> score; // at the estimates; 0 but for those that are held
    // Per parameter: -1 or 1 where it runs to minus or plus infinity, else 0.
    std::vector<int> direction;
    // Per parameter: does it belong to those that cannot be told apart, or is its standard error above
    // 60 units?
    std::vector<char> unidentified;
    // Per parameter: was it held, by the caller or because of one of the above? Covariances are
    // those of the others.
    std::vector<char> held;

    // Are the estimates those of the maximum, or of the limit?
    bool has_succeeded() const {
        return end == fit_end::converged || end == fit_end::infinite ||
               end == fit_end::not_identifiable;
    }
    // Has parameter k a finite estimate that the data determine?
    bool is_estimable(unsigned k) const { return direction[k] == 0 && !unidentified[k]; }
};

// Maximises from x (p values, updated in place). is_fixed: null, or one flag per parameter; those
// set keep their values, and their rows and columns are left out.
safeguarded_outcome safeguarded_fit(safeguarded_model const& model,
                                    std::vector<char> const* is_fixed, double* x);

// Covariance matrix V (p x p, all of it) at the parameters x of a fit that has succeeded: the inverse
// of the information without the rows that were held. Rows and columns of parameters that are held or
// not estimable are 0; so are those of one with which the matrix is not definite after all, whose
// variance is not a number. Returns SUCCESS, or NOT_FINITE where there is no information, with V 0.
int safeguarded_covariance(safeguarded_model const& model, safeguarded_outcome const& outcome,
                           double const* x, double* V);

#endif
