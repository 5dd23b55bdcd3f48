// The steps of one analysis: read, collapse, estimate frequencies, set up, fit, test, report.
#include "ggi/console/common/analysis.h"

#include "ggi/case_control_ggi.h"
#include "ggi/case_control_ggi_init.h"
#include "ggi/case_control_ggi_setup.h"
#include "ggi/case_control_ggi_statistics.h"
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "ggi/console/common/effect_map.h"
#include "ggi/settings.h"
#include "numeric/memory.h"
#include "numeric/status_code.h"

#include <cmath>
#include <cstdio>
#include <new>

namespace {

// Everything of one file. The frequencies, with their table, belong to the run.
struct analysis {
    std::string const& name;
    std::string const& path;
    std::string const& output;
    variable& v;
    result& frequency;

    std::string* labels = nullptr;
    setup_settings settings{};
    setup_outcome outcome{};
    bool is_fit_refused = false;
    case_control_ggi_data ccg{};
    result fit{};
    statistics stats{};
    outfmt format{};

    void free() {
        case_control_ggi_clear_model(ccg, v.hw);
        stats.free();
        fit.free();
        ccg.free();
        frequency.clear();
        delete[] labels;
        labels = nullptr;
    }
};

// Reads the subjects and collapses their genotypes. Returns SUCCESS or what the reader returned.
int read_subjects(analysis& a) {
    case_control_ggi_data& ccg = a.ccg;
    ccg.n_covariates = a.v.n_covariates;
    int const status =
        read_file(a.path, a.v, a.labels, ccg.genotypes, ccg.status, ccg.covariates, ccg.n_subjects);
    if (status == OPEN_FAILED) console_status(status, a.name, "data");
    if (status == SUCCESS) ccg.collapse(a.v.n_genes, a.v.gene_loci);
    return status;
}

// The run's table of frequencies, made for the first file, and room for what the estimation keeps
// beside it.
void make_frequency_table(analysis& a) {
    if (a.frequency.estimates != nullptr) return;
    std::size_t const size = std::size_t{1} << a.v.n_loci();
    constexpr double BYTES = 2 * sizeof(double) + sizeof(unsigned);
    require_memory(BYTES * static_cast<double>(size));
    a.frequency.estimates = new double[size];
    use_large_pages(a.frequency.estimates, size * sizeof(double));
}

// The line about subjects that count as their completions.
void print_incomplete(setup_outcome const& outcome, bool is_refused, analysis const& a) {
    std::string const incomplete = std::to_string(outcome.incomplete) + " subjects ",
                      limit = std::to_string(case_control_ggi_data::MAX_MISSING);
    console_status(NOTE,
                   is_refused
                       ? "error: " + incomplete + "with more than " + limit +
                             " missing loci: leave them out."
                       : "warning: " + incomplete + "have more than " + limit + " missing loci.",
                   a.name);
}

// What the set-up has met before the work that such subjects make.
void print_before(setup_outcome const& outcome, analysis& a) {
    if (outcome.is_rho_at_zero) console_status(RHO_AT_ZERO, a.name, "");
    if (outcome.incomplete == 0) return;
    double const all = std::ldexp(1, static_cast<int>(a.v.n_loci()));
    a.is_fit_refused =
        outcome.are_all_modelled && asks_for_fit(a.v) && is_fit_too_long(all, a.settings, outcome);
    print_incomplete(outcome, outcome.is_too_long || a.is_fit_refused, a);
}

void print_after(setup_outcome const& outcome, analysis const& a) {
    if (outcome.is_frequency_limited) console_status(ITERATIONS_EXCEEDED, a.name, "frequency");
    if (outcome.frequency_sum == 1) return;
    char sum[32];
    std::snprintf(sum, sizeof sum, "%.6g", outcome.frequency_sum);
    console_status(NOTE, std::string("warning: haplotype frequencies sum to ") + sum + ".", a.name);
}

// Frequencies and modelled haplotypes. False when there is nothing to go on with, which has been
// printed.
bool set_up(analysis& a) {
    make_frequency_table(a);
    a.settings = {a.v.hw,         a.v.sample,   a.v.frequency_iterations, a.v.frequency_tolerance,
                  a.v.iterations, a.v.threshold};
    int const status =
        case_control_ggi_setup(a.ccg, a.settings, a.frequency, a.outcome,
                               [&](setup_outcome const& outcome) { print_before(outcome, a); });
    a.v.hw = a.settings.hw;
    print_after(a.outcome, a);
    if (status != SUCCESS) {
        // The line stands twice on the console, as the manual says; scripts may count on it.
        console_status(status, a.name, "");
        console_status(status, a.name, "");
    }
    return status == SUCCESS && !a.outcome.is_too_long;
}

// Is there a fit that can be made? One that would take too long costs the line that says so.
bool can_fit(analysis& a) {
    if (map_effects(a.name, a.v, a.ccg) != SUCCESS || !has_terms(a.ccg)) return false;
    if (a.is_fit_refused) return false;
    a.is_fit_refused = is_fit_too_long(a.ccg.n_haplotypes, a.settings, a.outcome);
    if (a.is_fit_refused) print_incomplete(a.outcome, true, a);
    return !a.is_fit_refused;
}

void report(analysis const& a, bool with_effects) {
    int const status = write_file(a.output, a.path, a.labels, a.format, a.ccg, a.v, a.frequency,
                                  a.fit, a.stats, true, with_effects);
    if (status == SUCCESS)
        console_status(NOTE, "result saved to '" + a.output + "'.", a.name);
    else
        console_status(status, a.output, "result");
}

void fit_and_report(analysis& a) {
    int status = case_control_ggi_set_model(a.ccg, a.v.hw, a.v.model);
    if (status != SUCCESS) {
        console_status(status, a.name, "");
        return;
    }
    case_control_ggi_start(a.ccg, a.v.hw, a.frequency, a.fit);
    status = case_control_ggi(a.ccg, a.v.hw, a.v.iterations, a.v.tolerance, a.fit);
    if (status != SUCCESS) console_status(status, a.name, "");
    status = case_control_ggi_statistics(a.ccg, a.v.hw, a.fit.estimates, a.stats);
    if (status != SUCCESS) console_status(STATISTICS_FAILED, a.name, "");
    format_output(a.ccg, a.v, a.labels, a.format);
    report(a, true);
}

void run(analysis& a) {
    if (read_subjects(a) != SUCCESS || !set_up(a)) return;
    if (can_fit(a))
        fit_and_report(a);
    else
        report(a, false);
}

} // namespace

void analyse_file(std::string const& name, std::string const& path, std::string const& output,
                  variable& v, result& frequency) {
    analysis a{name, path, output, v, frequency};
    bool is_out_of_memory = false;
    try {
        run(a);
    } catch (std::bad_alloc const&) {
        is_out_of_memory = true;
    }
    // Before the message, which needs memory, too.
    a.free();
    if (is_out_of_memory) console_status(OUT_OF_MEMORY, name, "");
}
