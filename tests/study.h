// An analysis built step by step from the text of a data file and of a variable specification file,
// for tests and benchmarks. A step that fails throws std::logic_error.
#ifndef QUILMAR_TESTS_STUDY_H
#define QUILMAR_TESTS_STUDY_H

#include "ggi/case_control_ggi_data.h"
#include "ggi/case_control_ggi_setup.h"
#include "ggi/console/common/variable.h"
#include "ggi/engine_input.h"
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

// One analysis up to a model that is set up and a fit that is at its starting values. The models are
// one per thread, so only one study of a likelihood class may live in a thread at a time.
struct study : sample {
    result fit;
    statistics stats;

    // Every covariate x becomes origin + scale x first.
    study(std::string const& data_text, std::string const& spec_text, double origin = 0,
          double scale = 1);
    ~study();

    // From the collapsed record, or one from counts, to the starting values.
    void set_up();
    // Fits and computes the statistics; returns the status of the fit.
    int run();
    // Reported value and standard error of a parameter.
    double estimate(unsigned parameter) const { return stats.estimates[parameter]; }
    double error(unsigned parameter) const { return stats.standard_errors[parameter]; }
    // Index of the first effect among the reported parameters.
    unsigned first_effect() const {
        parameter_layout const where = layout_of(ccg, v.hw);
        return where.reported(where.effect(0));
    }
};

#endif
