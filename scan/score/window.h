// The test of one window of SNPs.
#ifndef QUILMAR_SCAN_SCORE_WINDOW_H
#define QUILMAR_SCAN_SCORE_WINDOW_H

#include "scan/score/genotype_table.h"
#include "scan/score/haplotypes.h"
#include "scan/score/null_model.h"
#include "scan/score/p_type.h"
#include "scan/score/ratio_test.h"
#include "scan/score/score_test.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace scan {

enum class test_kind {
    score, // adjusted for the covariates of the null model
    lrt    // retrospective likelihood ratio, not adjusted
};

// SCORE or LRT.
char const* text(test_kind kind);

struct window_settings {
    double window_mind = 0.5;   // a subject with a larger share of missing SNPs is left out
    double min_hap_freq = 0.01; // a tested haplotype has at least this frequency, and
    double min_hap_copies = 10; // this many copies expected in the smaller group
    test_kind test = test_kind::score;
    saddlepoint_use saddlepoint = saddlepoint_use::automatic; // of the score test
};

enum class error_code {
    none,
    one_haplotype,
    no_subjects,
    one_group,
    too_many_snps,
    too_long,
    too_many_phases,
    em_maxiter,
    separated
};
constexpr std::size_t N_ERROR_CODES = 9;

// "." for none, else ONE_HAPLOTYPE and so on.
std::string text(error_code code);

constexpr double NOT_COMPUTED = std::numeric_limits<double>::quiet_NaN();

// A tested haplotype. z and log_p are not numbers where the covariates explain its copies; under the
// likelihood ratio z is none without a standard error, and log_p is none where the effect is not
// determined.
struct haplotype_row {
    std::uint32_t bits = 0;     // bit n - 1 is the first of n SNPs, 1 the first allele of the .bim
    double freq = NOT_COMPUTED; // EM estimate in all subjects
    // Expected copies by 2 cases or controls; under the likelihood ratio the estimates in the groups.
    double case_freq = NOT_COMPUTED, control_freq = NOT_COMPUTED;
    // Expected copies given the genotypes.
    double case_count = NOT_COMPUTED, control_count = NOT_COMPUTED;
    // Likelihood ratio: log odds ratio against the most frequent haplotype, infinite if it vanishes in
    // one group, and its standard error.
    double beta = NOT_COMPUTED, se = NOT_COMPUTED;
    double z = NOT_COMPUTED;     // positive: more copies in cases; the score's, against all others
    double log_p = NOT_COMPUTED; // natural logarithm of the two-sided p-value
    p_type type = p_type::none;  // of the p-value
};

// Under a code other than none the counts of subjects are set as far as they were counted, all other
// numbers are not computed and there are no haplotypes.
struct window_row {
    unsigned obs = 0, cases = 0, controls = 0; // subjects used
    unsigned n_haplotypes = 0;                 // tested
    double rare_freq = NOT_COMPUTED;           // all others together
    unsigned df = 0;
    double chisq = NOT_COMPUTED;
    double log_p = NOT_COMPUTED;    // natural logarithm
    p_type type = p_type::none;     // of the p-value
    unsigned n_no_saddle_point = 0; // haplotypes whose p-value is the normal one for want of it
    haplotype_row top;              // the tested haplotype with the smallest p-value
    double top_log_p_bonferroni = NOT_COMPUTED;
    error_code code = error_code::none;
    std::vector<haplotype_row> haplotypes; // tested, by frequency from the highest on, then bits
};

// One per thread; owns all work arrays, and refers to the model and to a table of genotypes.
class window_test {
  public:
    window_test(null_model const& model, genotype_table const& table,
                window_settings const& settings);

    // Tests the window whose genotypes the table holds.
    void run(window_row& result);

  private:
    window_settings settings_;
    genotype_table const& table_;
    frequency_estimate estimate_;
    score_test score_;
    ratio_test ratio_{estimate_};
    std::vector<std::size_t> tested_; // in the estimate's list

    error_code count(window_row& result) const;
    void choose_haplotypes(window_row& result);
    error_code test(window_row& result);
    bool has_variance(window_row row);
};

} // namespace scan

#endif
