#include "scan/input/covariates.h"

#include "scan/error.h"
#include "scan/input/subject_file.h"
#include "scan/input/subject_rows.h"
#include "scan/input/values.h"

#include <algorithm>
#include <charconv>
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

// The column of this name, or the columns of a range of two names; none where the file has not both.
// Names may hold "-" themselves.
std::vector<std::size_t> columns_of(subject_file const& file, std::string const& name) {
    if (has_column(file, name)) return {file.column(name)};
    for (std::size_t dash = name.find('-'); dash != std::string::npos;
         dash = name.find('-', dash + 1)) {
        std::string const from = name.substr(0, dash), to = name.substr(dash + 1);
        if (!has_column(file, from) || !has_column(file, to)) continue;
        if (file.column(from) > file.column(to))
            throw failure(no_fit, file.file().path() + ": column '" + to + "' of " + name +
                                      " stands before '" + from + "'.");
        std::vector<std::size_t> columns(file.column(to) - file.column(from) + 1);
        std::iota(columns.begin(), columns.end(), file.column(from));
        return columns;
    }
    return {};
}

// A file, and the columns of it that are read.
struct opened_file {
    subject_file file;
    std::vector<std::size_t> columns;

    bool reads(std::size_t column) const {
        return std::find(columns.begin(), columns.end(), column) != columns.end();
    }
    std::string const& name(std::size_t column) const { return file.columns()[column]; }
};

void choose_columns(opened_file& f, std::vector<std::string> const& names) {
    for (std::string const& name : names.empty() ? f.file.columns() : names)
        for (std::size_t const column : columns_of(f.file, name))
            if (!f.reads(column)) f.columns.push_back(column);
}

void require_known(std::vector<opened_file> const& files, std::string const& name) {
    std::string paths;
    for (opened_file const& f : files) {
        if (!columns_of(f.file, name).empty()) return;
        paths += (paths.empty() ? "" : ", ") + f.file.file().path();
    }
    if (files.size() == 1) files.front().file.column(name);
    throw failure(no_fit, paths + ": none has a column '" + name + "'.");
}

void require_distinct(opened_file const& a, opened_file const& b) {
    for (std::size_t const column : a.columns)
        for (std::size_t const other : b.columns)
            if (a.name(column) == b.name(other))
                throw failure(no_fit, a.file.file().path() + " and " + b.file.file().path() +
                                          ": both have a column '" + a.name(column) +
                                          "'. Rename one, or choose others by --covar-name.");
}

std::vector<opened_file> open_files(std::vector<std::string> const& paths,
                                    std::vector<std::string> const& names) {
    std::vector<opened_file> files;
    for (std::string const& path : paths) {
        files.push_back({subject_file(path), {}});
        choose_columns(files.back(), names);
    }
    for (std::string const& name : names)
        require_known(files, name);
    for (std::size_t i = 0; i < files.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            require_distinct(files[j], files[i]);
    return files;
}

// 1 for 1, 01 and 1.0.
std::string shortest_text(double number) {
    char digits[32];
    return {digits, std::to_chars(digits, digits + sizeof digits, number).ptr};
}

// One column as it is read, row by row.
class column_reader {
  public:
    column_reader(std::string const& name, std::size_t column, bool is_category)
        : name_(name), column_(column), is_category_(is_category) {}

    void read(subject_file const& file) {
        std::string_view const text = file.value(column_);
        double value = MISSING;
        bool const is_number = parse_number(text, value);
        if (is_missing(text) || (is_number && value == -9))
            value = MISSING;
        else if (is_category_)
            value = level(file, is_number ? shortest_text(value) : std::string(text));
        else if (is_number ? !levels_.empty() : has_numbers_)
            file.file().fail("'" + std::string(text) + "' stands among the " +
                             (is_number ? "words" : "numbers") + " of covariate " + name_ +
                             (is_number ? ", as '" + levels_.front() + "'" : "") +
                             ". Write NA for a missing value; numbers that are categories need "
                             "--covar-category.");
        else if (is_number)
            has_numbers_ = true;
        else
            value = level(file, std::string(text));
        rows_.push_back(value);
    }

    covariate finish(std::vector<std::uint32_t> const& subject_of_row, std::uint32_t n_subjects) {
        std::vector<double> values(n_subjects, MISSING);
        for (std::size_t r = 0; r < rows_.size(); ++r)
            if (subject_of_row[r] != NOT_FOUND) values[subject_of_row[r]] = rows_[r];
        return {name_, std::move(levels_), std::move(values)};
    }

  private:
    double level(subject_file const& file, std::string const& text) {
        auto const [at, is_new] = level_of_.try_emplace(text, levels_.size());
        if (is_new) levels_.push_back(at->first);
        if (levels_.size() > MOST_LEVELS)
            file.file().fail("covariate " + name_ + " has more than " +
                             std::to_string(MOST_LEVELS) + " categories: it is no covariate.");
        return static_cast<double>(at->second);
    }

    std::string name_;
    std::size_t column_;
    bool is_category_, has_numbers_ = false;
    std::unordered_map<std::string, std::size_t> level_of_;
    std::vector<std::string> levels_;
    std::vector<double> rows_;
};

// The columns of the files that these names mean, as flags of each file.
std::vector<std::vector<bool>> find_categories(std::vector<opened_file> const& files,
                                               std::vector<std::string> const& names) {
    std::vector<std::vector<bool>> is_category;
    for (opened_file const& f : files)
        is_category.emplace_back(f.file.columns().size(), false);
    for (std::string const& name : names) {
        bool is_known = false;
        for (std::size_t f = 0; f < files.size(); ++f)
            for (std::size_t const column : columns_of(files[f].file, name))
                if (files[f].reads(column)) is_known = is_category[f][column] = true;
        if (!is_known)
            throw failure(no_fit, "--covar-category: no covariate '" + name + "' is chosen.");
    }
    return is_category;
}

void add_file(opened_file& f, std::vector<bool> const& is_category, subject_table const& subjects,
              run_log& log, covariate_table& table) {
    std::string const& path = f.file.file().path();
    std::vector<column_reader> readers;
    for (std::size_t const column : f.columns)
        readers.emplace_back(f.name(column), column, is_category[column]);
    subject_rows rows(subjects, path);
    while (f.file.next()) {
        for (column_reader& reader : readers)
            reader.read(f.file);
        rows.add(f.file.family(), f.file.id(), f.file.file().number());
    }
    std::vector<std::uint32_t> const found = rows.match_each_once(log);
    table.files.push_back({path, std::vector<bool>(subjects.size(), false)});
    for (std::uint32_t const subject : found)
        if (subject != NOT_FOUND) table.files.back().is_listed[subject] = true;
    for (column_reader& reader : readers)
        table.covariates.push_back(reader.finish(found, subjects.size()));
}

} // namespace

covariate_table read_covariates(std::vector<std::string> const& paths,
                                std::vector<std::string> const& names,
                                std::vector<std::string> const& categories,
                                subject_table const& subjects, run_log& log) {
    std::vector<opened_file> files = open_files(paths, names);
    std::vector<std::vector<bool>> const is_category = find_categories(files, categories);
    covariate_table table;
    for (std::size_t f = 0; f < files.size(); ++f)
        if (!files[f].columns.empty()) add_file(files[f], is_category[f], subjects, log, table);
    return table;
}

} // namespace scan
