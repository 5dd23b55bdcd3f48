// What several tests need: runs of the built program, and small things to compare with.
#ifndef QUILMAR_TESTS_SUPPORT_H
#define QUILMAR_TESTS_SUPPORT_H

#include "tests/study.h"

#include <string>
#include <vector>

struct outcome {
    int exit_status;
    std::string out;
    std::string err;
};

// Runs a shell command in the directory; the exit status is -1 after a signal.
outcome run_shell(scratch const& directory, std::string const& command);

// Runs the built program in the directory with the arguments of a shell command.
outcome run_quilmar(scratch const& directory, std::string const& arguments);

// Console lines without their prefix and their wrapping.
std::string unwrapped(std::string text);

// The report without its date line.
std::string undated(std::string const& report);

// Ordinary logistic regression of y on the rows of X.
struct regression {
    std::vector<double> beta;
    std::vector<double> error;
    double log_likelihood;
};
regression logistic(std::vector<std::vector<double>> const& X, std::vector<double> const& y);

// The genotype of a text of "0", "1", "2" and "9".
genotype genotype_of(std::string const& text);

// Data file for one SNP: counts of genotypes 0, 1, 2 in controls and in cases.
std::string one_snp(unsigned const (&controls)[3], unsigned const (&cases)[3]);

#endif
