// The report of one data file: banner, haplotype frequencies, effects, date.
//
// The text is composed in memory and written at once, so that a report is whole or absent.
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "ggi/engine_input.h"
#include "ggi/status.h"
#include "numeric/memory.h"
#include "numeric/nutil.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <new>
#include <numeric>
#include <sstream>

namespace {

constexpr int PAGE = 78;
// At most, that follow the haplotypes in their section.
constexpr std::size_t LAST_ROWS = 6;
constexpr char const* COLUMNS[] = {"Estimate", "StdError", "Z-Stat", "P-Value"};

constexpr char EQUALS_RULE[] =
    "================================================================================\n";

std::string dash_rule(int width) {
    return std::string(static_cast<std::size_t>(width), '-') + "\n";
}

std::string left(std::string const& text, int width) {
    std::size_t const w = static_cast<std::size_t>(width);
    return text.size() < w ? text + std::string(w - text.size(), ' ') : text;
}

std::string right(std::string const& text, int width) {
    std::size_t const w = static_cast<std::size_t>(width);
    return text.size() < w ? std::string(w - text.size(), ' ') + text : text;
}

// The value as "%*.*f" prints it; a value that is not a number prints without a sign.
std::string fixed(double value, int width, int precision) {
    if (std::isnan(value)) value = QNAN;
    int const length = std::snprintf(nullptr, 0, "%*.*f", width, precision, value);
    if (length < 0) throw std::bad_alloc(); // the C library had no room for the digits
    std::string text(static_cast<std::size_t>(length), '\0');
    std::snprintf(&text[0], text.size() + 1, "%*.*f", width, precision, value);
    return text;
}

int decimals(double tolerance) {
    return static_cast<int>(std::floor(std::fabs(std::log10(tolerance))));
}

std::string plain(double value) {
    std::ostringstream stream;
    stream << value;
    return stream.str();
}

int length(std::string const& text) {
    return static_cast<int>(text.size());
}

std::string banner(std::string const& data_path) {
    return std::string(EQUALS_RULE) + "=== QUILMAR Analysis " +
           printable(data_path.substr(data_path.rfind('/') + 1)) + " ===\n" + EQUALS_RULE + "\n";
}

std::string section_head(std::string const& title, unsigned hw, double tolerance,
                         unsigned iterations) {
    return EQUALS_RULE + title + " under Hardy-Weinberg " +
           (hw != EQUILIBRIUM ? "disequilibrium\n" : "equilibrium\n") + EQUALS_RULE +
           "Tolerance: " + plain(tolerance) + "\n" +
           "Maximum iterations: " + std::to_string(iterations) + "\n";
}

// The closing rows of a section.
std::string section_end(result const& res, std::string const& log_likelihood, int label_width,
                        int value_width) {
    return left("Iterations", label_width) + right(std::to_string(res.iterations), value_width) +
           "\n" + left("Log-Likelihood", label_width) + right(log_likelihood, value_width) + "\n" +
           "Status: " + status_msg(res.status) + "\n\n";
}

char const* sample_label(unsigned sample) {
    switch (sample) {
    case CASES: return "Cases";
    case COMBINED: return "Combined";
    default: return "Controls";
    }
}

char const* model_label(unsigned model) {
    switch (model) {
    case RECESSIVE: return "Recessive";
    case DOMINANT: return "Dominant";
    case CODOMINANT: return "Codominant";
    default: return "Additive";
    }
}

void add_frequency_section(std::string& text, outfmt const& format,
                           case_control_ggi_data const& data, variable const& v,
                           result const& frequency) {
    int const pf = decimals(v.frequency_tolerance);
    int const L = std::max(static_cast<int>(format.width), 20);
    std::string const log_likelihood = fixed(frequency.log_likelihood, pf + 2, pf);
    int const Vf = std::max(length(log_likelihood), 14);
    text +=
        section_head("Haplotype frequencies", v.hw, v.frequency_tolerance, v.frequency_iterations);
    text += "Subjects: " + std::to_string(data.n_subjects) + "\n" +
            "Cases: " + std::to_string(data.cases_read) + "\n" +
            "Controls: " + std::to_string(data.controls_read) + "\n\n";
    text += left("Haplotype", L) + right(sample_label(v.sample), Vf) + "\n" + dash_rule(L + Vf);
    unsigned const loci = v.n_loci();
    double const *const first = frequency.estimates, *const end = first + (std::size_t{1} << loci);
    auto const is_listed = [&](double f) { return !(v.frequency_tolerance >= f); };
    // A small tolerance lists many haplotypes with many decimals: 361 MB for 20 loci and 1e-308.
    std::size_t const rows = static_cast<std::size_t>(std::count_if(first, end, is_listed));
    std::size_t const bytes = text.size() + (rows + LAST_ROWS) * static_cast<unsigned>(L + Vf + 1);
    require_memory(static_cast<double>(bytes));
    text.reserve(bytes);
    for (double const* f = first; f != end; ++f)
        if (is_listed(*f))
            text += left(haplotype{static_cast<unsigned>(f - first), 0}.str(loci), L) +
                    right(fixed(*f, pf + 2, pf), Vf) + "\n";
    text += dash_rule(L + Vf) + section_end(frequency, log_likelihood, L, Vf);
}

std::string table_text(std::vector<outfmt_row> const& table, statistics const& stats, int Le,
                       int Ve, int pe) {
    std::string text, title;
    for (outfmt_row const& row : table) {
        if (row.title != title) text += row.title + "\n";
        title = row.title;
        text += left(row.label, Le) + statstr(stats, row.parameter, Ve, pe) + "\n";
    }
    return text;
}

std::string effects_section(outfmt const& format, case_control_ggi_data const& data,
                            variable const& v, result const& fit, statistics const& stats) {
    int const Le = static_cast<int>(format.width);
    int const pe = std::max(4, decimals(v.tolerance));
    std::string const log_likelihood = fixed(fit.log_likelihood, pe + 2, pe);
    int const Ve = std::max((PAGE - Le) / 4, length(log_likelihood));
    auto const counts = [](char const* what, unsigned kept, unsigned read) {
        return what + std::to_string(kept) + "/" + std::to_string(read) + "\n";
    };
    std::string text = section_head(std::string(model_label(v.model)) + " haplotype effects", v.hw,
                                    v.tolerance, v.iterations);
    text += counts("Subjects: ", data.n_informative, data.n_subjects) +
            counts("Cases: ", data.n_cases, data.cases_read) +
            counts("Controls: ", data.n_controls, data.controls_read) + "\n";
    text += left("", Le);
    for (char const* column : COLUMNS)
        text += right(column, Ve);
    std::string const rule = dash_rule(Le + 4 * Ve);
    text += "\n" + rule + "Effects\n" + rule + table_text(format.effects, stats, Le, Ve, pe);
    if (!format.environment.empty())
        text += "Environment\n" + table_text(format.environment, stats, Le, Ve, pe);
    text += "Frequencies\n" + table_text(format.frequencies, stats, Le, Ve, pe);
    return text + rule +
           section_end(fit, log_likelihood, std::max(Le, 14), length(log_likelihood) + 2);
}

std::string date_line() {
    std::time_t const now = std::time(nullptr);
    char text[256];
    std::size_t const n =
        std::strftime(text, sizeof text, "Report generated on %d %B %Y %T", std::localtime(&now));
    std::size_t const blanks = n < PAGE ? (PAGE - n + 1) / 2 : 0;
    return std::string(blanks, ' ') + text + "\n";
}

// Title and label of a term from the gene entries of its row.
outfmt_row term_row(case_control_ggi_data const& data, unsigned const* row) {
    std::string numbers, label = "  ", separator;
    unsigned genes = 0;
    for (unsigned g = 0; g < data.n_genes; ++g) {
        if (row[g] == MAX_UINT) continue;
        ++genes;
        numbers += separator + std::to_string(g + 1);
        label += separator + haplotype{row[g], 0}.str(data.gene_loci[g]);
        separator = "*";
    }
    return {(genes == 1 ? "Gene " : "Genes ") + numbers, label, 0};
}

// Names of the covariates in the order in which they are read, which is that of their columns.
std::vector<std::string> covariate_names(variable const& v, std::string const* labels) {
    std::vector<unsigned> columns(v.covariate_columns, v.covariate_columns + v.n_covariates);
    std::sort(columns.begin(), columns.end());
    std::vector<std::string> names;
    for (unsigned const column : columns)
        names.push_back(printable(labels[column]));
    return names;
}

// Names of the covariates that a row lists, up to the first MAX_UINT.
std::string joined_names(unsigned const* row, std::vector<std::string> const& names) {
    std::string text, separator;
    for (; *row != MAX_UINT; ++row) {
        text += separator + names[*row];
        separator = "*";
    }
    return text;
}

unsigned longest_label(std::vector<outfmt_row> const& table) {
    std::size_t longest = 0;
    for (outfmt_row const& row : table)
        longest = std::max(longest, row.label.size());
    return static_cast<unsigned>(longest);
}

} // namespace

std::string statstr(statistics const& stats, unsigned parameter, int width, int precision) {
    std::string text;
    for (double const* column : {stats.estimates, stats.standard_errors, stats.z, stats.p})
        text += column == nullptr ? right("", width) : fixed(column[parameter], width, precision);
    return text;
}

void format_output(case_control_ggi_data const& data, variable const& v, std::string const* labels,
                   outfmt& format) {
    parameter_layout const where = layout_of(data, v.hw);
    unsigned const K = where.n_haplotypes;
    // A term coded by the pair has a second row under the codominant model.
    auto const add_coded = [&](std::vector<outfmt_row>& table, outfmt_row row, unsigned parameter) {
        row.parameter = where.reported(parameter);
        table.push_back(row);
        if (where.per_term == 2) table.push_back({row.title, "", row.parameter + 1});
    };
    std::vector<std::string> const names = covariate_names(v, labels);
    for (unsigned e = 0; e < data.n_effects; ++e)
        add_coded(format.effects, term_row(data, data.effects[e]), where.effect(e));
    for (unsigned r = 0; r < data.n_environment; ++r)
        format.environment.push_back({"", "  " + joined_names(data.environment[r], names),
                                      where.reported(where.environment(r))});
    for (unsigned r = 0; r < data.n_interactions; ++r) {
        outfmt_row row = term_row(data, data.interactions[r]);
        row.label += "*" + joined_names(data.interactions[r] + data.n_genes, names);
        add_coded(format.environment, row, where.interaction(r));
    }
    std::vector<unsigned> by_code(K);
    std::iota(by_code.begin(), by_code.end(), 0u);
    std::sort(by_code.begin(), by_code.end(),
              [&](unsigned i, unsigned j) { return data.haplotypes[i] < data.haplotypes[j]; });
    for (unsigned const i : by_code)
        format.frequencies.push_back(
            {"", "  " + haplotype{data.haplotypes[i], 0}.str(v.n_loci()), i});
    if (!where.has_reference) format.frequencies.push_back({"", "  Rho", where.rho()});
    unsigned const longest =
        std::max({longest_label(format.effects), longest_label(format.environment),
                  longest_label(format.frequencies)});
    format.width = std::max(longest + 2, 14u);
}

int write_file(std::string const& output, std::string const& data_path, std::string const*,
               outfmt const& format, case_control_ggi_data const& data, variable const& v,
               result const& frequency, result const& fit, statistics const& stats,
               bool with_frequencies, bool with_effects) {
    std::string frequencies = banner(data_path), effects;
    if (with_frequencies) add_frequency_section(frequencies, format, data, v, frequency);
    if (with_effects) effects = effects_section(format, data, v, fit, stats);
    effects += date_line();
    return save_text(output, {frequencies, effects}, v.inputs);
}
