#include "scan/input/covariates.h"

#include "scan/error.h"
#include "scan/input/subject_file.h"
#include "scan/input/subject_rows.h"
#include "scan/input/values.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <unordered_map>

namespace scan {

namespace {

constexpr double MISSING = std::numeric_limits<double>::quiet_NaN();
constexpr std::size_t MOST_LEVELS = 200;

bool has_column(subject_file const& file, std::string const& name) {
    std::vector<std::string> const& all = file.columns();
    return std::find(all.begin(), all.end(), name) != all.end();
}

// First and last column of a name, or of a range of two names. Names may hold "-" themselves.
std::pair<std::size_t, std::size_t> columns_of(subject_file const& file, std::string const& name) {
    if (!has_column(file, name))
        for (std::size_t dash = name.find('-'); dash != std::string::npos;
             dash = name.find('-', dash + 1)) {
            std::string const from = name.substr(0, dash), to = name.substr(dash + 1);
            if (!has_column(file, from) || !has_column(file, to)) continue;
            if (file.column(from) > file.column(to))
                throw failure(no_fit, file.file().path() + ": column '" + to + "' of " + name +
                                          " stands before '" + from + "'.");
            return {file.column(from), file.column(to)};
        }
    return {file.column(name), file.column(name)};
}

std::vector<std::size_t> choose_columns(subject_file const& file,
                                        std::vector<std::string> const& names) {
    std::vector<std::size_t> chosen;
    if (names.empty()) {
        chosen.resize(file.columns().size());
        std::iota(chosen.begin(), chosen.end(), std::size_t{0});
    }
    for (std::string const& name : names) {
        auto const [first, last] = columns_of(file, name);
        for (std::size_t column = first; column <= last; ++column)
            if (std::find(chosen.begin(), chosen.end(), column) == chosen.end())
                chosen.push_back(column);
    }
    return chosen;
}

// One column as it is read, row by row.
class column_reader {
  public:
    column_reader(std::string const& name, std::size_t column) : name_(name), column_(column) {}

    void read(subject_file const& file) {
        std::string_view const text = file.value(column_);
        double value = MISSING;
        bool const is_number = parse_number(text, value);
        if (is_missing(text) || (is_number && value == -9))
            value = MISSING;
        else if (is_number ? !levels_.empty() : has_numbers_)
            file.file().fail("'" + std::string(text) + "' stands among the " +
                             (is_number ? "words" : "numbers") + " of covariate " + name_ +
                             (is_number ? ", as '" + levels_.front() + "'" : "") +
                             ". Write NA for a missing value; categories are words throughout.");
        else if (is_number)
            has_numbers_ = true;
        else
            value = level(file, text);
        rows_.push_back(value);
    }

    covariate finish(std::vector<std::uint32_t> const& subject_of_row, std::uint32_t n_subjects) {
        std::vector<double> values(n_subjects, MISSING);
        for (std::size_t r = 0; r < rows_.size(); ++r)
            if (subject_of_row[r] != NOT_FOUND) values[subject_of_row[r]] = rows_[r];
        return {name_, std::move(levels_), std::move(values)};
    }

  private:
    double level(subject_file const& file, std::string_view text) {
        auto const [at, is_new] = level_of_.try_emplace(std::string(text), levels_.size());
        if (is_new) levels_.push_back(at->first);
        if (levels_.size() > MOST_LEVELS)
            file.file().fail("covariate " + name_ + " has more than " +
                             std::to_string(MOST_LEVELS) + " categories: it is no covariate.");
        return static_cast<double>(at->second);
    }

    std::string name_;
    std::size_t column_;
    bool has_numbers_ = false;
    std::unordered_map<std::string, std::size_t> level_of_;
    std::vector<std::string> levels_;
    std::vector<double> rows_;
};

} // namespace

covariate_table read_covariates(std::string const& path, std::vector<std::string> const& names,
                                subject_table const& subjects) {
    subject_file file(path);
    std::vector<column_reader> readers;
    for (std::size_t const column : choose_columns(file, names))
        readers.emplace_back(file.columns()[column], column);
    subject_rows rows(subjects);
    while (file.next()) {
        for (column_reader& reader : readers)
            reader.read(file);
        rows.add(file.family(), file.id(), file.file().number());
    }
    rows.require_match(path);
    rows.require_distinct(path);

    std::vector<std::uint32_t> const found = rows.subjects();
    covariate_table table{{}, std::vector<bool>(subjects.size(), false)};
    for (std::uint32_t const subject : found)
        if (subject != NOT_FOUND) table.is_listed[subject] = true;
    for (column_reader& reader : readers)
        table.covariates.push_back(reader.finish(found, subjects.size()));
    return table;
}

} // namespace scan
