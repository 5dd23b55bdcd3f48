// Data files: a line of column names, then one subject per line, in columns separated by white
// space.
//
// The buffer is swept once. A line of the wrong width ends the reading; a value that cannot be read
// is only noted, because a wrong width further down is reported in preference.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "numeric/memory.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

enum column_kind : unsigned char { IGNORED, DISEASE, COVARIATE, SNP };

constexpr keyword VARIABLE_OF[] = {KEYWORDS, STATUS, ENVIRONMENT, GENE};

// Which characters belong to a token: all but white space, and so not the newline of a line.
struct token_characters {
    bool is_token[256] = {};

    constexpr token_characters() {
        for (int c = 0; c < 256; ++c)
            is_token[c] = c != ' ' && !(c >= '\t' && c <= '\r');
    }
    bool operator()(char c) const { return is_token[static_cast<unsigned char>(c)]; }
};
constexpr token_characters is_token;

struct line {
    char const* begin;
    char const* end; // its newline
    unsigned tokens;
    unsigned count; // of attempts to take a token before a stream ends: one more than the tokens
                    // after trailing white space

    bool is_empty() const { return begin == end; }
};

// Calls visit(index, begin, end) for every token of the line that begins at l.begin; fills the rest
// of l. A newline must come. Where a token can begin, run(index, at) may take some itself: it adds
// their number to the index and moves `at` behind the white space after them.
template <typename runner, typename visitor>
void for_each_token(line& l, runner run, visitor visit) {
    unsigned index = 0;
    for (char const* at = l.begin;;) {
        run(index, at);
        for (; !is_token(*at); ++at)
            if (*at == '\n') {
                bool const ends_in_token = at != l.begin && is_token(at[-1]);
                l = {l.begin, at, index, ends_in_token ? index : index + 1};
                return;
            }
        char const* const begin = at++;
        while (is_token(*at))
            ++at;
        visit(index++, begin, at);
        at += *at != '\n';
    }
}

void take_no_tokens(unsigned&, char const*&) {}

line measured(char const* begin) {
    line l{begin, nullptr, 0, 0};
    for_each_token(l, take_no_tokens, [](unsigned, char const*, char const*) {});
    return l;
}

// A decimal number that takes up the whole token and is finite. White space follows every token, so
// that strtod stops at its end.
bool read_number(char const* begin, char const* end, double& value) {
    char const* at = begin;
    auto digits = [&] {
        char const* const first = at;
        while (at != end && *at >= '0' && *at <= '9')
            ++at;
        return at - first;
    };
    if (at != end && (*at == '+' || *at == '-')) ++at;
    auto mantissa = digits();
    if (at != end && *at == '.') {
        ++at;
        mantissa += digits();
    }
    if (mantissa == 0) return false;
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        if (at != end && (*at == '+' || *at == '-')) ++at;
        if (digits() == 0) return false;
    }
    if (at != end) return false;
    value = std::strtod(begin, nullptr);
    return std::isfinite(value);
}

// What a defined column holds.
struct column {
    column_kind kind = IGNORED; // SNP wins over covariate, covariate over status
    unsigned first_covariate = 0;
    unsigned n_covariates = 0; // that it gives; more than one when it is named twice
    unsigned n_snps = 0;       // columns from here on that hold a SNP and nothing else
};

std::vector<column> lay_out_columns(variable const& v, std::size_t defined) {
    std::vector<column> columns(defined);
    columns[v.status_column].kind = DISEASE;
    // Covariates are numbered in column order.
    std::vector<unsigned> covariates(v.covariate_columns, v.covariate_columns + v.n_covariates);
    std::sort(covariates.begin(), covariates.end());
    for (unsigned c = v.n_covariates; c-- > 0;) {
        column& of = columns[covariates[c]];
        of = {COVARIATE, c, of.n_covariates + 1, 0};
    }
    for (unsigned g = 0; g < v.n_genes; ++g)
        for (unsigned l = 0; l < v.gene_loci[g]; ++l)
            columns[v.gene_columns[g][l]].kind = SNP;
    unsigned n_snps = 0;
    for (auto c = columns.rbegin(); c != columns.rend(); ++c)
        c->n_snps = n_snps = c->kind == SNP && c->n_covariates == 0 ? n_snps + 1 : 0;
    return columns;
}

// One more than the largest column that is named.
unsigned defined_columns(variable const& v) {
    unsigned last = v.status_column;
    for (unsigned c = 0; c < v.n_covariates; ++c)
        last = std::max(last, v.covariate_columns[c]);
    for (unsigned g = 0; g < v.n_genes; ++g)
        for (unsigned l = 0; l < v.gene_loci[g]; ++l)
            last = std::max(last, v.gene_columns[g][l]);
    return last + 1;
}

struct outputs {
    std::string*& names;
    genotype**& genotypes;
    unsigned*& status;
    double**& covariates;
    unsigned& n;

    void allocate(variable const& v, std::size_t lines, unsigned defined) {
        require_memory(static_cast<double>(lines) *
                       (sizeof(genotype) + sizeof(genotype*) + 2 * sizeof(unsigned) +
                        v.n_covariates * sizeof(double)));
        names = new std::string[defined];
        genotypes = new genotype* [lines + 1] {};
        genotypes[0] = new genotype[lines + 1];
        use_large_pages(genotypes[0], (lines + 1) * sizeof(genotype));
        status = new unsigned[lines];
        if (v.n_covariates == 0) return;
        covariates = new double* [v.n_covariates] {};
        for (unsigned c = 0; c < v.n_covariates; ++c)
            covariates[c] = new double[lines];
    }
    void release(unsigned n_covariates) {
        if (covariates != nullptr)
            for (unsigned c = n_covariates; c-- > 0;)
                delete[] covariates[c];
        delete[] covariates;
        if (genotypes != nullptr) delete[] genotypes[0];
        delete[] genotypes;
        delete[] status;
        delete[] names;
        covariates = nullptr;
        genotypes = nullptr;
        status = nullptr;
        names = nullptr;
        n = 0;
    }
};

// Names from the header line, or made up without one, for the columns that are used.
void name_columns(std::vector<column> const& columns, line* header, std::string* names) {
    if (header != nullptr) {
        for_each_token(*header, take_no_tokens,
                       [&](unsigned index, char const* begin, char const* end) {
                           if (index < columns.size() && columns[index].kind != IGNORED)
                               names[index].assign(begin, end);
                       });
        return;
    }
    unsigned snps = 0, environment = 0;
    for (std::size_t c = 0; c < columns.size(); ++c)
        switch (columns[c].kind) {
        case DISEASE: names[c] = "STATUS"; break;
        case COVARIATE: names[c] = "ENV" + std::to_string(++environment); break;
        case SNP: names[c] = "SNP" + std::to_string(++snps); break;
        default: break;
        }
}

// The first value that could not be read.
struct bad_value {
    unsigned line; // 0 for none
    column_kind kind;
};

// SNP masks of one subject, filled from the highest bit down.
struct snp_masks {
    unsigned missing = 0, twos = 0, ones = 0, n = 0;

    // Without branches, since copies cannot be predicted.
    void add(unsigned copies) {
        ones = ones << 1 | (copies == 1 || copies == 2);
        twos = twos << 1 | (copies == 2);
        missing = missing << 1 | (copies > 2);
        ++n;
    }
};

// Reads the subject's line into the place after the last subject.
void read_subject(line& l, unsigned number, std::vector<column> const& columns, unsigned loci,
                  outputs const& out, bad_value& bad) {
    snp_masks snps;
    unsigned n_covariates = 0, status = 0;
    std::size_t const defined = columns.size();
    // Nearly all values of a file are SNPs of one digit, one blank apart.
    auto const read_snps = [&snps, defined, of = columns.data()](unsigned& index, char const*& at) {
        for (unsigned left = index < defined ? of[index].n_snps : 0; left > 0; --left, ++index) {
            unsigned const digit = static_cast<unsigned>(*at) - '0';
            if (digit > 9 || (at[1] != ' ' && at[1] != '\t')) return;
            snps.add(digit);
            at += 2;
        }
    };
    for_each_token(l, read_snps, [&](unsigned index, char const* begin, char const* end) {
        if (index >= defined) return;
        column const& c = columns[index];
        if (c.kind == IGNORED) return;
        unsigned digit = static_cast<unsigned>(*begin) - '0';
        double value = digit;
        bool good = true;
        if (end - begin != 1 || digit > 9) {
            good = read_number(begin, end, value);
            digit = value == 0 ? 0 : value == 1 ? 1 : value == 2 ? 2 : 3;
        }
        if (c.kind == SNP) {
            snps.add(digit);
        } else if (c.kind == DISEASE) {
            good = good && digit < 2;
            status = digit;
        }
        for (unsigned k = 0; k < c.n_covariates; ++k, ++n_covariates)
            out.covariates[c.first_covariate + k][out.n] = value;
        if (!good && bad.line == 0) bad = {number, c.kind};
    });
    // White space at the end of a line counts as a column that has no value.
    if (l.tokens < defined && bad.line == 0 && columns[l.tokens].kind != IGNORED)
        bad = {number, columns[l.tokens].kind};
    out.status[out.n] = status;
    // A column that is named twice leaves the lowest bits unset.
    while (snps.n < loci)
        snps.add(0);
    genotype& genes = out.genotypes[0][out.n];
    genes.clear();
    genes.init(loci, snps.missing, snps.twos, snps.ones);
    genes.n_covariates = n_covariates;
}

// Reads the subjects of the buffer, a newline following its end. Prints what is wrong with it and
// returns the code, or SUCCESS.
int read_subjects(char const* buffer, char const* end, std::string const& name, variable const& v,
                  outputs& out) {
    auto const located = [&](unsigned number) { return name + ":" + std::to_string(number); };
    unsigned number = 1; // of the line
    line current = measured(buffer);
    for (; current.is_empty() && current.end < end; ++number)
        current = measured(current.end + 1);
    if (current.is_empty()) return console_status(NO_DATA, name, "");
    unsigned const width = current.count, defined = defined_columns(v);
    if (width < defined || (v.header != 0 && number != 1))
        return console_status(COLUMNS_MISMATCH, name, "");

    out.allocate(v, static_cast<std::size_t>(std::count(buffer, end, '\n')), defined);
    std::vector<column> const columns = lay_out_columns(v, defined);
    unsigned const loci = v.n_loci();
    name_columns(columns, v.header != 0 ? &current : nullptr, out.names);
    char const* next = buffer;
    number = 0;
    if (v.header != 0) {
        next = current.end < end ? current.end + 1 : end;
        number = 1;
    }

    char const* complete = end; // where the last line with a newline of its own ends
    while (complete != buffer && complete[-1] != '\n')
        --complete;
    bad_value bad{0, IGNORED};
    for (; next < complete; next = current.end + 1) {
        current.begin = next;
        ++number;
        if (*next == '\n') {
            current.end = next;
            continue;
        }
        read_subject(current, number, columns, loci, out, bad);
        if (current.count < defined) return console_status(COLUMNS_MISMATCH, located(number), "");
        if (current.count != width) return console_status(INVALID_FORMAT, located(number), "");
        out.genotypes[out.n] = out.genotypes[0] + out.n;
        ++out.n;
    }
    if (next < end && measured(next).tokens != 0)
        console_status(NOTE, "warning: last line has no newline and is ignored.", name);
    if (out.n == 0) return console_status(NO_DATA, name, "");
    if (bad.line != 0)
        return console_status(INVALID_VALUE, located(bad.line),
                              variable::keywords[VARIABLE_OF[bad.kind]]);
    return SUCCESS;
}

} // namespace

int read_file(std::string path, variable const& v, std::string*& names, genotype**& genotypes,
              unsigned*& status, double**& covariates, unsigned& n) {
    outputs out{names, genotypes, status, covariates, n};
    std::string const name = base_name(path);
    char* buffer;
    int length;
    int code = get_file(path, buffer, length);
    if (code == OPEN_FAILED) return code;
    if (code != SUCCESS) return console_status(code, path, "data");
    std::unique_ptr<char[]> const owner(buffer);
    // In the place of the closing NUL, so that every line ends in a newline.
    buffer[length] = '\n';
    code = read_subjects(buffer, buffer + length, name, v, out);
    if (code != SUCCESS) out.release(v.n_covariates);
    return code;
}
