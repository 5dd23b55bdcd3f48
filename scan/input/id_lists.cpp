#include "scan/input/id_lists.h"

#include "scan/error.h"
#include "scan/input/subject_rows.h"
#include "scan/input/text_file.h"

#include <string_view>
#include <unordered_set>

namespace scan {

std::vector<bool> read_subject_list(std::string const& path, subject_table const& subjects,
                                    bool must_match, run_log& log) {
    text_file file(path);
    subject_rows rows(subjects, path);
    bool has_family = true;
    while (file.next()) {
        std::vector<std::string_view> const& fields = file.fields();
        std::string_view const first = fields[0];
        bool const is_header = first == "#FID" || first == "#IID" ||
                               (file.number() == 1 && (first == "FID" || first == "IID"));
        if (is_header)
            has_family = first.substr(first.size() - 3) == "FID";
        else if (has_family && fields.size() > 1)
            rows.add(fields[0], fields[1], file.number());
        else
            rows.add({}, fields[0], file.number());
    }
    std::vector<bool> is_listed(subjects.size(), false);
    bool is_any = false;
    for (std::uint32_t const subject : rows.match(log)) {
        if (subject == NOT_FOUND) continue;
        is_any = is_listed[subject] = true;
    }
    if (!is_any && must_match) throw failure(no_fit, rows.nobody_found());
    if (!is_any) log.warn(rows.nobody_found());
    return is_listed;
}

std::vector<bool> read_snp_list(std::string const& path, snp_table const& snps) {
    text_file file(path);
    std::unordered_set<std::string> listed;
    while (file.next())
        for (std::string_view const id : file.fields())
            listed.emplace(id);
    std::vector<bool> is_listed(snps.size());
    for (std::uint32_t i = 0; i < snps.size(); ++i)
        is_listed[i] = listed.count(std::string(snps.id(i))) != 0;
    return is_listed;
}

} // namespace scan
