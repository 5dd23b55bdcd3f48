#include "scan/input/subject_table.h"

#include "scan/error.h"
#include "scan/input/text_file.h"

#include <algorithm>
#include <numeric>
#include <tuple>
#include <utility>

namespace scan {

namespace {

// Family and identifier of FID_IID or FID_IID_SID.
std::pair<std::string, std::string> split(std::string const& path, std::string const& name,
                                          char delimiter) {
    std::size_t const n = static_cast<std::size_t>(std::count(name.begin(), name.end(), delimiter)),
                      first = name.find(delimiter),
                      second = std::min(name.find(delimiter, first + 1), name.size());
    if (n < 1 || n > 2 || first == 0 || second == first + 1 || name.back() == delimiter)
        throw failure(no_fit, path + ": --id-delim: '" + name +
                                  "' is not FID, IID and perhaps SID " + "with a '" + delimiter +
                                  "' between.");
    return {name.substr(0, first), name.substr(first + 1, second - first - 1)};
}

} // namespace

subject_table::subject_table(std::string const& path) : path_(path) {
    text_file file(path);
    while (file.next()) {
        std::vector<std::string_view> const& fields = file.fields();
        if (fields.size() < 6)
            file.fail(
                std::to_string(fields.size()) +
                " fields where a .fam has 6: family, identifier, father, mother, sex, phenotype.");
        places_.push_back(pool_.add(fields[0]));
        pool_.add(fields[1]);
        pool_.add(fields[5]);
        lines_.push_back(static_cast<std::uint32_t>(file.number()));
    }
    if (places_.empty()) file.fail("holds no subject.");
    index();
}

subject_table::subject_table(std::string const& path, std::vector<std::string> const& names,
                             sample_naming const& naming)
    : path_(path), has_families_(naming.delimiter.has_value()) {
    for (std::string const& name : names) {
        auto const [family, id] = naming.delimiter   ? split(path, name, *naming.delimiter)
                                  : naming.is_double ? std::pair(name, name)
                                                     : std::pair(std::string("0"), name);
        places_.push_back(pool_.add(family));
        pool_.add(id);
        pool_.add("NA");
        lines_.push_back(size());
    }
    index();
}

std::string_view subject_table::phenotype(std::uint32_t subject) const {
    std::string_view const before = id(subject);
    return before.data() + before.size() + 1;
}

void subject_table::index() {
    order_.resize(size());
    std::iota(order_.begin(), order_.end(), 0u);
    auto const key = [this](std::uint32_t s) { return std::make_tuple(id(s), family(s)); };
    std::sort(order_.begin(), order_.end(), [&](std::uint32_t a, std::uint32_t b) {
        return std::tuple_cat(key(a), std::tie(a)) < std::tuple_cat(key(b), std::tie(b));
    });
    auto const same =
        std::adjacent_find(order_.begin(), order_.end(),
                           [&](std::uint32_t a, std::uint32_t b) { return key(a) == key(b); });
    if (same == order_.end()) return;
    throw failure(malformed, path_ + ":" + std::to_string(line(same[1])) + ": subject " +
                                 std::string(family(*same)) + " " + std::string(id(*same)) +
                                 " is on line " + std::to_string(line(*same)) + " already.");
}

std::vector<std::uint32_t>::const_iterator subject_table::first_of(std::string_view wanted) const {
    return std::lower_bound(
        order_.begin(), order_.end(), wanted,
        [this](std::uint32_t s, std::string_view text) { return id(s) < text; });
}

std::uint32_t subject_table::find(std::string_view wanted_family, std::string_view wanted) const {
    auto const at =
        std::lower_bound(order_.begin(), order_.end(), std::make_tuple(wanted, wanted_family),
                         [this](std::uint32_t s, auto const& key) {
                             return std::make_tuple(id(s), family(s)) < key;
                         });
    bool const is_there = at != order_.end() && id(*at) == wanted && family(*at) == wanted_family;
    return is_there ? *at : NOT_FOUND;
}

std::uint32_t subject_table::find_unique(std::string_view wanted) const {
    auto const at = first_of(wanted);
    if (at == order_.end() || id(*at) != wanted) return NOT_FOUND;
    bool const is_unique = at + 1 == order_.end() || id(at[1]) != wanted;
    return is_unique ? *at : NOT_FOUND;
}

} // namespace scan
