#include "scan/run.h"

#include "scan/error.h"
#include "scan/export_window.h"
#include "scan/output/numbers.h"
#include "scan/output/output_file.h"
#include "scan/output/run_log.h"
#include "scan/output/signals.h"
#include "scan/parts/kept_scan.h"
#include "scan/result_files.h"
#include "scan/scan_leads.h"
#include "scan/scan_summary.h"
#include "scan/score/null_model.h"
#include "scan/study.h"

#include "numeric/available_memory.h"

#include <chrono>
#include <cmath>
#include <exception>
#include <filesystem>
#include <malloc.h>
#include <numeric>
#include <optional>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

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

void note_test(window_settings const& settings, null_model const& model, run_log& log) {
    if (settings.test == test_kind::lrt)
        return log.note("Test: likelihood ratio, not adjusted for covariates.");
    std::string const adjusted = model.has_covariates() ? "adjusted" : "not adjusted",
                      tails = uses_saddlepoint(settings.saddlepoint, model.is_case)
                                  ? ", with saddlepoint p-values beyond |z| 2."
                                  : ".";
    log.note("Test: score, " + adjusted + " for covariates" + tails);
}

// The null model, on the scale on which the covariates were given.
void note_model(null_model const& model, null_design const& design, run_log& log) {
    if (design.names.size() == 1) return;
    log.note("Null model: covariate, log odds ratio of a unit, standard error");
    for (std::size_t j = 1; j < design.names.size(); ++j) {
        Eigen::Index const k = static_cast<Eigen::Index>(j);
        log.note("  " + design.names[j] + " " +
                 number_text(model.coefficients[k] / design.units[j]) + " " +
                 number_text(model.standard_errors[k] / design.units[j]));
    }
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
    bool const has_terms = columns > 1 && o.test.test == test_kind::score &&
                           uses_saddlepoint(o.test.saddlepoint, s.used.is_case);
    std::uint32_t longest = 0;
    for (window const& w : s.windows.windows)
        if (w.n_snps <= o.max_snps) longest = std::max(longest, w.n_snps);
    double const model = 8 * n * (2 * columns + 2) + (columns > 1 ? 4 * n * (columns + 4) : 0),
                 thread =
                     bytes_per_thread(s.used.used.size(), s.design.names.size(), s.bed.row_bytes(),
                                      longest) +
                     (has_terms ? n * term_collector::BYTES_PER_SUBJECT : 0) +
                     (o.effects.windows != effect_windows::none ? effect_test::bytes(n, columns)
                                                                : 0);
    double const more = model + o.n_threads * thread, left = available_memory("");
    if (o.is_dry_run)
        log.note("Memory: at most about " + mib_text(peak_bytes() + more) + " with " +
                 counted(o.n_threads, "thread") + ".");
    if (more > left)
        log.warn("The run may take " + mib_text(more) +
                 " more, but machine, job and ulimit leave " + mib_text(std::max(0.0, left)) +
                 ": fewer --threads take less.");
}

// Each thread's own heap would reserve address space beforehand, which fails again and again where
// there is little of it.
void share_heap_where_tight(unsigned n_threads) {
    constexpr double RESERVED = 128 * MIB;
    if (available_memory("") < n_threads * RESERVED) mallopt(M_ARENA_MAX, 1);
}

// "Part 2 of 7".
std::string part_name(run_part const& part) {
    return "Part " + std::to_string(part.number) + " of " + std::to_string(part.of);
}

index_range chunks_of(options const& o, chunk_grid const& grid) {
    index_range const all{0, grid.n_chunks()};
    return o.part ? part_of(all, o.part->number - 1, o.part->of) : all;
}

std::vector<std::size_t> numbers_of(index_range const& range) {
    std::vector<std::size_t> numbers(range.size());
    std::iota(numbers.begin(), numbers.end(), range.first);
    return numbers;
}

void note_part(options const& o, chunk_grid const& grid, index_range const& chunks, run_log& log) {
    if (!o.part) return;
    index_range const windows = grid.windows(chunks);
    if (windows.size() == 0)
        return log.warn(part_name(*o.part) + " holds no window: its tables are empty.");
    log.note(part_name(*o.part) + ": windows " + std::to_string(windows.first + 1) + " to " +
             std::to_string(windows.end) + ".");
}

void check_unchanged(run_record const& before, run_record const& now) {
    std::string const differs = difference(before, now);
    if (!differs.empty())
        throw failure(read_failed, "An input was changed during the run: " + differs +
                                       ".\nNo table was made; run again.");
}

void note_summary(options const& o, scan_summary const& summary, window_list const& list,
                  index_range const& chunks, run_log& log) {
    if (chunks.size() == 0) return;
    if (o.part) log.note(part_name(*o.part) + " alone:");
    summary.note(list, log);
}

// The log of a run that a signal ends, unless one stands beside tables of an earlier run.
void keep_log(options const& o, run_log& log, std::string const& ending) {
    std::error_code error;
    if (std::filesystem::exists(o.prefix + ".win.tsv", error))
        return print_lines("The tables of " + o.prefix + " are of an earlier run.");
    log.record(ending + " No table was made.");
    try {
        output_file file(o.prefix + ".log", input_paths(o));
        file.write(log.text());
        file.finish();
        output_file::publish({&file});
        print_lines("No table was made; see " + o.prefix + ".log.");
    } catch (std::exception const& problem) {
        print_lines(problem.what());
    }
}

} // namespace

void run(options const& o) {
    auto const start = std::chrono::steady_clock::now();
    share_heap_where_tight(o.n_threads);
    run_log log(o.is_quiet);
    record_start(o, log);
    if (!o.exported.first.empty()) return export_window(o, log);
    run_record const inputs = record_of_inputs(o);
    check_targets(o);
    std::optional<result_files> files;
    std::optional<last_words> words;
    if (!o.is_dry_run) {
        words.emplace([&](std::string const& ending) { keep_log(o, log, ending); });
        files.emplace(o);
    }
    std::optional<part_folder> kept;
    if (o.is_resumed && !o.is_dry_run) kept.emplace(o);
    study const s(o, log);
    chunk_grid const grid(s.windows.windows.size());
    index_range const chunks = chunks_of(o, grid);
    note_part(o, grid, chunks, log);
    std::optional<effect_input> effects;
    if (o.effects.windows != effect_windows::none)
        effects.emplace(o.effects, o.test, s.design, s.used.used, s.used.is_case);
    note_memory(o, s, log);
    if (o.is_dry_run) return;

    null_model const model = fit_null_model(s.used.is_case, s.design.columns, s.design.names);
    note_test(o.test, model, log);
    note_model(model, s.design, log);
    if (effects) log.note(effects->model_text());
    if (effects && effects->has_interaction()) log.note(effects->interaction_text());
    scan_input const input{s.snps,      s.bed, s.windows,
                           s.used.used, model, effects ? &*effects : nullptr};
    scan_summary summary;
    lead_finder found(s.windows);
    auto const receive = [&](std::size_t c, chunk_result const& chunk) {
        files->write(chunk);
        summary.add(grid.windows({c, c + 1}).first, chunk);
        found.add(grid.windows({c, c + 1}).first, chunk);
    };
    if (kept)
        scan_kept(input, o, grid, chunks, *kept, log, receive);
    else
        scan_chunks(input, o, grid, numbers_of(chunks), receive);
    note_summary(o, summary, s.windows, chunks, log);
    scan_leads(input, o, found, *files, log);
    check_unchanged(inputs, record_of_inputs(o));
    for (std::string const& path : files->stale())
        log.note(path + " is of an earlier run and removed: this run makes none.");
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
    log.note(number_text(seconds.count()) + " s, at most " + mib_text(peak_bytes()) + ".");
    // No signal comes between the tables and what is said of them.
    temporary_files const held;
    files->publish(subject_list(s), log.text());
    words.reset();
    if (kept) kept->remove();
}

} // namespace scan
