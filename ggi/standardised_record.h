// A record whose covariate products are centred and scaled, for fits that must not depend on the
// units and origins of covariates, and the exact way back.
//
//   environment term r   Z = (X - m)/s,     xi_r = zeta_r / s,  kappa_raw = kappa - sum of zeta_r m/s
//   interaction r        Z' = (X' - m')/s', gamma_r = delta_r / s',
//                        beta_raw = beta - sum over its interactions of delta_r m'/s'
//
// where an effect asks for the same haplotypes as the interaction; else the origin of X' is part of
// the model, and only Z' = X'/s' with s' the root of the mean square. Means and deviations are those
// of the subjects whose genotype keeps a pair. Under the codominant model the first and the second
// parameter of an interaction go with those of the effect.
#ifndef QUILMAR_GGI_STANDARDISED_RECORD_H
#define QUILMAR_GGI_STANDARDISED_RECORD_H

#include "ggi/case_control_ggi_data.h"

#include <vector>

struct standardised_record {
    // What `original` is but for covariates, environment terms and interactions, which are this
    // object's. It is not to be cleared or freed, and the original must stay as it is.
    case_control_ggi_data data;

    explicit standardised_record(case_control_ggi_data const& original);
    standardised_record(standardised_record const&) = delete;

    // The matrix A (n x n for the n parameters from the first effect on) with
    // original parameters = A standardised parameters; per_term as in parameter_layout.
    std::vector<double> way_back(unsigned per_term) const;

  private:
    struct product {
        std::vector<double> values;
        double mean, deviation; // m is 0 where the product is not centred
    };
    std::vector<product> products; // environment terms, then interactions
    std::vector<std::vector<unsigned>> rows;
    std::vector<double*> columns;
    std::vector<unsigned*> environment, interactions;
    std::vector<unsigned> effect_of; // per interaction the effect with its haplotypes, or MAX_UINT

    void add(unsigned const* covariates, bool is_centred);
};

#endif
