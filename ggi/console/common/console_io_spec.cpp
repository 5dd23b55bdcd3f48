// The variable specification file: one "KEYWORD=value" per line, free text between.
//
// The text is gone through twice: to count what must be allocated, and to store the values. A
// keyword is recognised anywhere before the "=", the later names of the list first, so that
// FTOLERANCE is not taken for TOLERANCE.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "ggi/console/common/values.h"
#include "numeric/memory.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>

namespace {

// What a character of the file takes at most, in short EFFECT lines or a list of short columns.
constexpr double BYTES_PER_CHARACTER = 10;

struct spec_line {
    std::string const& path;
    unsigned number;
    unsigned key;       // KEYWORDS when there is none
    bool is_definition; // holds a "="
    std::string_view value;

    std::string location() const { return path + ":" + std::to_string(number); }
};

std::string_view trimmed(std::string_view text) {
    std::size_t const first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) return "";
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

unsigned find_keyword(std::string_view name) {
    for (unsigned key = KEYWORDS; key-- > 0;)
        if (name.find(variable::keywords[key]) != std::string_view::npos) return key;
    return KEYWORDS;
}

// Calls visit for every line that holds a keyword or a "=".
template <typename visitor>
void for_each_line(std::string const& path, std::string_view text, visitor visit) {
    for (unsigned number = 1; !text.empty(); ++number) {
        std::string_view const line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        std::size_t const equals = line.find('=');
        bool const is_definition = equals != std::string_view::npos;
        unsigned const key = find_keyword(line.substr(0, equals));
        if (is_definition || key != KEYWORDS)
            visit(spec_line{path, number, key, is_definition,
                            is_definition ? trimmed(line.substr(equals + 1)) : ""});
    }
}

unsigned count_tokens(std::string_view text) {
    unsigned n = 0;
    while (!take_token(text).empty())
        ++n;
    return n;
}

// Counts the definitions and allocates the arrays; false when something is defined twice or not at
// all.
bool count_definitions(std::string const& path, std::string_view text, variable& v) {
    bool good = true;
    unsigned defined[KEYWORDS] = {}, met[KEYWORDS] = {};
    for_each_line(path, text, [&](spec_line const& line) {
        if (line.key == KEYWORDS) return;
        met[line.key] = 1;
        if (!line.is_definition) return;
        unsigned const count = ++defined[line.key];
        if (line.key == ENVIRONMENT) v.n_covariates += count_tokens(line.value);
        if (line.key == STATUS && count > 1) {
            console_status(MULTIPLY_DEFINED, line.location(), variable::keywords[STATUS]);
            good = false;
        }
    });
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
    bool is_warned_of_header;
    std::map<std::string, unsigned> effects;
};

void warn(spec_line const& line, std::string const& text) {
    console_status(NOTE, line.location() + ": warning: " + text, "");
}

void warn_of_columns(spec_line const& line, std::vector<unsigned> const& columns, named& seen) {
    bool in_order = true;
    for (unsigned const column : columns) {
        if (++seen.columns[column] == 2)
            warn(line, "column " + std::to_string(column + 1) + " is defined more than once.");
        auto const last = seen.last.find(line.key);
        if (last != seen.last.end() && column <= last->second) in_order = false;
        seen.last[line.key] = column;
    }
    if (in_order || !seen.is_ordered[line.key]) return;
    seen.is_ordered[line.key] = false;
    warn(line, std::string("columns are not in increasing order, ") +
                   (line.key == GENE ? "loci" : "covariates") + " are taken in column order.");
}

void warn_of_effect(spec_line const& line, named& seen) {
    std::string row;
    for (std::string_view rest = line.value, token; !(token = take_token(rest)).empty();)
        row += std::to_string(std::stoi(std::string(token))) + " ";
    if (++seen.effects[row] > 1) warn(line, "effect is defined more than once.");
}

void warn_of_header(spec_line const& line, named& seen) {
    unsigned count;
    if (read_count(std::string(line.value), count) || seen.is_warned_of_header) return;
    seen.is_warned_of_header = true;
    warn(line, "HEADER has no effect, the first line of a data file holds names.");
}

// Warns of a definition that has been stored but may not be what was meant.
void warn_of_definition(spec_line const& line, variable const& v, named& seen) {
    std::string const value(line.value);
    std::vector<unsigned> columns;
    std::string ignored;
    switch (line.key) {
    case STATUS:
        warn_of_rest(line.location(), value, INTEGER);
        // A second line has been refused.
        if (seen.last.count(STATUS) == 0) warn_of_columns(line, {v.status_column}, seen);
        break;
    case GENE:
    case ENVIRONMENT:
        read_columns(value, columns, ignored);
        warn_of_columns(line, columns, seen);
        break;
    case EFFECT: warn_of_effect(line, seen); break;
    case HEADER: warn_of_header(line, seen); break;
    case ITERATIONS:
    case FITERATIONS: warn_of_rest(line.location(), value, INTEGER); break;
    case THRESHOLD:
    case TOLERANCE:
    case FTOLERANCE: warn_of_rest(line.location(), value, REAL); break;
    default: break;
    }
}

bool store_definition(spec_line const& line, variable& v, named& seen) {
    if (line.key == KEYWORDS) {
        warn(line, "no known variable, line ignored.");
        return true;
    }
    std::string message;
    if (line.is_definition && setvar(line.key, std::string(line.value), v, message) == SUCCESS) {
        warn_of_definition(line, v, seen);
        return true;
    }
    if (message.empty())
        console_status(INVALID_DEFINITION, line.location(), variable::keywords[line.key]);
    else
        console_status(NOTE, line.location() + ": " + message, "");
    return false;
}

} // namespace

int validate_spec(std::string const& path, variable& v) {
    char* buffer;
    int length;
    int const status = get_file(path, buffer, length);
    if (status != SUCCESS) {
        console_status(status, path, "specification");
        return NOTE;
    }
    std::unique_ptr<char[]> const owner(buffer);
    require_memory(BYTES_PER_CHARACTER * length);
    std::string_view const text(buffer, static_cast<std::size_t>(length));
    bool good = count_definitions(path, text, v);
    named seen{};
    std::fill(std::begin(seen.is_ordered), std::end(seen.is_ordered), true);
    for_each_line(path, text,
                  [&](spec_line const& line) { good = store_definition(line, v, seen) && good; });
    return good ? static_cast<int>(SUCCESS) : NOTE;
}
