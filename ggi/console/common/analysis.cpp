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

// Words what the set-up met.
void print_outcome(setup_outcome const& outcome, analysis const& a) {
    std::string const incomplete = std::to_string(outcome.incomplete) + " subjects ",
                      limit = std::to_string(case_control_ggi_data::MAX_MISSING);
    if (outcome.is_rho_at_zero) console_status(RHO_AT_ZERO, a.name, "");
    if (outcome.is_too_long)
        console_status(NOTE,
                       "error: " + incomplete + "with more than " + limit +
                           " missing loci: leave them out.",
                       a.name);
    else if (outcome.incomplete > 0)
        console_status(
            NOTE, "warning: " + incomplete + "have more than " + limit + " missing loci.", a.name);
    if (outcome.is_frequency_limited) console_status(ITERATIONS_EXCEEDED, a.name, "frequency");
    if (outcome.frequency_sum != 1) {
        char sum[32];
        std::snprintf(sum, sizeof sum, "%.6g", outcome.frequency_sum);
        console_status(NOTE, std::string("warning: haplotype frequencies sum to ") + sum + ".",
                       a.name);
    }
}

// Frequencies and modelled haplotypes. False when there is nothing to go on with, which has been
// printed.
bool set_up(analysis& a) {
    make_frequency_table(a);
    setup_settings settings{
        a.v.hw,         a.v.sample,   a.v.frequency_iterations, a.v.frequency_tolerance,
        a.v.iterations, a.v.threshold};
    setup_outcome outcome;
    int const status = case_control_ggi_setup(a.ccg, settings, a.frequency, outcome);
    a.v.hw = settings.hw;
    print_outcome(outcome, a);
    if (status != SUCCESS) {
        // The line stands twice on the console, as the manual says; scripts may count on it.
        console_status(status, a.name, "");
        console_status(status, a.name, "");
    }
    return status == SUCCESS && !outcome.is_too_long;
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
    if (map_effects(a.name, a.v, a.ccg) == SUCCESS && has_terms(a.ccg))
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
