#include "scan/input/subject_rows.h"

#include "scan/error.h"
#include "scan/output/numbers.h"

#include <algorithm>

namespace scan {

namespace {

constexpr std::size_t N_EXAMPLES = 3;

std::string joined(std::vector<std::string> const& texts) {
    std::string all;
    for (std::string const& text : texts)
        all += (all.empty() ? "'" : ", '") + text + "'";
    return all;
}

void add_example(std::vector<std::string>& examples, std::string_view family, std::string_view id) {
    if (examples.size() < N_EXAMPLES)
        examples.push_back((family.empty() ? "" : std::string(family) + " ") + std::string(id));
}

bool is_found(std::uint32_t subject) {
    return subject != NOT_FOUND;
}

bool says_nothing(std::string_view family, std::string_view id) {
    return family.empty() || family == "0" || family == id;
}

bool ends_in(std::string_view text, std::string const& end) {
    return text.size() > end.size() && text.substr(text.size() - end.size()) == end;
}

// What to do where the identifiers of one side look like family and identifier of the other.
std::string hint(subject_table const& subjects, std::string const& row) {
    std::string const id = row.substr(row.find(' ') + 1);
    for (std::uint32_t s = 0; s < subjects.size(); ++s) {
        std::string const theirs(subjects.id(s));
        if (ends_in(theirs, "_" + id))
            return std::string(" IIDs there look like FID_IID: ") +
                   (subjects.has_families() ? "make the .bed by plink2 with --id-delim."
                                            : "give --id-delim.");
        if (ends_in(id, "_" + theirs))
            return " Its IIDs look like FID_IID; --double-id keeps those of a VCF so.";
    }
    return "";
}

} // namespace

void subject_rows::add(std::string_view family, std::string_view id, std::size_t line) {
    row next{NOT_FOUND, subjects_.find_unique(id), static_cast<std::uint32_t>(line), false};
    has_families_ = has_families_ || !family.empty();
    if (!family.empty() && subjects_.has_families()) {
        next.by_both = subjects_.find(family, id);
        next.has_other_family = is_found(next.by_id) && !is_found(next.by_both) &&
                                !says_nothing(family, id) &&
                                !says_nothing(subjects_.family(next.by_id), id);
    }
    rows_.push_back(next);
    add_example(examples_, family, id);
    if (next.has_other_family) add_example(other_examples_, family, id);
}

std::string subject_rows::name(std::uint32_t subject) const {
    return std::string(subjects_.family(subject)) + " " + std::string(subjects_.id(subject));
}

std::vector<std::uint32_t> subject_rows::match(run_log& log) const {
    std::vector<std::uint32_t> matches;
    std::vector<bool> has_row(subjects_.size(), false);
    std::vector<std::uint32_t> n_rows(subjects_.size(), 0); // by identifier
    std::size_t n_both = 0, n_by_id = 0, n_other = 0;
    for (row const& r : rows_) {
        matches.push_back(r.by_both);
        if (is_found(r.by_id)) ++n_rows[r.by_id];
        if (!is_found(r.by_both)) continue;
        has_row[r.by_both] = true;
        ++n_both;
    }
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        row const& r = rows_[i];
        if (is_found(r.by_both) || !is_found(r.by_id) || has_row[r.by_id]) continue;
        // An identifier of several families names nobody without them.
        if (r.has_other_family && n_rows[r.by_id] > 1) continue;
        matches[i] = r.by_id;
        ++n_by_id;
        n_other += r.has_other_family;
    }
    if (2 * n_other > n_both + n_by_id) fail_with_other_families();
    if (n_by_id == 0 || !has_families_ || !subjects_.has_families()) return matches;
    std::string const how = path_ + ": " + counted(n_both, "subject") + " found by FID and IID, " +
                            std::to_string(n_by_id) + " by IID alone";
    if (n_other == 0)
        log.note(how + ".");
    else
        log.warn(how + ", of which " + std::to_string(n_other) +
                 " have another FID: " + joined(other_examples_) + ".");
    return matches;
}

std::vector<std::uint32_t> subject_rows::match_each_once(run_log& log) const {
    std::vector<std::uint32_t> matches = match(log);
    if (std::none_of(matches.begin(), matches.end(), is_found))
        throw failure(no_fit, nobody_found());
    require_distinct(matches);
    return matches;
}

std::string subject_rows::nobody_found() const {
    std::vector<std::string> theirs;
    for (std::uint32_t s = 0; s < subjects_.size() && s < N_EXAMPLES; ++s)
        theirs.push_back(name(s));
    return path_ + ": none of its subjects is in " + subjects_.path() + ": " +
           (examples_.empty() ? "it has none" : joined(examples_)) + "\nthere " + joined(theirs) +
           (subjects_.has_families() ? ". FID and IID must be the same, or IIDs that occur once."
                                     : ". IIDs must be the same.") +
           (examples_.empty() ? "" : hint(subjects_, examples_.front()));
}

void subject_rows::fail_with_other_families() const {
    std::vector<std::string> theirs;
    for (row const& r : rows_)
        if (r.has_other_family && theirs.size() < N_EXAMPLES) theirs.push_back(name(r.by_id));
    throw failure(no_fit, path_ + ": most of its subjects have another FID in " + subjects_.path() +
                              ": " + joined(other_examples_) + "\nthere " + joined(theirs) +
                              ". If they are the same, take the column FID out: IIDs alone match "
                              "then.");
}

void subject_rows::require_distinct(std::vector<std::uint32_t> const& found) const {
    std::vector<std::uint32_t> first_line(subjects_.size(), 0);
    for (std::size_t r = 0; r < rows_.size(); ++r) {
        if (!is_found(found[r])) continue;
        std::uint32_t& first = first_line[found[r]];
        if (first != 0)
            throw failure(malformed, path_ + ":" + std::to_string(rows_[r].line) + ": subject " +
                                         name(found[r]) + " is on line " + std::to_string(first) +
                                         " already.");
        first = rows_[r].line;
    }
}

} // namespace scan
