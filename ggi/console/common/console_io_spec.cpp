// The variable specification file: one "KEYWORD=value" per line, free text between.
//
// The lines are split once and gone through twice: to count what must be allocated, and to store
// the values. A keyword is recognised anywhere before the "=", the later names of the list first,
// so that FTOLERANCE is not taken for TOLERANCE.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "ggi/console/common/values.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>

namespace {

constexpr int MAX_LOCI = 32;
constexpr char const* BLANKS = " \t\r\v\f";

struct spec_line {
    std::string location; // path:number
    unsigned key;         // KEYWORDS when there is none
    bool is_definition;   // holds a "="
    std::string value;
};

std::string trimmed(std::string const& text) {
    std::size_t const first = text.find_first_not_of(BLANKS);
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

unsigned find_keyword(std::string const& name) {
    for (unsigned key = KEYWORDS; key-- > 0;)
        if (name.find(variable::keywords[key]) != std::string::npos) return key;
    return KEYWORDS;
}

std::vector<spec_line> split_lines(std::string const& path, std::string const& text) {
    std::vector<spec_line> lines;
    std::size_t end;
    unsigned number = 1;
    for (std::size_t begin = 0; begin < text.size(); begin = end + 1, ++number) {
        end = std::min(text.find('\n', begin), text.size());
        std::string const line = text.substr(begin, end - begin);
        if (line.empty()) continue;
        std::size_t const equals = line.find('=');
        bool const is_definition = equals != std::string::npos;
        lines.push_back({path + ":" + std::to_string(number), find_keyword(line.substr(0, equals)),
                         is_definition, is_definition ? trimmed(line.substr(equals + 1)) : ""});
    }
    return lines;
}

std::vector<std::string> tokens(std::string const& value) {
    std::vector<std::string> list;
    std::size_t end;
    for (std::size_t begin = 0;; begin = end) {
        begin = value.find_first_not_of(BLANKS, begin);
        if (begin == std::string::npos) return list;
        end = std::min(value.find_first_of(BLANKS, begin), value.size());
        list.push_back(value.substr(begin, end - begin));
    }
}

// An integer that takes up the whole token and lies within [lowest, INT_MAX].
bool whole_integer(std::string const& token, int lowest, int& value) {
    std::istringstream stream(token);
    return stream >> value && stream.peek() == std::istringstream::traits_type::eof() &&
           value >= lowest;
}

// --- values ---

int set_fraction(unsigned key, std::string const& value, double& setting) {
    std::istringstream stream(value);
    double fraction;
    if (!(stream >> fraction)) return 0;
    if (!(fraction > 0.0 && fraction < 1.0)) {
        console_status(NOTE,
                       std::string("variable ") + variable::keywords[key] +
                           " must be between 0.0 and 1.0.",
                       "");
        return 0;
    }
    setting = fraction;
    return 1;
}

// --- columns and effects ---

int set_status(std::string const& value, variable& v, std::string& message) {
    std::istringstream stream(value);
    int column;
    if (!(stream >> column) || column < 1) {
        message = "error: " + value + " is not a valid column.";
        return 0;
    }
    v.status_column = static_cast<unsigned>(column) - 1;
    return 1;
}

// Reads column numbers into columns counted from 0.
int read_columns(std::string const& value, std::vector<unsigned>& columns, std::string& message) {
    for (std::string const& token : tokens(value)) {
        int column;
        if (!whole_integer(token, 1, column)) {
            message = "error: " + token + " is not a valid column.";
            return 0;
        }
        columns.push_back(static_cast<unsigned>(column) - 1);
    }
    return columns.empty() ? 0 : 1;
}

// The first of n rows that is still null; the rows are filled in order.
template <typename value> value** next_row(value** rows, unsigned n) {
    return std::partition_point(rows, rows + n, [](value const* row) { return row != nullptr; });
}

int set_gene(std::string const& value, variable& v, std::string& message) {
    std::vector<unsigned> columns;
    if (read_columns(value, columns, message) != 1) return 0;
    std::ptrdiff_t const g = next_row(v.gene_columns, v.n_genes) - v.gene_columns;
    // Each of the genes so far has a locus.
    std::size_t const loci = g > MAX_LOCI ? MAX_LOCI + 1 : v.n_loci();
    if (loci <= MAX_LOCI && loci + columns.size() > MAX_LOCI)
        message = "error: more than " + std::to_string(MAX_LOCI) + " loci are defined.";
    v.gene_columns[g] = new unsigned[columns.size()];
    std::copy(columns.begin(), columns.end(), v.gene_columns[g]);
    v.gene_loci[g] = static_cast<unsigned>(columns.size());
    return message.empty() ? 1 : 0;
}

int set_environment(std::string const& value, variable& v, std::string& message) {
    std::vector<unsigned> columns;
    if (read_columns(value, columns, message) != 1) return 0;
    unsigned* const end = v.covariate_columns + v.n_covariates;
    std::copy(columns.begin(), columns.end(),
              std::partition_point(v.covariate_columns, end,
                                   [](unsigned column) { return column != MAX_UINT; }));
    return 1;
}

int set_effect(std::string const& value, variable& v, std::string& message) {
    std::size_t const expected = std::size_t{v.n_genes} + v.n_covariates;
    std::vector<int> row;
    for (std::string const& token : tokens(value)) {
        bool const is_covariate = row.size() >= v.n_genes && row.size() < expected;
        int entry;
        if (!whole_integer(token, -1, entry) || (is_covariate && entry == 0) ||
            (is_covariate && entry > 1)) {
            message = "error: " + token + " is not a valid " +
                      (is_covariate ? "covariate specifier." : "specifier.");
            return 0;
        }
        row.push_back(entry);
    }
    // Without a gene there is nothing to check the row against; that is reported elsewhere.
    if (v.n_genes == 0) return 1;
    if (row.size() != expected) {
        message = "error: read " + std::to_string(row.size()) + " values for variable " +
                  variable::keywords[EFFECT] + ", expected " + std::to_string(expected) + ".";
        return 0;
    }
    int** const target = next_row(v.effects, v.n_effects);
    *target = new int[expected];
    std::copy(row.begin(), row.end(), *target);
    return 1;
}

// --- the two passes ---

// Counts the definitions and allocates the arrays; false when something is defined twice or not at
// all.
bool count_definitions(std::string const& path, std::vector<spec_line> const& lines, variable& v) {
    bool good = true;
    unsigned defined[KEYWORDS] = {}, met[KEYWORDS] = {};
    for (spec_line const& line : lines) {
        if (line.key == KEYWORDS) continue;
        met[line.key] = 1;
        if (!line.is_definition) continue;
        unsigned const count = ++defined[line.key];
        if (line.key == ENVIRONMENT)
            v.n_covariates += static_cast<unsigned>(tokens(line.value).size());
        if (line.key == STATUS && count > 1) {
            console_status(MULTIPLY_DEFINED, line.location, variable::keywords[STATUS]);
            good = false;
        }
    }
    for (unsigned const key : {STATUS, GENE, EFFECT})
        if (met[key] == 0) {
            console_status(NOT_DEFINED, path, variable::keywords[key]);
            good = false;
        }
    v.n_genes = defined[GENE];
    v.n_effects = defined[EFFECT];
    v.gene_loci = new unsigned[v.n_genes]();
    v.gene_columns = new unsigned* [v.n_genes] {};
    v.effects = new int* [v.n_effects] {};
    v.covariate_columns = new unsigned[v.n_covariates];
    std::fill(v.covariate_columns, v.covariate_columns + v.n_covariates, MAX_UINT);
    return good;
}

// What the lines so far have named, to warn of what is named again or out of order.
struct named {
    std::map<unsigned, unsigned> columns; // how often each column
    std::map<unsigned, unsigned> last;    // last column of the GENE and of the ENVIRONMENT lines
    bool is_ordered[KEYWORDS];            // until a line breaks the order
    std::map<std::string, unsigned> effects;
};

void warn(std::string const& location, std::string const& text) {
    console_status(NOTE, location + ": warning: " + text, "");
}

void warn_of_columns(spec_line const& line, named& seen) {
    std::vector<unsigned> columns;
    std::string ignored;
    read_columns(line.key == STATUS ? std::to_string(std::stoi(line.value)) : line.value, columns,
                 ignored);
    bool in_order = true;
    for (unsigned const column : columns) {
        if (++seen.columns[column] == 2)
            warn(line.location,
                 "column " + std::to_string(column + 1) + " is defined more than once.");
        auto const last = seen.last.find(line.key);
        if (last != seen.last.end() && column <= last->second) in_order = false;
        seen.last[line.key] = column;
    }
    if (line.key == STATUS || in_order || !seen.is_ordered[line.key]) return;
    seen.is_ordered[line.key] = false;
    warn(line.location, std::string("columns are not in increasing order, ") +
                            (line.key == GENE ? "loci" : "covariates") +
                            " are taken in column order.");
}

void warn_of_effect(spec_line const& line, named& seen) {
    std::string row;
    for (std::string const& token : tokens(line.value))
        row += std::to_string(std::stoi(token)) + " ";
    if (++seen.effects[row] > 1) warn(line.location, "effect is defined more than once.");
}

bool store_definition(spec_line const& line, variable& v, named& seen) {
    if (line.key == KEYWORDS) {
        if (line.is_definition) warn(line.location, "no known variable, line ignored.");
        return true;
    }
    std::string message;
    if (!line.is_definition || setvar(line.key, line.value, v, message) != 1) {
        if (message.empty())
            console_status(INVALID_DEFINITION, line.location, variable::keywords[line.key]);
        else
            console_status(NOTE, line.location + ": " + message, "");
        return false;
    }
    if (line.key == STATUS || line.key == GENE || line.key == ENVIRONMENT)
        warn_of_columns(line, seen);
    else if (line.key == EFFECT)
        warn_of_effect(line, seen);
    return true;
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
    case HEADER: return 1; // every data file has a header line, whatever the value
    case SAMPLE: return read_sample(value, v.sample);
    case THRESHOLD: return set_fraction(key, value, v.threshold);
    case TOLERANCE: return set_fraction(key, value, v.tolerance);
    case ITERATIONS: return read_count(value, v.iterations);
    case FTOLERANCE: return set_fraction(key, value, v.frequency_tolerance);
    case FITERATIONS: return read_count(value, v.frequency_iterations);
    default: return 0;
    }
}

int validate_spec(std::string const& path, variable& v) {
    v.spec_path = path;
    std::string text;
    if (!is_empty_file(path)) {
        char* buffer;
        int length;
        int const status = get_file(path, buffer, length);
        if (status != 1) {
            console_status(status, path, "specification");
            return NOTE;
        }
        std::unique_ptr<char[]> const owner(buffer);
        text.assign(buffer, static_cast<std::size_t>(length));
    }
    std::vector<spec_line> const lines = split_lines(path, text);
    bool good = count_definitions(path, lines, v);
    named seen{};
    std::fill(std::begin(seen.is_ordered), std::end(seen.is_ordered), true);
    for (spec_line const& line : lines)
        good = store_definition(line, v, seen) && good;
    return good ? 1 : NOTE;
}
