#include "scan/input/subject_file.h"

#include "scan/error.h"

#include <algorithm>

namespace scan {

namespace {

std::string_view without_hash(std::string_view name) {
    if (!name.empty() && name[0] == '#') name.remove_prefix(1);
    return name;
}

std::string joined(std::vector<std::string> const& names) {
    constexpr std::size_t MOST = 20;
    std::string all;
    for (std::size_t i = 0; i < std::min(MOST, names.size()); ++i)
        all += (i == 0 ? "" : ", ") + names[i];
    return all + (names.size() > MOST ? ", ..." : "");
}

} // namespace

subject_file::subject_file(std::string const& path) : file_(path) {
    if (!file_.next()) file_.fail("is empty.");
    has_commas_ = file_.line().find(',') != std::string_view::npos;
    std::vector<std::string_view> const& names = split();
    std::string_view const first = without_hash(names[0]);
    has_family_ = first == "FID" && names.size() > 1 && names[1] == "IID";
    if (!has_family_ && first != "IID")
        file_.fail("the header line must begin with FID IID, #FID IID, IID or #IID, not with '" +
                   std::string(names[0]) + "'.");
    columns_.assign(names.begin() + (has_family_ ? 2 : 1), names.end());
}

std::vector<std::string_view> const& subject_file::split() {
    return has_commas_ ? file_.comma_fields() : file_.fields();
}

std::size_t subject_file::column(std::string const& name) const {
    auto const at = std::find(columns_.begin(), columns_.end(), name);
    if (at == columns_.end())
        throw failure(no_fit, file_.path() + ": has no column '" + name +
                                  "'. Its columns are: " + joined(columns_) + ".");
    if (std::find(at + 1, columns_.end(), name) != columns_.end())
        throw failure(malformed, file_.path() + ":1: two columns are named '" + name + "'.");
    return static_cast<std::size_t>(at - columns_.begin());
}

bool subject_file::next() {
    if (!file_.next()) return false;
    fields_ = &split();
    std::size_t const wanted = columns_.size() + (has_family_ ? 2 : 1);
    if (fields_->size() != wanted)
        file_.fail(std::to_string(fields_->size()) + " columns where the header has " +
                   std::to_string(wanted) + ". Write NA for a missing value.");
    return true;
}

} // namespace scan
