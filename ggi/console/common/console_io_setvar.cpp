// Storing of the values of the variable specification file, one definition at a time.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "ggi/console/common/values.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <sstream>

namespace {

constexpr int MAX_LOCI = 32;

int set_fraction(unsigned key, std::string const& value, double& setting) {
    std::istringstream stream(value);
    double fraction;
    if (!(stream >> fraction)) return FAILURE;
    if (!(fraction > 0.0 && fraction < 1.0)) {
        console_status(NOTE,
                       std::string("variable ") + variable::keywords[key] +
                           " must be between 0.0 and 1.0.",
                       "");
        return FAILURE;
    }
    setting = fraction;
    return SUCCESS;
}

int set_status(std::string const& value, variable& v, std::string& message) {
    std::istringstream stream(value);
    int column;
    if (!(stream >> column) || column < 1) {
        message = "error: " + value + " is not a valid column.";
        return FAILURE;
    }
    v.status_column = static_cast<unsigned>(column) - 1;
    return SUCCESS;
}

// The first of n rows that is still null; the rows are filled in order.
template <typename value> value** next_row(value** rows, unsigned n) {
    return std::partition_point(rows, rows + n, [](value const* row) { return row != nullptr; });
}

int set_gene(std::string const& value, variable& v, std::string& message) {
    std::vector<unsigned> columns;
    if (!read_columns(value, columns, message)) return FAILURE;
    std::ptrdiff_t const g = next_row(v.gene_columns, v.n_genes) - v.gene_columns;
    // Each of the genes so far has a locus.
    std::size_t const loci = g > MAX_LOCI ? MAX_LOCI + 1 : v.n_loci();
    if (loci <= MAX_LOCI && loci + columns.size() > MAX_LOCI)
        message = "error: more than " + std::to_string(MAX_LOCI) + " loci are defined.";
    v.gene_columns[g] = new unsigned[columns.size()];
    std::copy(columns.begin(), columns.end(), v.gene_columns[g]);
    v.gene_loci[g] = static_cast<unsigned>(columns.size());
    return message.empty() ? SUCCESS : FAILURE;
}

int set_environment(std::string const& value, variable& v, std::string& message) {
    std::vector<unsigned> columns;
    if (!read_columns(value, columns, message)) return FAILURE;
    unsigned* const end = v.covariate_columns + v.n_covariates;
    std::copy(columns.begin(), columns.end(),
              std::partition_point(v.covariate_columns, end,
                                   [](unsigned column) { return column != MAX_UINT; }));
    return SUCCESS;
}

int set_effect(std::string const& value, variable& v, std::string& message) {
    std::size_t const expected = std::size_t{v.n_genes} + v.n_covariates;
    std::vector<int> row;
    for (std::string_view rest = value, token; !(token = take_token(rest)).empty();) {
        bool const is_covariate = row.size() >= v.n_genes && row.size() < expected;
        int entry;
        if (!read_whole(std::string(token), -1, entry) || (is_covariate && entry == 0) ||
            (is_covariate && entry > 1)) {
            message = "error: " + std::string(token) + " is not a valid " +
                      (is_covariate ? "covariate specifier." : "specifier.");
            return FAILURE;
        }
        row.push_back(entry);
    }
    // Without a gene there is nothing to check the row against; that is reported elsewhere.
    if (v.n_genes == 0) return SUCCESS;
    if (row.size() != expected) {
        message = "error: read " + std::to_string(row.size()) + " values for variable " +
                  variable::keywords[EFFECT] + ", expected " + std::to_string(expected) + ".";
        return FAILURE;
    }
    int** const target = next_row(v.effects, v.n_effects);
    *target = new int[expected];
    std::copy(row.begin(), row.end(), *target);
    return SUCCESS;
}

} // namespace

int setvar(unsigned key, std::string const& value, variable& v, std::string& message) {
    switch (key) {
    case STATUS: return set_status(value, v, message);
    case GENE: return set_gene(value, v, message);
    case EFFECT: return set_effect(value, v, message);
    case ENVIRONMENT: return set_environment(value, v, message);
    case HW: return read_hw(value, v.hw);
    case MODEL: return read_model(value, v.model);
    case HEADER: return SUCCESS; // every data file has a header line, whatever the value
    case SAMPLE: return read_sample(value, v.sample);
    case THRESHOLD: return set_fraction(key, value, v.threshold);
    case TOLERANCE: return set_fraction(key, value, v.tolerance);
    case ITERATIONS: return read_count(value, v.iterations);
    case FTOLERANCE: return set_fraction(key, value, v.frequency_tolerance);
    case FITERATIONS: return read_count(value, v.frequency_iterations);
    default: return FAILURE;
    }
}
