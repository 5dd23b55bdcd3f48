// Data files: a line of column names, then one subject per line, in columns separated by white
// space.
//
// The buffer is swept once. A line of the wrong width ends the reading; a value that cannot be read
// is only noted, because a wrong width further down is reported in preference.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

enum column_kind : unsigned char { IGNORED, DISEASE, COVARIATE, SNP };

constexpr keyword VARIABLE_OF[] = {KEYWORDS, STATUS, ENVIRONMENT, GENE};

bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

struct line {
    char const* begin;
    char const* end; // the newline, or the end of the buffer
    unsigned number; // counted from 1
    bool terminated; // by a newline
};

// The line after `previous`; false at the end of the buffer.
bool next_line(char const* buffer_end, line& current) {
    char const* const begin = current.terminated ? current.end + 1 : current.end;
    if (begin == buffer_end) return false;
    void const* const newline =
        std::memchr(begin, '\n', static_cast<std::size_t>(buffer_end - begin));
    current.begin = begin;
    current.terminated = newline != nullptr;
    current.end = current.terminated ? static_cast<char const*>(newline) : buffer_end;
    ++current.number;
    return true;
}

bool is_blank(line const& l) {
    return std::all_of(l.begin, l.end, [](char c) { return is_blank(c); });
}

// Calls visit(index, begin, end) for every token of the line. Returns how often a stream would have
// to be asked for a token before it ends: their number, and one more after trailing white space.
template <typename visitor> unsigned for_each_token(line const& l, visitor visit) {
    unsigned count = 0;
    for (char const* at = l.begin;;) {
        while (at != l.end && is_blank(*at))
            ++at;
        if (at == l.end) return l.begin == l.end || is_blank(l.end[-1]) ? count + 1 : count;
        char const* const begin = at;
        while (at != l.end && !is_blank(*at))
            ++at;
        visit(count++, begin, at);
    }
}

unsigned count_tokens(line const& l) {
    return for_each_token(l, [](unsigned, char const*, char const*) {});
}

// A decimal number that takes up the whole token and is finite. The buffer ends in a NUL, so that
// strtod stops at the token's end.
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

// What the defined columns hold.
struct column_layout {
    std::vector<column_kind> kinds;           // SNP wins over covariate, covariate over status
    std::vector<std::vector<unsigned>> slots; // covariates that a column gives, in column order
};

column_layout lay_out_columns(variable const& v, std::size_t defined) {
    column_layout columns{std::vector<column_kind>(defined, IGNORED),
                          std::vector<std::vector<unsigned>>(defined)};
    columns.kinds[v.status_column] = DISEASE;
    std::vector<unsigned> covariates(v.covariate_columns, v.covariate_columns + v.n_covariates);
    std::sort(covariates.begin(), covariates.end());
    for (unsigned c = 0; c < v.n_covariates; ++c) {
        columns.kinds[covariates[c]] = COVARIATE;
        columns.slots[covariates[c]].push_back(c);
    }
    for (unsigned g = 0; g < v.n_genes; ++g)
        for (unsigned l = 0; l < v.gene_loci[g]; ++l)
            columns.kinds[v.gene_columns[g][l]] = SNP;
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

// Codes the copies of one SNP at the bit.
void store_snp(double copies, unsigned bit, genotype& genes) {
    if (copies == 1 || copies == 2)
        genes.ones |= bit;
    else if (copies != 0)
        genes.missing |= bit;
    if (copies == 2) genes.twos |= bit;
}

struct outputs {
    std::string*& names;
    genotype**& genotypes;
    unsigned*& status;
    double**& covariates;
    unsigned& n;

    void allocate(variable const& v, std::size_t lines, unsigned defined) {
        names = new std::string[defined];
        genotypes = new genotype* [lines + 1] {};
        genotypes[0] = new genotype[lines + 1];
        status = new unsigned[lines]();
        if (v.n_covariates == 0) return;
        covariates = new double* [v.n_covariates] {};
        for (unsigned c = 0; c < v.n_covariates; ++c)
            covariates[c] = new double[lines]();
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
void name_columns(column_layout const& columns, line const* header, std::string* names) {
    if (header != nullptr) {
        for_each_token(*header, [&](unsigned index, char const* begin, char const* end) {
            if (index < columns.kinds.size() && columns.kinds[index] != IGNORED)
                names[index].assign(begin, end);
        });
        return;
    }
    unsigned snps = 0, environment = 0;
    for (std::size_t c = 0; c < columns.kinds.size(); ++c)
        switch (columns.kinds[c]) {
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

// Reads the subject's line; returns the number of tokens as for_each_token counts them.
unsigned read_subject(line const& l, column_layout const& columns, unsigned loci,
                      outputs const& out, bad_value& bad) {
    genotype& genes = out.genotypes[0][out.n];
    genes.clear();
    genes.init(loci, 0, 0, 0);
    unsigned bit = 1u << (loci - 1); // of the next SNP; 0 after the last
    return for_each_token(l, [&](unsigned index, char const* begin, char const* end) {
        if (bad.line != 0 || index >= columns.kinds.size()) return;
        column_kind const kind = columns.kinds[index];
        if (kind == IGNORED) return;
        double value = 0;
        bool good = true;
        if (end - begin == 1 && *begin >= '0' && *begin <= '9')
            value = *begin - '0';
        else
            good = read_number(begin, end, value);
        if (kind == DISEASE) {
            good = good && (value == 0 || value == 1);
            out.status[out.n] = value == 1;
        } else if (kind == SNP) {
            store_snp(value, bit, genes);
            bit >>= 1;
        }
        for (unsigned const c : columns.slots[index]) {
            out.covariates[c][out.n] = value;
            ++genes.n_covariates;
        }
        if (!good) bad = {l.number, kind};
    });
}

// Reads the subjects of the buffer. Prints what is wrong with it and returns the code, or 1.
int read_subjects(char const* buffer, std::size_t length, std::string const& name,
                  variable const& v, outputs& out) {
    char const* const end = buffer + length;
    auto const located = [&](unsigned number) { return name + ":" + std::to_string(number); };
    line current{buffer, buffer, 0, false};
    bool more = next_line(end, current);
    while (more && is_blank(current))
        more = next_line(end, current);
    if (!more) return console_status(NO_DATA, name, "");
    unsigned const width = count_tokens(current), defined = defined_columns(v);
    if (width < defined || (v.header != 0 && current.number != 1))
        return console_status(COLUMNS_MISMATCH, name, "");

    out.allocate(v, static_cast<std::size_t>(std::count(buffer, end, '\n')), defined);
    column_layout const columns = lay_out_columns(v, defined);
    unsigned const loci = v.n_loci();
    name_columns(columns, v.header != 0 ? &current : nullptr, out.names);
    if (v.header == 0) current = {buffer, buffer, 0, false};

    bad_value bad{0, IGNORED};
    while (next_line(end, current)) {
        if (is_blank(current)) continue;
        if (!current.terminated) {
            console_status(NOTE, "warning: last line has no newline and is ignored.", name);
            break;
        }
        unsigned const count = read_subject(current, columns, loci, out, bad);
        if (count < defined) return console_status(COLUMNS_MISMATCH, located(current.number), "");
        if (count != width) return console_status(INVALID_FORMAT, located(current.number), "");
        out.genotypes[out.n] = out.genotypes[0] + out.n;
        ++out.n;
    }
    if (out.n == 0) return console_status(NO_DATA, name, "");
    if (bad.line != 0)
        return console_status(INVALID_VALUE, located(bad.line),
                              variable::keywords[VARIABLE_OF[bad.kind]]);
    return 1;
}

} // namespace

int read_file(std::string path, variable const& v, std::string*& names, genotype**& genotypes,
              unsigned*& status, double**& covariates, unsigned& n) {
    outputs out{names, genotypes, status, covariates, n};
    std::string const name = base_name(path);
    if (is_empty_file(path)) return console_status(NO_DATA, name, "");
    char* buffer;
    int length;
    int code = get_file(path, buffer, length);
    if (code == OPEN_FAILED) return code;
    if (code != 1) return console_status(code, path, "data");
    std::unique_ptr<char[]> const owner(buffer);
    code = read_subjects(buffer, static_cast<std::size_t>(length), name, v, out);
    if (code != 1) out.release(v.n_covariates);
    return code;
}
