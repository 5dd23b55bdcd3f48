#include "scan/result_files.h"

#include "scan/output/tables.h"

namespace scan {

std::vector<result_table> tables_of(options const& o) {
    std::vector<result_table> tables = {
        {".win.tsv", std::string(WINDOW_COLUMNS), &chunk_result::window_rows},
        {".hap.tsv", std::string(haplotype_columns(o.test.test)), &chunk_result::haplotype_rows}};
    if (o.effects.most_p)
        tables.push_back(
            {".effects.tsv", effect_columns(o.effects.level), &chunk_result::effect_rows});
    return tables;
}

result_files::result_files(options const& o) : tables_(tables_of(o)) {
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

void result_files::publish(std::string const& subjects, std::string const& log) {
    files_[tables_.size()].write(subjects);
    files_[tables_.size() + 1].write(log);
    for (output_file& file : files_)
        file.finish();
    for (output_file& file : files_)
        file.publish();
}

} // namespace scan
