// The steps of one analysis: read, collapse, estimate frequencies, set up, fit, test, report.
#include "ggi/console/common/analysis.h"

#include "ggi/case_control_ggi.h"
#include "ggi/case_control_ggi_init.h"
#include "ggi/case_control_ggi_statistics.h"
#include "ggi/completions.h"
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/console_status.h"
#include "ggi/console/common/effect_map.h"
#include "ggi/hwd_frequency.h"
#include "ggi/hwq_frequency.h"
#include "numeric/memory.h"

#include <algorithm>
#include <new>

namespace {

// Genotypes with more missing loci count once per completion under equilibrium and take no part in
// the fit.
constexpr int MAX_MISSING = 10;

// Pairs of haplotypes that an EM iteration may visit for them, some seconds' work: 15 missing loci
// of one subject beside up to 2 heterozygous ones.
constexpr double MOST_PAIRS = 0x1p31;

// Everything of one file. The frequency table belongs to the run.
struct analysis {
    std::string const& name;
    std::string const& path;
    std::string const& output;
    variable& v;

    std::string* labels = nullptr;
    case_control_ggi_data ccg{};
    result frequency{};
    result fit{};
    statistics stats{};
    outfmt format{};

    void free() {
        case_control_ggi_clear_model(ccg, v.hw);
        stats.free();
        fit.free();
        ccg.free();
        delete[] labels;
        labels = nullptr;
    }
};

// Reads the subjects and collapses their genotypes. Returns 1 or what the reader returned.
int read_subjects(analysis& a) {
    case_control_ggi_data& ccg = a.ccg;
    ccg.n_covariates = a.v.n_covariates;
    int const status =
        read_file(a.path, a.v, a.labels, ccg.genotypes, ccg.status, ccg.covariates, ccg.n_subjects);
    if (status == OPEN_FAILED) console_status(status, a.name, "data");
    if (status != 1) return status;
    unsigned const n = ccg.n_subjects;
    ccg.controls_read = static_cast<unsigned>(std::count(ccg.status, ccg.status + n, 0u));
    ccg.cases_read = n - ccg.controls_read;
    ccg.n_genes = a.v.n_genes;
    ccg.gene_loci = new unsigned[ccg.n_genes];
    std::copy(a.v.gene_loci, a.v.gene_loci + ccg.n_genes, ccg.gene_loci);
    ccg.distinct = new garray;
    ccg.distinct->init(ccg.genotypes, ccg.status, n, 101, 0, MAX_MISSING, true);
    return 1;
}

// Subjects whose genotype counts as its completions weigh once for each of them under equilibrium.
void warn_of_missing(analysis const& a) {
    garray const& distinct = *a.ccg.distinct;
    unsigned many = 0;
    for (unsigned r = 0; r < distinct.count; ++r)
        if (distinct.counts_as_completions(*distinct.genotypes[r]))
            many += distinct.genotypes[r]->multiplicity[2];
    if (many > 0)
        console_status(NOTE,
                       "warning: " + std::to_string(many) + " subjects have more than " +
                           std::to_string(MAX_MISSING) + " missing loci.",
                       a.name);
}

// The table of frequencies, and room for what the estimation keeps beside it.
double* frequency_table(variable const& v, std::unique_ptr<double[]>& table) {
    std::size_t const size = std::size_t{1} << v.n_loci();
    constexpr double BYTES = 2 * sizeof(double) + sizeof(unsigned);
    if (table == nullptr) {
        require_memory(BYTES * static_cast<double>(size));
        table.reset(new double[size]);
        use_large_pages(table.get(), size * sizeof(double));
    }
    return table.get();
}

// Estimates the frequencies of all haplotypes in the chosen sample. Returns 1, or 121 when the
// completions of subjects with many missing loci are beyond reach.
int estimate_frequencies(analysis& a, double* table) {
    a.frequency.estimates = table;
    data const d{a.ccg.genotypes, a.ccg.distinct};
    unsigned const iterations = a.v.frequency_iterations;
    double const tolerance = a.v.frequency_tolerance;
    int status = 1;
    if (a.v.hw != 0) {
        status = hwd_frequency(d, a.v.sample, iterations, tolerance, a.frequency, true);
        if (status == 9) {
            console_status(9, a.name, "");
            a.v.hw = 0;
        }
    }
    if (a.v.hw == 0) {
        warn_of_missing(a);
        if (completion_pairs(*a.ccg.distinct, a.v.sample) > MOST_PAIRS) return 121;
        status = hwq_frequency(d, a.v.sample, iterations, tolerance, a.frequency, true);
    }
    if (status == 5) console_status(5, a.name, "frequency");
    return 1;
}

void report(analysis const& a, bool with_effects) {
    int const status = write_file(a.output, a.path, a.labels, a.format, a.ccg, a.v, a.frequency,
                                  a.fit, a.stats, true, with_effects);
    if (status == 1)
        console_status(NOTE, "result saved to '" + a.output + "'.", a.name);
    else
        console_status(status, a.output, "result");
}

void fit_and_report(analysis& a) {
    int status = case_control_ggi_set_model(a.ccg, a.v.hw, a.v.model);
    if (status != 1) {
        console_status(status, a.name, "");
        return;
    }
    case_control_ggi_start(a.ccg, a.v.hw, a.frequency, a.fit);
    status = case_control_ggi(a.ccg, a.v.hw, a.v.iterations, a.v.tolerance, a.fit);
    if (status != 1) console_status(status, a.name, "");
    status = case_control_ggi_statistics(a.ccg, a.v.hw, a.fit.estimates, a.stats);
    if (status != 1) console_status(STATISTICS_FAILED, a.name, "");
    format_output(a.ccg, a.v, a.labels, a.format);
    report(a, true);
}

void run(analysis& a, std::unique_ptr<double[]>& table) {
    if (read_subjects(a) != 1) return;
    double* const frequencies = frequency_table(a.v, table);
    int status = estimate_frequencies(a, frequencies);
    if (status != 1) {
        console_status(status, a.name, "");
        return;
    }
    status = case_control_ggi_init(a.ccg, a.v.hw, a.v.threshold, frequencies);
    if (status != 1) {
        // The line stands twice on the console, as the manual says; scripts may count on it.
        console_status(status, a.name, "");
        console_status(status, a.name, "");
        return;
    }
    if (map_effects(a.name, a.v, a.ccg) == 1 && has_terms(a.ccg))
        fit_and_report(a);
    else
        report(a, false);
}

} // namespace

void analyse_file(std::string const& name, std::string const& path, std::string const& output,
                  variable& v, std::unique_ptr<double[]>& frequencies) {
    analysis a{name, path, output, v};
    bool is_out_of_memory = false;
    try {
        run(a, frequencies);
    } catch (std::bad_alloc const&) {
        is_out_of_memory = true;
    }
    // Before the message, which needs memory, too.
    a.free();
    if (is_out_of_memory) console_status(121, name, "");
}
