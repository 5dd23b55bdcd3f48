// The score test of one window of SNPs.
#ifndef QUILMAR_SCAN_SCORE_WINDOW_H
#define QUILMAR_SCAN_SCORE_WINDOW_H

#include "scan/score/genotype_table.h"
#include "scan/score/haplotypes.h"
#include "scan/score/null_model.h"

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace scan {

struct window_settings {
    double window_mind = 0.5;   // a subject with a larger share of missing SNPs is left out
    double min_hap_freq = 0.01; // a tested haplotype has at least this frequency, and
    double min_hap_copies = 10; // this many copies expected in the smaller group
};

enum class error_code {
    none,
    one_haplotype,
    no_subjects,
    one_group,
    too_many_snps,
    too_long,
    em_maxiter
};

// "." for none, else ONE_HAPLOTYPE and so on.
std::string text(error_code code);

constexpr double NOT_COMPUTED = std::numeric_limits<double>::quiet_NaN();

// A tested haplotype. z and log_p are not numbers where the covariates explain its copies.
struct haplotype_row {
    std::uint32_t bits = 0;     // bit n - 1 is the first of n SNPs, 1 the first allele of the .bim
    double freq = NOT_COMPUTED; // EM estimate in all subjects
    double case_freq = NOT_COMPUTED;    // expected copies by 2 cases
    double control_freq = NOT_COMPUTED; // expected copies by 2 controls
    double case_count = NOT_COMPUTED;   // expected copies given the genotypes
    double control_count = NOT_COMPUTED;
    double z = NOT_COMPUTED;     // against all other haplotypes; positive: more copies in cases
    double log_p = NOT_COMPUTED; // natural logarithm of the two-sided p-value
};

// Under a code other than none the counts of subjects are set as far as they were counted, all other
// numbers are not computed and there are no haplotypes.
struct window_row {
    unsigned obs = 0, cases = 0, controls = 0; // subjects used
    unsigned n_haplotypes = 0;                 // tested
    double rare_freq = NOT_COMPUTED;           // all others together
    unsigned df = 0;
    double chisq = NOT_COMPUTED;
    double log_p = NOT_COMPUTED; // natural logarithm
    haplotype_row top;           // the tested haplotype with the smallest p-value
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
    null_model const& model_;
    window_settings settings_;
    genotype_table const& table_;
    expected_copies expected_;
    std::vector<double> frequencies_; // by bits
    std::vector<std::uint32_t> bits_; // of the tested haplotypes
    row_major_matrix copies_;         // distinct genotypes x tested haplotypes
    Eigen::VectorXd score_;           // U
    Eigen::MatrixXd variance_;        // V, of all tested haplotypes

    error_code count(window_row& result) const;
    void choose_haplotypes(window_row& result);
    void compute_copies(window_row& result);
    void compute_score();
    void subtract_projection(Eigen::MatrixXd const& covariance);
    void test_haplotypes(window_row& result) const;
    void test_window(window_row& result) const;
};

} // namespace scan

#endif
