#include "scan/run.h"

#include "scan/output/numbers.h"
#include "scan/output/output_file.h"
#include "scan/output/run_log.h"
#include "scan/scan_windows.h"
#include "scan/score/null_model.h"
#include "scan/score/tails.h"
#include "scan/study.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace scan {

namespace {

constexpr double MIB = 1 << 20;

double peak_bytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return 1024.0 * static_cast<double>(usage.ru_maxrss);
}

std::string mib_text(double bytes) {
    return std::to_string(static_cast<long>(std::ceil(bytes / MIB))) + " MiB";
}

void record_start(options const& o, run_log& log) {
    char host[256] = "";
    gethostname(host, sizeof host - 1);
    log.record("quilmar-scan " QUILMAR_VERSION " on " + std::string(host));
    log.record("Options in effect:");
    for (std::string const& line : o.in_effect)
        log.record("  " + line);
}

// The null model, on the scale on which the covariates were given.
void note_model(null_model const& model, null_design const& design, run_log& log) {
    if (design.names.size() == 1) return log.note("Null model without covariates.");
    log.note("Null model: covariate, log odds ratio of a unit, standard error");
    for (std::size_t j = 1; j < design.names.size(); ++j) {
        Eigen::Index const k = static_cast<Eigen::Index>(j);
        log.note("  " + design.names[j] + " " +
                 number_text(model.coefficients[k] / design.units[j]) + " " +
                 number_text(model.standard_errors[k] / design.units[j]));
    }
}

// Median of the chi-squares of 1 degree of freedom that the p-values stand for, over its expectation.
double lambda(std::vector<double> log_p) {
    std::sort(log_p.begin(), log_p.end());
    std::size_t const n = log_p.size();
    double const median = (chi_square_1(log_p[(n - 1) / 2]) + chi_square_1(log_p[n / 2])) / 2;
    return median / chi_square_1(std::log(0.5));
}

void note_summary(scan_summary const& summary, window_list const& list, run_log& log) {
    for (std::size_t code = 1; code < scan_summary::N_CODES; ++code)
        if (summary.by_code[code] > 0)
            log.note(std::to_string(summary.by_code[code]) +
                     " windows failed: " + text(static_cast<error_code>(code)));
    if (summary.log_p.empty()) return log.warn("No window has a P.");
    log.note("Lambda " + number_text(lambda(summary.log_p)) + " over " +
             std::to_string(summary.log_p.size()) + " windows.");
    window const& best = list.windows[summary.smallest];
    log.note("Smallest P " + p_text(summary.smallest_log_p) + ": window " +
             list.name(summary.smallest) + ", chromosome " + std::to_string(best.chromosome) + ":" +
             std::to_string(best.from) + "-" + std::to_string(best.to) + ".");
    log.note("Bonferroni level for them: " +
             number_text(0.05 / static_cast<double>(summary.log_p.size())) + ".");
}

// The tables and the log, which appear together.
struct output_files {
    output_file windows, haplotypes, subjects, log;
    std::optional<output_file> effects; // where they are estimated

    explicit output_files(options const& o, std::vector<std::string> const& inputs)
        : windows(o.out + ".win.tsv", inputs), haplotypes(o.out + ".hap.tsv", inputs),
          subjects(o.out + ".id", inputs), log(o.out + ".log", inputs) {
        if (o.effects.most_p) effects.emplace(o.out + ".effects.tsv", inputs);
    }

    void publish() {
        std::vector<output_file*> all = {&windows, &haplotypes, &subjects, &log};
        if (effects) all.push_back(&*effects);
        for (output_file* file : all)
            file->finish();
        for (output_file* file : all)
            file->publish();
    }
};

std::vector<std::string> inputs_of(options const& o) {
    return {o.bed,    o.bim,     o.fam,     o.pheno,        o.covar,     o.keep,
            o.remove, o.extract, o.exclude, o.regions_file, o.gene_list, o.hap_list};
}

std::string subject_list(study const& s) {
    std::string table = "FID\tIID\n";
    for (std::uint32_t const i : s.used.used)
        table.append(s.subjects.family(i)).append("\t").append(s.subjects.id(i)).append("\n");
    return table;
}

void note_memory(options const& o, study const& s, run_log& log) {
    double const n = static_cast<double>(s.used.used.size()),
                 columns = static_cast<double>(s.design.names.size());
    double const model = 8 * n * (2 * columns + 2),
                 thread = bytes_per_thread(s.used.used.size(), s.design.names.size(),
                                           s.bed.row_bytes(), o.max_snps) +
                          (o.effects.most_p ? effect_test::bytes(n, columns) : 0);
    log.note("Memory: at most about " + mib_text(peak_bytes() + model + o.n_threads * thread) +
             " with " + std::to_string(o.n_threads) + " threads.");
}

} // namespace

void run(options const& o) {
    auto const start = std::chrono::steady_clock::now();
    run_log log(o.is_quiet);
    record_start(o, log);
    output_files files(o, inputs_of(o));
    study s(o, log);
    std::optional<effect_input> effects;
    if (o.effects.most_p) effects.emplace(o.effects, o.test, s.design, s.used.used, s.used.is_case);
    if (o.is_dry_run) return note_memory(o, s, log);

    null_model const model = fit_null_model(s.used.is_case, s.design.columns, s.design.names);
    note_model(model, s.design, log);
    if (effects) log.note(effects->model_text());
    scan_summary const summary =
        scan_windows({s.snps, s.bed, s.windows, s.used.used, model, effects ? &*effects : nullptr},
                     o, files.windows, files.haplotypes, files.effects ? &*files.effects : nullptr);
    note_summary(summary, s.windows, log);
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
    log.note(number_text(seconds.count()) + " s, at most " + mib_text(peak_bytes()) + ".");
    files.subjects.write(subject_list(s));
    files.log.write(log.text());
    files.publish();
}

} // namespace scan
