#include "scan/result_files.h"

#include "scan/output/tables.h"

#include <algorithm>
#include <filesystem>

namespace scan {

namespace {

// Of all files that a run may make.
char const* const SUFFIXES[] = {".win.tsv", ".hap.tsv", ".effects.tsv", ".lead.tsv", ".id", ".log"};

} // namespace

std::vector<result_table> tables_of(options const& o) {
    std::vector<result_table> tables = {
        {".win.tsv", std::string(WINDOW_COLUMNS), &chunk_result::window_rows},
        {".hap.tsv", std::string(haplotype_columns(o.test.test)), &chunk_result::haplotype_rows},
        {".lead.tsv", lead_columns(), &chunk_result::lead_rows}};
    if (o.effects.windows != effect_windows::none)
        tables.push_back(
            {".effects.tsv", effect_columns(o.effects.level), &chunk_result::effect_rows});
    return tables;
}

void check_targets(options const& o) {
    for (char const* suffix : SUFFIXES)
        check_target(o.prefix + suffix, input_paths(o));
}

result_files::result_files(options const& o) : prefix_(o.prefix), tables_(tables_of(o)) {
    check_targets(o);
    std::vector<std::string> const inputs = input_paths(o);
    for (result_table const& table : tables_)
        files_.emplace_back(o.prefix + table.suffix, inputs).write(table.columns);
    for (char const* suffix : {".id", ".log"})
        files_.emplace_back(o.prefix + suffix, inputs);
}

void result_files::write(chunk_result const& chunk) {
    for (std::size_t t = 0; t < tables_.size(); ++t)
        files_[t].write(chunk.*tables_[t].rows);
}

std::vector<std::string> result_files::stale() const {
    std::vector<std::string> paths;
    for (char const* suffix : SUFFIXES) {
        std::string const path = prefix_ + suffix;
        std::error_code error;
        if (std::none_of(files_.begin(), files_.end(),
                         [&](output_file const& file) { return file.path() == path; }) &&
            std::filesystem::exists(path, error))
            paths.push_back(path);
    }
    return paths;
}

void result_files::publish(std::string const& subjects, std::string const& log) {
    files_[tables_.size()].write(subjects);
    files_[tables_.size() + 1].write(log);
    std::vector<output_file*> order;
    for (output_file& file : files_) {
        file.finish();
        order.insert(order.begin(), &file);
    }
    std::rotate(order.begin(), order.begin() + 1, order.end());
    output_file::publish(order, stale());
}

} // namespace scan
