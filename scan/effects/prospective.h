// The prospective likelihood of haplotype effects (Lake SL, Lyon H, Tantisira K, Silverman EK, Weiss ST,
// Laird NM, Schaid DJ, Human Heredity 55 (2003) 56-65; Schaid DJ, Genetic Epidemiology 27 (2004)
// 348-364). Of subject i with status y, covariates z and genotype g, whose haplotypes are not seen,
//
//   l = sum over i of ln  sum over pairs (a, b) of g_i of  c p_a p_b P(y_i | a, b, z_i)
//   logit P(y = 1 | a, b, z) = b'z + code(a, b)'(beta + gamma e)
//   p_h = exp(r_h) / sum of exp(r),  r = 0 for the most frequent haplotype,  c = 1 for a = b, else 2
//
// where e is the covariate that interacts, if one does. Parameters in their order: r of all haplotypes
// but the most frequent one, b, beta, gamma. A code that is 0 in all pairs of the sample has none. Pairs with one code depend on status and covariates alike
// and are summed once, as a class.
//
// Score and information follow from those that known pairs would give (Louis TA, Journal of the Royal
// Statistical Society B 44 (1982) 226-233): the score is their mean given genotype and status, the
// information their mean information less the variance of their score.
#ifndef QUILMAR_SCAN_EFFECTS_PROSPECTIVE_H
#define QUILMAR_SCAN_EFFECTS_PROSPECTIVE_H

#include "scan/effects/supported_haplotypes.h"
#include "scan/effects/terms.h"
#include "scan/effects/window_sample.h"

#include "ggi/engine/design.h"
#include "ggi/engine/safeguarded_fit.h"

#include <Eigen/Core>

#include <algorithm>
#include <vector>

namespace scan {

class prospective_likelihood {
  public:
    // environment: the column of the covariates that interacts, or -1 for none. Refers to the
    // sample.
    prospective_likelihood(window_sample const& sample, supported_haplotypes const& haplotypes,
                           haplotype_terms const& terms, int environment);

    unsigned n_parameters() const { return first_effect() + n_codes_ * n_moments_; }
    // Parameters of a code of the terms; NO_PARAMETER for one that is 0 in all pairs.
    unsigned effect(unsigned code) const { return parameter(code, 0); }
    unsigned interaction(unsigned code) const { return parameter(code, 1); }
    unsigned first_covariate() const { return n_haplotypes_ - 1; }
    unsigned first_effect() const { return first_covariate() + n_covariates_; }

    static constexpr unsigned NO_PARAMETER = ~0u;

    // The EM estimates, the coefficients b of the null model, and effects 0.
    Eigen::VectorXd start(Eigen::VectorXd const& coefficients) const;

    // Log-likelihood L and score g at x. Returns SUCCESS or NOT_FINITE.
    int evaluate(double const* x, double& L, double* g);
    // Lower triangle, row by row, of the information at the last x.
    void information(double* H);

    // Of each effect, in their order, what the genotypes of the group that knows less tell of it, as
    // a share of what seen haplotypes would; under the frequencies at x.
    Eigen::ArrayXd known_shares(double const* x);

    // Refers to this object.
    safeguarded_model model();

  private:
    struct pair_entry {
        unsigned first, second; // places among the genotype's haplotypes
        unsigned code;          // place among the genotype's codes
        double share;           // of its class, under the frequencies
    };
    struct coded_genotype {
        std::vector<unsigned> haplotypes, codes;
        std::vector<pair_entry> pairs;
        Eigen::ArrayXd weights; // P(code | g), by code
        double probability;     // of the genotype
    };
    struct code_sums;

    window_sample const& sample_;
    std::vector<double> environment_; // e by row
    Eigen::VectorXd start_frequencies_;
    unsigned n_haplotypes_, n_covariates_;
    unsigned n_codes_ = 0; // that are not 0 in all pairs
    unsigned n_moments_;
    std::vector<unsigned> places_;     // of the terms' codes among those, or NO_PARAMETER
    std::vector<design_vector> codes_; // distinct ones
    std::vector<coded_genotype> genotypes_;

    // At the last x:
    Eigen::ArrayXd frequencies_;
    Eigen::ArrayXXd offsets_; // codes x moments: code'beta, code'gamma
    Eigen::ArrayXd linear_;   // b'z by row

    // Of a block of rows, rows x codes: the codes' probabilities given genotype and status; times
    // the residual r; times w - r^2.
    Eigen::ArrayXXd posterior_, residual_, curvature_;
    Eigen::ArrayXd total_, row_residual_, row_curvature_;

    void code_genotype(std::vector<std::pair<unsigned, unsigned>> const& pairs,
                       term_table const& table, coded_genotype& g);
    void leave_out_absent_codes(unsigned n);
    unsigned parameter(unsigned code, unsigned moment) const {
        return places_[code] == NO_PARAMETER ? NO_PARAMETER
                                             : first_effect() + moment * n_codes_ + places_[code];
    }
    void set_parameters(double const* x);
    void weigh(coded_genotype& g) const;
    void compute_block(coded_genotype const& g, Eigen::Index first, Eigen::Index n);
    double add_score(std::size_t index, double* score);
    code_sums sum_products(std::size_t index, Eigen::MatrixXd& covariates);
    void add_haplotypes(coded_genotype const& g, code_sums const& s, double* H) const;
    void add_effects(coded_genotype const& g, code_sums const& s, double* H) const;

    // Calls visit(first, n) for the rows of a genotype, not too many at a time: what is kept of them
    // stays near the processor.
    template <typename visitor> void for_each_block(std::size_t genotype, visitor visit) const {
        constexpr std::size_t BLOCK = 1024;
        std::size_t const end = sample_.first[genotype + 1];
        for (std::size_t first = sample_.first[genotype]; first < end; first += BLOCK)
            visit(static_cast<Eigen::Index>(first),
                  static_cast<Eigen::Index>(std::min(BLOCK, end - first)));
    }
};

} // namespace scan

#endif
