#include "scan/input/phenotype.h"

#include "scan/error.h"
#include "scan/input/subject_file.h"
#include "scan/input/subject_rows.h"
#include "scan/input/values.h"

namespace scan {

namespace {

// Understands the values of one column and remembers which there were.
class status_reader {
  public:
    explicit status_reader(bool is_01) : is_01_(is_01) {}

    // False for a value that is no disease status.
    bool read(std::string_view text, disease& status) {
        double value = -9;
        if (!is_missing(text) && !parse_number(text, value)) return false;
        status = disease::missing;
        if (value == -9) return true;
        if (value != 0 && value != 1 && (value != 2 || is_01_)) return false;
        was_seen_[static_cast<int>(value)] = true;
        double const control = is_01_ ? 0 : 1;
        if (value >= control) status = value == control ? disease::control : disease::present;
        return true;
    }

    static std::string message(std::string_view text, bool is_01) {
        return "'" + std::string(text) + "' is no disease status: " +
               (is_01 ? "with --1, 0 is a control and 1 a case."
                      : "1 is a control and 2 a case (with --1: 0 and 1).") +
               "\nquilmar-scan tests cases against controls; it does not test quantitative traits.";
    }

    bool has_seen_any() const { return was_seen_[0] || was_seen_[1] || was_seen_[2]; }

    // Throws where 0 and 1 would make every control missing and every case a control.
    void check(std::string const& where) const {
        if (is_01_ || was_seen_[2] || !was_seen_[0] || !was_seen_[1]) return;
        throw failure(no_fit, where + ": holds only 0 and 1, but 1 is a control and 2 a case.\n"
                                      "If 0 is a control and 1 a case, give --1.");
    }

  private:
    bool is_01_;
    bool was_seen_[3] = {};
};

// The column by its name, or the only one of the file.
std::size_t choose_column(subject_file const& file, std::string const& name) {
    if (!name.empty()) return file.column(name);
    if (file.columns().size() != 1)
        throw failure(no_fit, file.file().path() + ": has " +
                                  std::to_string(file.columns().size()) +
                                  " columns of phenotypes. Choose one by --pheno-name.");
    return 0;
}

} // namespace

phenotype phenotype_of_fam(subject_table const& subjects, bool is_01) {
    phenotype result{"PHENO1", std::vector<disease>(subjects.size())};
    status_reader reader(is_01);
    for (std::uint32_t s = 0; s < subjects.size(); ++s)
        if (!reader.read(subjects.phenotype(s), result.status[s]))
            throw failure(malformed, subjects.path() + ":" + std::to_string(subjects.line(s)) +
                                         ": " +
                                         status_reader::message(subjects.phenotype(s), is_01));
    reader.check(subjects.path());
    if (!reader.has_seen_any())
        throw failure(nothing_to_do, subjects.path() + ": its column 6 holds no phenotype. "
                                                       "Give --pheno.");
    return result;
}

phenotype read_phenotype(std::string const& path, std::string const& name,
                         subject_table const& subjects, bool is_01, run_log& log) {
    subject_file file(path);
    std::size_t const column = choose_column(file, name);
    status_reader reader(is_01);
    subject_rows rows(subjects, path);
    std::vector<disease> statuses;
    while (file.next()) {
        disease status;
        if (!reader.read(file.value(column), status))
            file.file().fail(status_reader::message(file.value(column), is_01));
        rows.add(file.family(), file.id(), file.file().number());
        statuses.push_back(status);
    }
    std::vector<std::uint32_t> const found = rows.match_each_once(log);
    reader.check(path);

    phenotype result{file.columns()[column],
                     std::vector<disease>(subjects.size(), disease::not_listed)};
    for (std::size_t r = 0; r < found.size(); ++r)
        if (found[r] != NOT_FOUND) result.status[found[r]] = statuses[r];
    return result;
}

} // namespace scan
