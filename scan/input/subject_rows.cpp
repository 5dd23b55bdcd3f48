#include "scan/input/subject_rows.h"

#include "scan/error.h"

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

} // namespace

void subject_rows::add(std::string_view family, std::string_view id, std::size_t line) {
    row next{NOT_FOUND, subjects_.find_unique(id), static_cast<std::uint32_t>(line)};
    if (!family.empty()) next.by_both = subjects_.find(family, id);
    has_match_by_both_ = has_match_by_both_ || next.by_both != NOT_FOUND;
    rows_.push_back(next);
    if (examples_.size() == N_EXAMPLES) return;
    examples_.push_back((family.empty() ? "" : std::string(family) + " ") + std::string(id));
}

std::vector<std::uint32_t> subject_rows::subjects() const {
    std::vector<std::uint32_t> found(rows_.size());
    std::transform(rows_.begin(), rows_.end(), found.begin(),
                   [this](row const& r) { return has_match_by_both_ ? r.by_both : r.by_id; });
    return found;
}

void subject_rows::require_match(std::string const& path) const {
    if (has_match_by_both_) return;
    for (row const& r : rows_)
        if (r.by_id != NOT_FOUND) return;
    std::vector<std::string> theirs;
    for (std::uint32_t s = 0; s < subjects_.size() && s < N_EXAMPLES; ++s)
        theirs.push_back(std::string(subjects_.family(s)) + " " + std::string(subjects_.id(s)));
    throw failure(no_fit, path + ": none of its subjects is in " + subjects_.path() + ": " +
                              (examples_.empty() ? "it has none" : joined(examples_)) + "\nthere " +
                              joined(theirs) +
                              ". FID and IID must be the same, or IIDs that occur once.");
}

void subject_rows::require_distinct(std::string const& path) const {
    std::vector<std::uint32_t> const found = subjects();
    std::vector<std::uint32_t> first_line(subjects_.size(), 0);
    for (std::size_t r = 0; r < rows_.size(); ++r) {
        if (found[r] == NOT_FOUND) continue;
        std::uint32_t& first = first_line[found[r]];
        if (first != 0)
            throw failure(malformed, path + ":" + std::to_string(rows_[r].line) + ": subject " +
                                         std::string(subjects_.family(found[r])) + " " +
                                         std::string(subjects_.id(found[r])) + " is on line " +
                                         std::to_string(first) + " already.");
        first = rows_[r].line;
    }
}

} // namespace scan
