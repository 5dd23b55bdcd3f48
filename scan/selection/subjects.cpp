#include "scan/selection/subjects.h"

#include "scan/error.h"
#include "scan/input/id_lists.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace scan {

namespace {

bool has_all(covariate_table const& table, std::uint32_t subject) {
    return std::none_of(table.covariates.begin(), table.covariates.end(),
                        [=](covariate const& c) { return std::isnan(c.values[subject]); });
}

void require_both_groups(subject_selection const& selection, std::string const& name) {
    std::size_t const n = selection.used.size(), cases = selection.n_cases();
    if (n == 0)
        throw failure(nothing_to_do,
                      "No subject is left that has phenotype " + name + " and all covariates: " +
                          std::to_string(selection.without_phenotype) + " have no phenotype, " +
                          std::to_string(selection.without_covariate) + " lack a covariate.");
    if (cases == 0 || cases == n)
        throw failure(no_fit, "Phenotype " + name + ": all " + std::to_string(n) +
                                  " subjects that are left are " +
                                  (cases == 0 ? "controls" : "cases") +
                                  "; a test needs both groups.");
}

} // namespace

std::vector<bool> kept_subjects(subject_table const& subjects, options const& o, run_log& log) {
    std::vector<bool> is_kept(subjects.size(), true);
    if (!o.keep.empty()) is_kept = read_subject_list(o.keep, subjects, true, log);
    if (o.remove.empty()) return is_kept;
    std::vector<bool> const is_removed = read_subject_list(o.remove, subjects, false, log);
    for (std::uint32_t s = 0; s < subjects.size(); ++s)
        is_kept[s] = is_kept[s] && !is_removed[s];
    return is_kept;
}

std::uint32_t filter_by_missing(snp_table const& snps, std::vector<std::uint32_t> const& snps_used,
                                double mind, genotype_counter& counter,
                                std::vector<bool>& is_kept) {
    std::vector<std::uint32_t> missing(is_kept.size(), 0);
    for (std::uint32_t const i : snps_used) {
        counter.read(snps[i].row);
        counter.add_missing(missing);
    }
    std::uint32_t n_out = 0;
    double const n_snps = static_cast<double>(snps_used.size());
    for (std::size_t s = 0; s < is_kept.size(); ++s) {
        if (!is_kept[s] || !is_above(missing[s], n_snps, mind)) continue;
        is_kept[s] = false;
        ++n_out;
    }
    return n_out;
}

std::uint32_t subject_selection::n_cases() const {
    return static_cast<std::uint32_t>(std::count(is_case.begin(), is_case.end(), 1));
}

subject_selection select_subjects(std::vector<bool> const& is_kept, phenotype const& status,
                                  covariate_table const& covariates) {
    subject_selection selection;
    selection.not_in_covar.resize(covariates.files.size(), 0);
    for (std::uint32_t s = 0; s < is_kept.size(); ++s) {
        if (!is_kept[s]) continue;
        disease const d = status.status[s];
        bool const has_covariates = has_all(covariates, s);
        selection.not_in_pheno += d == disease::not_listed;
        for (std::size_t f = 0; f < covariates.files.size(); ++f)
            selection.not_in_covar[f] += !covariates.files[f].is_listed[s];
        if (d == disease::missing || d == disease::not_listed)
            ++selection.without_phenotype;
        else if (!has_covariates)
            ++selection.without_covariate;
        else {
            selection.used.push_back(s);
            selection.is_case.push_back(d == disease::present);
        }
    }
    require_both_groups(selection, status.name);
    return selection;
}

} // namespace scan
