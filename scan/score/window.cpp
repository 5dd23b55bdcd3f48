#include "scan/score/window.h"

#include "scan/score/copies.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace scan {

namespace {

// Copies from which on the rare haplotypes together are there at all.
constexpr double FEWEST_COPIES = 1e-3;

// Of a frequency, which symmetry makes equal for two haplotypes now and then but for rounding.
constexpr double EQUAL = 1e-8;
// Of a logarithm of a p-value, within which two are the same. Two haplotypes that share all copies
// have equal ones but for rounding; the more frequent is then the top.
constexpr double TIE = 1e-9;
// Chi-square below which there is no difference at all.
constexpr double NOTHING = 1e-6;

double copies_in_smaller(window_row const& row, double frequency) {
    return 2.0 * std::min(row.cases, row.controls) * frequency;
}

// As new, but for the memory of the haplotypes.
void clear(window_row& row) {
    std::vector<haplotype_row> haplotypes = std::move(row.haplotypes);
    haplotypes.clear();
    row = window_row{};
    row.haplotypes = std::move(haplotypes);
}

// Leaves the counts of subjects alone.
void fail(error_code code, window_row& row) {
    unsigned const obs = row.obs, cases = row.cases, controls = row.controls;
    clear(row);
    row.obs = obs, row.cases = cases, row.controls = controls;
    row.code = code;
}

// Are there rare haplotypes?
bool has_rare(window_row const& row) {
    return copies_in_smaller(row, row.rare_freq) >= FEWEST_COPIES;
}

// The haplotype with the smallest p-value.
void set_top(test_kind test, window_row& row) {
    unsigned tests = 0;
    for (haplotype_row const& h : row.haplotypes)
        if (!std::isnan(h.log_p) &&
            (tests++ == 0 || h.log_p < row.top.log_p - TIE * (1 - row.top.log_p)))
            row.top = h;
    // Two haplotypes that are all have opposite scores.
    if (test == test_kind::score && tests == 2 && !has_rare(row)) tests = 1;
    if (tests > 0) row.top_log_p_bonferroni = std::min(0.0, row.top.log_p + std::log(tests));
}

} // namespace

std::string text(error_code code) {
    switch (code) {
    case error_code::none: return ".";
    case error_code::one_haplotype: return "ONE_HAPLOTYPE";
    case error_code::no_subjects: return "NO_SUBJECTS";
    case error_code::one_group: return "ONE_GROUP";
    case error_code::too_many_snps: return "TOO_MANY_SNPS";
    case error_code::too_long: return "TOO_LONG";
    case error_code::too_many_phases: return "TOO_MANY_PHASES";
    case error_code::em_maxiter: return "EM_MAXITER";
    case error_code::separated: return "SEPARATED";
    }
    return ".";
}

char const* text(test_kind kind) {
    return kind == test_kind::lrt ? "LRT" : "SCORE";
}

window_test::window_test(null_model const& model, genotype_table const& table,
                         window_settings const& settings)
    : settings_(settings), table_(table), score_(model, settings.saddlepoint) {}

void window_test::run(window_row& result) {
    clear(result);
    error_code code = count(result);
    if (code == error_code::none && !estimate_.run(table_.genotypes, table_.n_snps))
        code =
            estimate_.list().is_too_long() ? error_code::too_many_phases : error_code::em_maxiter;
    if (code == error_code::none) {
        choose_haplotypes(result);
        code = test(result);
    }
    if (code != error_code::none) return fail(code, result);
    set_top(settings_.test, result);
}

// The subjects used.
error_code window_test::count(window_row& result) const {
    result.obs = table_.n_subjects;
    result.cases = table_.n_cases;
    result.controls = table_.n_subjects - table_.n_cases;
    if (result.obs == 0) return error_code::no_subjects;
    if (result.cases == 0 || result.controls == 0) return error_code::one_group;
    return error_code::none;
}

// The choice depends on the genotypes and the sizes of the groups, not on who is a case.
void window_test::choose_haplotypes(window_row& result) {
    auto const is_tested = [&](double frequency) {
        return is_enough(frequency, settings_.min_hap_freq) &&
               is_enough(copies_in_smaller(result, frequency), settings_.min_hap_copies);
    };
    std::vector<std::uint32_t> const& bits = estimate_.list().bits;
    tested_.clear();
    result.rare_freq = 0;
    for (std::size_t h = 0; h < bits.size(); ++h)
        if (is_tested(estimate_.frequency(h)))
            tested_.push_back(h);
        else
            result.rare_freq += estimate_.frequency(h);
    std::sort(tested_.begin(), tested_.end(), [&](std::size_t a, std::size_t b) {
        auto const p = std::llround(estimate_.frequency(a) / EQUAL),
                   q = std::llround(estimate_.frequency(b) / EQUAL);
        return p != q ? p > q : bits[a] < bits[b];
    });
    result.n_haplotypes = static_cast<unsigned>(tested_.size());
    result.haplotypes.resize(tested_.size());
    for (std::size_t t = 0; t < tested_.size(); ++t) {
        result.haplotypes[t].bits = bits[tested_[t]];
        result.haplotypes[t].freq = estimate_.frequency(tested_[t]);
    }
}

error_code window_test::test(window_row& result) {
    if (tested_.size() < 2) return error_code::one_haplotype;
    if (!estimate_.list().has_room(tested_.size())) return error_code::too_many_phases;
    if (settings_.test == test_kind::score) return score_.run(table_, estimate_, tested_, result);
    bool const rare_has_effect =
        has_rare(result) &&
        is_enough(copies_in_smaller(result, result.rare_freq), settings_.min_hap_copies);
    by_group const subjects{double(result.controls), double(result.cases)};
    if (!ratio_.run(table_.genotypes, subjects, tested_, rare_has_effect, result))
        return error_code::em_maxiter;
    return result.chisq < NOTHING && !has_variance(result) ? error_code::one_haplotype
                                                           : error_code::none;
}

// Do the genotypes tell the tested haplotypes apart, as the score test asks?
bool window_test::has_variance(window_row row) {
    return score_.run(table_, estimate_, tested_, row) != error_code::one_haplotype;
}

} // namespace scan
