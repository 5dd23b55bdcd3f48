#include "scan/parts/kept_scan.h"

#include "scan/error.h"
#include "scan/output/numbers.h"
#include "scan/parts/part_file.h"

#include <algorithm>
#include <optional>
#include <string>

namespace scan {

namespace {

constexpr std::size_t MOST_PARTS = 100;

// Writes chunks, which come in order, to the files of their parts.
class part_writer {
  public:
    part_writer(part_folder const& folder, std::vector<index_range> const& parts,
                std::vector<result_table> const& tables)
        : folder_(folder), parts_(parts), tables_(tables) {}

    void write(std::size_t number, chunk_result const& chunk) {
        while (parts_[part_].end <= number)
            ++part_;
        if (!file_) file_.emplace(folder_.file(part_ + 1), std::vector<std::string>{});
        file_->write(part_text(number, chunk, tables_));
        if (number + 1 < parts_[part_].end) return;
        file_->finish();
        output_file::publish({&*file_});
        file_.reset();
    }

  private:
    part_folder const& folder_;
    std::vector<index_range> const& parts_;
    std::vector<result_table> const& tables_;
    std::size_t part_ = 0;
    std::optional<output_file> file_;
};

// "1-4, 7" for the numbers 1 2 3 4 7.
std::string runs_of(std::vector<std::size_t> const& numbers) {
    std::string runs;
    for (std::size_t i = 0, j; i < numbers.size(); i = j) {
        for (j = i + 1; j < numbers.size() && numbers[j] == numbers[j - 1] + 1;)
            ++j;
        runs += (i == 0 ? "" : ", ") + std::to_string(numbers[i]);
        if (j > i + 1) runs += "-" + std::to_string(numbers[j - 1]);
    }
    return runs;
}

// The chunks that are not kept yet.
std::vector<std::size_t> missing_chunks(part_folder const& folder, chunk_grid const& grid,
                                        std::vector<index_range> const& parts,
                                        std::vector<result_table> const& tables, run_log& log) {
    std::vector<std::size_t> missing, kept;
    for (std::size_t p = 0; p < parts.size(); ++p) {
        part_state const state = check_part(folder.file(p + 1), grid, parts[p], tables);
        if (state == part_state::damaged)
            log.warn(folder.file(p + 1) + ": damaged or cut short; its windows are computed anew.");
        if (state == part_state::whole)
            kept.push_back(p + 1);
        else
            for (std::size_t c = parts[p].first; c < parts[p].end; ++c)
                missing.push_back(c);
    }
    log.note(folder.path() + ": " +
             (kept.empty() ? "none" : std::to_string(kept.size()) + " (" + runs_of(kept) + ")") +
             " of " + counted(parts.size(), "part") + " taken.");
    return missing;
}

} // namespace

void scan_kept(scan_input const& input, options const& o, chunk_grid const& grid,
               index_range const& chunks, part_folder const& folder, run_log& log,
               chunk_receiver const& receive) {
    std::vector<result_table> const tables = tables_of(o);
    std::vector<index_range> parts(std::min(chunks.size(), MOST_PARTS));
    for (std::size_t p = 0; p < parts.size(); ++p)
        parts[p] = part_of(chunks, p, parts.size());

    part_writer writer(folder, parts, tables);
    scan_chunks(input, o, grid, missing_chunks(folder, grid, parts, tables, log),
                [&](std::size_t c, chunk_result const& chunk) { writer.write(c, chunk); });

    chunk_result chunk;
    for (std::size_t p = 0; p < parts.size(); ++p) {
        part_reader reader(folder.file(p + 1), tables);
        for (std::size_t c = parts[p].first; c < parts[p].end; ++c) {
            if (!reader.read(c, grid.windows({c, c + 1}).size(), chunk))
                throw failure(read_failed,
                              folder.file(p + 1) + ": cannot be read any more. Run again.");
            receive(c, chunk);
        }
    }
}

} // namespace scan
