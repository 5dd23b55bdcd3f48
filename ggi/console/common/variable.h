// The settings of a run: built-in defaults, overridden by the variable specification file,
// overridden by the command line.
#ifndef QUILMAR_CONSOLE_VARIABLE_H
#define QUILMAR_CONSOLE_VARIABLE_H

#include "ggi/settings.h"

#include <set>
#include <string>
#include <sys/types.h>
#include <utility>

// Keywords of the variable specification file; the value is the place of the name in
// variable::keywords.
enum keyword {
    STATUS,
    GENE,
    EFFECT,
    ENVIRONMENT,
    HW,
    MODEL,
    HEADER,
    SAMPLE,
    THRESHOLD,
    TOLERANCE,
    ITERATIONS,
    FTOLERANCE,
    FITERATIONS,
    KEYWORDS // their number
};

// What a file is, whatever its names: its device and its number there.
using file_id = std::pair<dev_t, ino_t>;

struct variable {
    double tolerance;           // of the model fit
    double frequency_tolerance; // of the frequency estimator
    double threshold;           // haplotypes with a frequency above it are modelled
    unsigned header;            // non-zero: the first line of a data file holds column names
    unsigned iterations;        // at most, of the model fit
    unsigned frequency_iterations;
    unsigned model;  // an inheritance
    unsigned hw;     // a hardy_weinberg
    unsigned sample; // a frequency_sample
    unsigned n_covariates;
    unsigned n_genes;
    unsigned n_effects;
    unsigned status_column; // columns count from 0
    unsigned* gene_loci;    // number of SNP columns per gene
    unsigned* covariate_columns;
    unsigned** gene_columns; // SNP columns per gene, as written
    int** effects;           // per effect one entry per gene, then one per covariate; -1 absent
    std::string result_path;
    std::set<file_id> inputs; // all files that the run reads; a report replaces none of them

    static constexpr char const* keywords[KEYWORDS] = {
        "STATUS", "GENE",      "EFFECT",    "ENVIRONMENT", "HW",         "MODEL",      "HEADER",
        "SAMPLE", "THRESHOLD", "TOLERANCE", "ITERATIONS",  "FTOLERANCE", "FITERATIONS"};

    // Sets the defaults; nothing is allocated.
    void init();
    // Releases the arrays and zeroes their counts.
    void free();

    // Number of SNP columns over all genes.
    unsigned n_loci() const;
};

#endif
