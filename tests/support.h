// What several tests need: scratch files, runs of the built program, and an analysis built step by
// step from the text of a data file and of a variable specification file.
#ifndef QUILMAR_TESTS_SUPPORT_H
#define QUILMAR_TESTS_SUPPORT_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/console/common/variable.h"
#include "ggi/structures.h"

#include <string>
#include <vector>

// A new empty directory, removed with everything in it at the end.
struct scratch {
    std::string path;
    scratch();
    ~scratch();
    std::string file(std::string const& name) const { return path + "/" + name; }
    std::string write(std::string const& name, std::string const& text) const;
    std::string read(std::string const& name) const;
    bool has(std::string const& name) const;
    // Names of the entries of a subdirectory in order, a blank after each.
    std::string list(std::string const& directory) const;
};

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

// Subjects that have been read and collapsed, with a frequency table and the estimator's inputs.
struct sample {
    variable v;
    case_control_ggi_data ccg;
    std::string* labels;
    std::vector<double> frequencies;
    result frequency;

    sample(std::string const& data_text, std::string const& spec_text);
    ~sample();
    sample(sample const&) = delete;
    data estimator() const { return {ccg.genotypes, ccg.distinct}; }
};

// One analysis up to a model that is set up and a fit that is at its starting values. The models
// are process-wide, so only one study of a likelihood class may live at a time.
struct study : sample {
    result fit;
    statistics stats;

    // Every covariate x becomes origin + scale x first.
    study(std::string const& data_text, std::string const& spec_text, double origin = 0,
          double scale = 1);
    ~study();

    // Fits and computes the statistics; returns the status of the fit.
    int run();
    // Reported value and standard error of a parameter.
    double estimate(unsigned parameter) const { return stats.estimates[parameter]; }
    double error(unsigned parameter) const { return stats.standard_errors[parameter]; }
    // Index of the first effect among the reported parameters.
    unsigned first_effect() const { return ccg.n_haplotypes + (v.hw != 0 ? 1 : 0); }
};

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
