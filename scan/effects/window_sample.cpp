#include "scan/effects/window_sample.h"

#include <algorithm>
#include <bitset>
#include <numeric>
#include <tuple>

namespace scan {

namespace {

struct keyed_subject {
    std::uint64_t genotype; // codes of the .bed, the first SNP highest
    std::uint32_t is_case, row_number, index;

    auto alike() const { return std::tie(genotype, is_case, row_number); }
    bool operator<(keyed_subject const& s) const {
        return std::tie(genotype, is_case, row_number, index) <
               std::tie(s.genotype, s.is_case, s.row_number, s.index);
    }
};

// Codes of the .bed: 00 two copies of the first allele, 01 missing, 10 one, 11 none.
std::size_t count_missing(std::uint64_t key) {
    return std::bitset<64>(key & ~(key >> 1) & 0x5555555555555555u).count();
}

genotype_count decode(std::uint64_t key, std::size_t n) {
    genotype_count g{};
    for (std::size_t l = 0; l < n; ++l) {
        unsigned const bit = 1u << l;
        switch ((key >> (2 * l)) & 3) {
        case 0: g.twos |= bit; [[fallthrough]];
        case 2: g.ones |= bit; break;
        case 1: g.missing |= bit; break;
        }
    }
    return g;
}

std::vector<keyed_subject> keyed_subjects(run_subjects const& run,
                                          std::vector<std::uint8_t const*> const& rows,
                                          unsigned max_missing) {
    std::vector<keyed_subject> subjects;
    subjects.reserve(run.places.size());
    for (std::size_t i = 0; i < run.places.size(); ++i) {
        std::uint32_t const s = run.places[i];
        std::uint64_t key = 0;
        for (std::uint8_t const* const row : rows)
            key = key << 2 | ((row[s / 4] >> (s % 4 * 2)) & 3u);
        if (count_missing(key) <= max_missing)
            subjects.push_back(
                {key, run.is_case[i], run.row_number[i], static_cast<std::uint32_t>(i)});
    }
    std::sort(subjects.begin(), subjects.end());
    return subjects;
}

} // namespace

run_subjects::run_subjects(std::vector<std::uint32_t> const& fam_places,
                           std::vector<std::uint8_t> const& status, Eigen::MatrixXd const& design)
    : places(fam_places), is_case(status), covariates(design), row_number(places.size()) {
    std::vector<std::uint32_t> order(places.size());
    std::iota(order.begin(), order.end(), 0u);
    auto const row = [this](std::uint32_t i) { return covariates.row(i).data(); };
    Eigen::Index const c = covariates.cols();
    std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
        return std::lexicographical_compare(row(a), row(a) + c, row(b), row(b) + c);
    });
    std::uint32_t number = 0;
    for (std::size_t k = 0; k < order.size(); ++k) {
        number += k > 0 && !std::equal(row(order[k]), row(order[k]) + c, row(order[k - 1]));
        row_number[order[k]] = number;
    }
}

window_sample::window_sample(run_subjects const& run, std::vector<std::uint8_t const*> const& rows,
                             unsigned max_missing) {
    auto const keyed = keyed_subjects(run, rows, max_missing);
    n_subjects = static_cast<unsigned>(keyed.size());
    std::vector<std::uint32_t> source; // of every row
    for (std::size_t k = 0; k < keyed.size(); ++k) {
        keyed_subject const& s = keyed[k];
        if (k == 0 || s.genotype != keyed[k - 1].genotype) {
            first.push_back(subjects.size());
            genotypes.push_back(decode(s.genotype, rows.size()));
        }
        n_cases += s.is_case;
        ++(s.is_case != 0 ? genotypes.back().cases : genotypes.back().controls);
        if (k > 0 && s.alike() == keyed[k - 1].alike()) {
            ++subjects.back();
            continue;
        }
        subjects.push_back(1);
        signs.push_back(s.is_case != 0 ? 1 : -1);
        source.push_back(s.index);
    }
    first.push_back(subjects.size());
    covariates.resize(static_cast<Eigen::Index>(source.size()), run.covariates.cols());
    for (std::size_t r = 0; r < source.size(); ++r)
        covariates.row(static_cast<Eigen::Index>(r)) = run.covariates.row(source[r]);
}

} // namespace scan
