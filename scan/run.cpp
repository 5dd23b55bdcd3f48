#include "scan/run.h"

#include "scan/export_window.h"
#include "scan/output/numbers.h"
#include "scan/output/run_log.h"
#include "scan/parts/kept_scan.h"
#include "scan/result_files.h"
#include "scan/scan_summary.h"
#include "scan/score/null_model.h"
#include "scan/study.h"

#include <chrono>
#include <cmath>
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
                 thread = bytes_per_thread(s.used.used.size(), s.design.names.size(),
                                           s.bed.row_bytes(), longest) +
                          (has_terms ? n * term_collector::BYTES_PER_SUBJECT : 0) +
                          (o.effects.most_p ? effect_test::bytes(n, columns) : 0);
    log.note("Memory: at most about " + mib_text(peak_bytes() + model + o.n_threads * thread) +
             " with " + std::to_string(o.n_threads) + " threads.");
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

void note_summary(options const& o, scan_summary const& summary, window_list const& list,
                  index_range const& chunks, run_log& log) {
    if (chunks.size() == 0) return;
    if (o.part) log.note(part_name(*o.part) + " alone:");
    summary.note(list, log);
}

} // namespace

void run(options const& o) {
    auto const start = std::chrono::steady_clock::now();
    run_log log(o.is_quiet);
    record_start(o, log);
    if (!o.exported.first.empty()) return export_window(o, log);
    result_files files(o);
    std::optional<part_folder> kept;
    if (o.is_resumed && !o.is_dry_run) kept.emplace(o.prefix + ".parts", record_of(o));
    study const s(o, log);
    chunk_grid const grid(s.windows.windows.size());
    index_range const chunks = chunks_of(o, grid);
    note_part(o, grid, chunks, log);
    std::optional<effect_input> effects;
    if (o.effects.most_p) effects.emplace(o.effects, o.test, s.design, s.used.used, s.used.is_case);
    if (o.is_dry_run) return note_memory(o, s, log);

    null_model const model = fit_null_model(s.used.is_case, s.design.columns, s.design.names);
    note_test(o.test, model, log);
    note_model(model, s.design, log);
    if (effects) log.note(effects->model_text());
    scan_input const input{s.snps,      s.bed, s.windows,
                           s.used.used, model, effects ? &*effects : nullptr};
    scan_summary summary;
    auto const receive = [&](std::size_t c, chunk_result const& chunk) {
        files.write(chunk);
        summary.add(grid.windows({c, c + 1}).first, chunk);
    };
    if (kept)
        scan_kept(input, o, grid, chunks, *kept, log, receive);
    else
        scan_windows(input, o, grid, numbers_of(chunks), receive);
    note_summary(o, summary, s.windows, chunks, log);
    std::chrono::duration<double> const seconds = std::chrono::steady_clock::now() - start;
    log.note(number_text(seconds.count()) + " s, at most " + mib_text(peak_bytes()) + ".");
    files.publish(subject_list(s), log.text());
    if (kept) kept->remove();
}

} // namespace scan
