#include "scan/effects/estimates.h"

#include "scan/score/tails.h"

#include <cmath>

namespace scan {

std::string text(effect_code code) {
    switch (code) {
    case effect_code::none: return ".";
    case effect_code::infinite: return "INFINITE";
    case effect_code::infinite_penalised: return "INFINITE_PENALISED";
    case effect_code::penalised: return "PENALISED";
    case effect_code::not_identifiable: return "NOT_IDENTIFIABLE";
    case effect_code::no_convergence: return "NO_CONVERGENCE";
    case effect_code::too_many_haplotypes: return "TOO_MANY_HAPLOTYPES";
    }
    return ".";
}

effect_estimate failed_estimate(effect_code code) {
    effect_estimate e;
    e.code = code;
    return e;
}

void choose_p(term_support support, effect_estimate& e) {
    bool const is_ratio = support.is_tested_by_ratio || std::isnan(e.z);
    e.log_p = is_ratio ? e.log_ratio_p : log_p_two_sided(e.z);
    if (!std::isnan(e.log_p)) e.type = is_ratio ? p_type::likelihood_ratio : p_type::wald;
}

unsigned requests_of(term_support support) {
    return support.is_sparse ? PENALISED : RATIO + INFINITE_BOUND;
}

effect_estimate estimate_of(fitted_term const& term, term_support support, double quantile) {
    bool const is_sparse = support.is_sparse, is_finite = term.end == term_end::finite;
    if (term.end == term_end::not_identifiable)
        return failed_estimate(effect_code::not_identifiable);
    if (term.end == term_end::undecided || (is_sparse && std::isnan(term.penalised)))
        return failed_estimate(effect_code::no_convergence);
    effect_estimate e;
    e.log_ratio_p = log_p_chi_square(is_sparse ? term.penalised_ratio : term.ratio, 1);
    e.beta = is_sparse && is_finite ? term.penalised : term.estimate;
    e.lower = is_sparse ? term.penalised_lower : term.lower;
    e.upper = is_sparse ? term.penalised_upper : term.upper;
    if (is_finite) {
        e.standard_error = is_sparse ? term.penalised_error : term.standard_error;
        e.z = e.beta / e.standard_error;
        if (!is_sparse) {
            e.lower = e.beta - quantile * e.standard_error;
            e.upper = e.beta + quantile * e.standard_error;
        }
        e.code = is_sparse ? effect_code::penalised : effect_code::none;
    } else {
        (term.end == term_end::plus_infinity ? e.upper : e.lower) = term.estimate;
        e.code = is_sparse ? effect_code::infinite_penalised : effect_code::infinite;
    }
    choose_p(support, e);
    return e;
}

} // namespace scan
