// What the environment models know of an analysis beside the haplotype pairs: the covariate
// products of every subject, and the classes of pairs whose interaction terms are coded alike.
//
// Only the interactions join a pair with a subject's covariates, and a coding takes few values. All
// pairs of one class therefore depend on the covariates by one factor, and a subject costs one
// exponential per class, however many haplotypes are modelled.
#ifndef QUILMAR_GGI_ENGINE_ENVIRONMENT_H
#define QUILMAR_GGI_ENGINE_ENVIRONMENT_H

#include "ggi/engine/retrospective.h"

#include <cstddef>
#include <vector>

// Subjects, their covariates and the terms that ask for them. Nothing is owned.
struct exposures {
    unsigned n_subjects;
    unsigned const* status;             // 0 control, else case
    unsigned const* genotypes;          // per subject the index of the distinct genotype
    double const* const* covariates;    // per covariate one value per subject
    unsigned const* const* environment; // G1 rows: indices of covariates, MAX_UINT after the last
    unsigned n_environment;             // G1
    term_table interactions;            // G2 rows, behind whose labels covariates follow as above

    // The covariates of product r: first the environment terms, then the interactions.
    unsigned const* product(unsigned r) const {
        return r < n_environment ? environment[r]
                                 : interactions.rows[r - n_environment] + interactions.n_genes;
    }
};

struct environment {
    unsigned n_products;           // G1 environment terms and G2 interactions
    unsigned n_main;               // G1
    unsigned n_codes;              // interaction parameters: G2, or 2 G2 under the codominant model
    unsigned n_classes;            // C
    std::vector<double> products;  // X_1 .. X_G1, X'_1 .. X'_G2, n values each
    std::vector<double> means;     // of every product
    std::vector<double> codes;     // per class y_1 .. y_n_codes
    std::vector<unsigned> of_pair; // class of the pair (i, j) at triangle(i) + j

    // The classes that occur among the pairs of genotype g are local[first[g]] ..
    // local[first[g+1]-1].
    std::vector<unsigned> first;
    std::vector<unsigned> local;

    // What does not depend on the parameters: the subjects whose genotype has no pair, and the sum
    // of the covariate designs of the cases whose genotype has one class.
    std::vector<unsigned> without_pair;
    std::vector<double> certain;

    // Covariate parameters: kappa, the environment terms, the interactions.
    unsigned n_parameters() const { return 1 + n_main + n_codes; }
    // Index of the product that the interaction parameter y belongs to.
    unsigned product_of(unsigned y) const { return n_main + y / (n_codes / (n_products - n_main)); }
    unsigned n_local(unsigned g) const { return first[g + 1] - first[g]; }
    // Coefficient of class c in the covariate design at parameter i >= 1, which is this times the
    // product of the parameter: 1 for an environment term, y for an interaction.
    double coefficient(unsigned c, unsigned i) const {
        return i <= n_main ? 1 : codes[c * n_codes + i - 1 - n_main];
    }
    // Index of the product of the covariate parameter i >= 1.
    unsigned product_at(unsigned i) const {
        return i <= n_main ? i - 1 : product_of(i - 1 - n_main);
    }
    // Per pair of haplotypes the part of its interactions in the exponent when the products are at
    // their means, gamma being the interaction parameters.
    std::vector<double> mean_interactions(double const* gamma) const;

    // Builds all of it for K modelled haplotypes.
    void init(exposures const& data, unsigned K, pair_sample const& sample);
};

#endif
