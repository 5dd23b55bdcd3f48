// The data sets of the scan's score tests, drawn subject by subject from a few numbers; the same in
// scan_reference.R.
#ifndef QUILMAR_TESTS_SCAN_DATA_H
#define QUILMAR_TESTS_SCAN_DATA_H

#include "scan/score/null_model.h"

#include <cstdint>
#include <string>
#include <vector>

struct scan_data_set {
    std::string name;
    unsigned n_snps, n_controls, n_cases;
    double missing; // share of the genotypes
    bool adjusted;  // for three covariates
    std::vector<unsigned> haplotypes;
    std::vector<unsigned> control_thousandths; // cumulative frequencies
    std::vector<unsigned> case_thousandths;
};

// Of scan_references, in its order.
extern std::vector<scan_data_set> const scan_data_sets;

// A drawn data set; controls come first.
struct scan_sample {
    static constexpr int MISSING = -1;

    unsigned n_snps;
    std::vector<std::uint8_t> status;
    std::vector<std::vector<int>> copies; // [SNP][subject]: 0, 1, 2 or MISSING
    Eigen::MatrixXd design;               // intercept and covariates
    std::vector<std::string> names;       // of the design's columns

    explicit scan_sample(scan_data_set const& set);
    // Subjects without covariates; one text of "0", "1", "2" and "9" per SNP.
    scan_sample(std::vector<std::uint8_t> status_codes, std::vector<std::string> const& snps);
};

#endif
