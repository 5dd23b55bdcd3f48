// The readers of subjects: .fam, phenotypes, covariates, lists, and the design made of them.
#include "scan/input/id_lists.h"
#include "scan/selection/design.h"
#include "scan/selection/subjects.h"
#include "tests/fuzz/scan_fuzz.h"

#include <cmath>

namespace {

using namespace scan;

void check_design(subject_selection const& used, covariate_table const& covariates) {
    null_design const design = make_design(covariates.covariates, used.used);
    if (design.columns.rows() != static_cast<Eigen::Index>(used.used.size()) ||
        design.columns.cols() != static_cast<Eigen::Index>(design.names.size()) ||
        !design.columns.allFinite())
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
    input_texts files(bytes, size);
    auto const subjects =
        read_text(files.next(), [](auto const& path) { return subject_table(path); });
    if (!subjects) return 0;
    bool const is_01 = size % 2 == 1;
    run_log log(true);
    auto const status = read_text(files.next(), [&](auto const& path) {
        return read_phenotype(path, "", *subjects, is_01, log);
    });
    auto const covariates = read_text(files.next(), [&](auto const& path) {
        return read_covariates({path}, {}, {}, *subjects, log);
    });
    auto const kept = read_text(files.next(), [&](auto const& path) {
        return read_subject_list(path, *subjects, false, log);
    });
    if (!status || !covariates || !kept) return 0;
    if (status->status.size() != subjects->size() || kept->size() != subjects->size()) std::abort();
    read_text("", [&](auto const&) {
        subject_selection const used = select_subjects(*kept, *status, *covariates);
        check_design(used, *covariates);
        return 0;
    });
    return 0;
}
