// What the four likelihood classes share: their genetic-model object, their work arrays, their fit
// and their standard errors.
//
// A likelihood class offers f, llh, df and transform, lengths (of its work arrays), and a pointer
// to its genetic model.
#ifndef QUILMAR_GGI_LIKELIHOOD_WORK_H
#define QUILMAR_GGI_LIKELIHOOD_WORK_H

#include "ggi/engine/newton.h"
#include "ggi/engine/standard_errors.h"
#include "ggi/engine_input.h"
#include "ggi/settings.h"
#include "ggi/structures.h"
#include "numeric/status_code.h"

#include <cstddef>
#include <vector>

// Lengths of the work arrays that the operations of a likelihood class share.
struct work_lengths {
    std::size_t weights;     // W
    std::size_t normalisers; // a
    std::size_t terms;       // b
};

// The work arrays of one analysis and what is evaluated in them.
template <typename likelihood> struct likelihood_work {
    case_control_ggi_data const& data;
    std::vector<double> W, a, b;

    explicit likelihood_work(case_control_ggi_data const& analysis) : data(analysis) {
        work_lengths const n = likelihood::lengths(data);
        W.resize(n.weights);
        a.resize(n.normalisers);
        b.resize(n.terms);
    }
    // Log-likelihood L and score g (p values) at the parameters x; the status of f.
    int evaluate(double const* x, double& L, double* g) {
        int const status = likelihood::f(data, x, W.data(), a.data(), b.data(), g);
        L = likelihood::llh(data, a.data(), b.data());
        return status;
    }
    // Lower triangle of the p x p information matrix H at the last evaluation.
    void information(double* H) const { likelihood::df(data, W.data(), a.data(), b.data(), H); }
};

// Fits from res.estimates by newton_fit and stores its outcome. first_step stands for the changes
// before the first iteration; a failed evaluation ends the fit at once where its status is heeded,
// else what it left in log-likelihood and score decides. Returns the status.
template <typename likelihood>
int fit_likelihood(case_control_ggi_data const& data, double first_step, bool is_status_heeded,
                   unsigned iterations, double tolerance, result& res) {
    likelihood_work<likelihood> work(data);
    newton_model const model{[&](double const* x, double& L, double* g) {
                                 int const status = work.evaluate(x, L, g);
                                 return is_status_heeded ? status : int{SUCCESS};
                             },
                             [&](double* H) { work.information(H); }, first_step};
    newton_outcome const out =
        newton_fit(model, data.n_parameters, iterations, tolerance, res.estimates);
    res.status = out.status;
    res.iterations = out.iterations;
    res.error = out.error;
    res.log_likelihood = out.log_likelihood;
    return res.status;
}

// Standard errors of the p + 1 reported quantities at the parameters x. is_definite as in
// standard_errors, whose statuses it returns.
template <typename likelihood>
int likelihood_standard_errors(case_control_ggi_data const& data, unsigned hw, double const* x,
                               bool is_definite, double* out) {
    std::size_t const p = data.n_parameters;
    std::vector<double> g(p), H(p * p), reported(p + 1);
    double L;
    likelihood_work<likelihood> work(data);
    work.evaluate(x, L, g.data());
    work.information(H.data());
    likelihood::transform(data, x, reported.data());
    return standard_errors(layout_of(data, hw), H.data(), reported.data(), is_definite, out);
}

// Makes the genetic model of a mode, with its codes, and sets the number of parameters. Returns
// SUCCESS, or INVALID_MODEL with nothing changed.
template <typename codominant, typename gmodel>
int make_model(case_control_ggi_data& data, unsigned hw, unsigned mode, gmodel*& model) {
    coding code;
    if (!coding_of(mode, code)) return INVALID_MODEL;
    model = code.is_codominant ? new codominant : new gmodel(mode, code.two_copies, code.one_copy);
    data.n_parameters = layout_of(data, hw, code.per_term()).count();
    return SUCCESS;
}

#endif
