// Adjusted copies are g_i = x_i - q_i'I^- sum of w q x, with the notation of window_model; without
// covariates, x_i less the mean. Who has no copies is in the rest.
#include "scan/score/term_collector.h"

#include <algorithm>

namespace scan {

namespace {

constexpr std::size_t AHEAD = 16; // carriers between asking for a subject's row and its use

} // namespace

score_terms const& term_collector::collect(genotype_table const& table, genotype_copies x,
                                           double const* covariance, double variance) {
    if (run_.has_covariates()) {
        set_slopes(covariance);
        list_carriers(table, x);
        collect_subjects(table, x, variance);
    } else {
        collect_genotypes(table, x, *covariance);
    }
    return terms_;
}

// All subjects have the same mu, and those of a genotype the same copies.
void term_collector::collect_genotypes(genotype_table const& table, genotype_copies x,
                                       double total) {
    double const n = table.n_subjects, mu = window_.case_share(), mean = total / n;
    terms_.resize(table.genotypes.size());
    std::size_t k = 0;
    double others = n;
    for (std::size_t g = 0; g < table.genotypes.size(); ++g) {
        if (x[g] == 0) continue;
        double const subjects = double(table.genotypes[g].cases) + table.genotypes[g].controls;
        terms_.set(k++, mu, x[g] - mean, subjects);
        others -= subjects;
    }
    terms_.resize(k);
    terms_.rest = others * mu * (1 - mu) * mean * mean;
}

// I^- sum of w q x.
void term_collector::set_slopes(double const* covariance) {
    Eigen::Map<Eigen::VectorXd const> const sum(covariance, run_.n_columns());
    if (window_.has_all_subjects()) {
        slopes_ = sum;
        return;
    }
    whitened_.noalias() = window_.whitening() * sum;
    slopes_.noalias() = window_.whitening().transpose() * whitened_;
}

void term_collector::list_carriers(genotype_table const& table, genotype_copies x) {
    carriers_.resize(run_.is_case.size());
    std::size_t n = 0;
    for (std::uint32_t i = 0; i < run_.is_case.size(); ++i) {
        std::uint32_t const g = table.genotype_of(i);
        carriers_[n] = {i, g};
        n += g != genotype_table::NONE && x[g] != 0;
    }
    carriers_.resize(n);
}

// Subjects' rows lie far apart: each is asked for while others are at work.
void term_collector::collect_subjects(genotype_table const& table, genotype_copies x,
                                      double variance) {
    std::size_t const n = carriers_.size(), c = static_cast<std::size_t>(slopes_.size());
    terms_.resize(n);
    for (std::size_t k = 0; k < n; ++k) {
        double const* const next = window_.q(carriers_[std::min(k + AHEAD, n - 1)].subject);
        __builtin_prefetch(next);
        __builtin_prefetch(next + c - 1);
        auto const [subject, genotype] = carriers_[k];
        double const *const q = window_.q(subject), mu = window_.probability(subject);
        double g = x[genotype];
        for (std::size_t j = 0; j < c; ++j)
            g -= q[j] * slopes_[static_cast<Eigen::Index>(j)];
        terms_.set(k, mu, g, 1);
        variance -= mu * (1 - mu) * g * g;
    }
    // What rounding leaves of nobody is no variance.
    terms_.rest = n == table.n_subjects ? 0 : std::max(variance, 0.0);
}

} // namespace scan
