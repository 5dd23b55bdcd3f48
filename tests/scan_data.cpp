#include "tests/scan_data.h"

#include <algorithm>

std::vector<scan_data_set> const scan_data_sets = {
    {"balanced",
     4,
     300,
     300,
     0,
     false,
     {0, 3, 1, 2, 12},
     {400, 650, 800, 920, 1000},
     {340, 560, 790, 930, 1000}},
    {"unequal",
     4,
     200,
     400,
     0.06,
     false,
     {0, 3, 1, 2, 12},
     {400, 650, 800, 920, 1000},
     {340, 560, 790, 930, 1000}},
    {"adjusted",
     5,
     300,
     300,
     0,
     true,
     {31, 4, 19, 12, 0, 8, 27},
     {330, 560, 760, 900, 980, 993, 1000},
     {330, 500, 700, 880, 980, 993, 1000}},
    {"missing",
     8,
     600,
     200,
     0.05,
     true,
     {0, 131, 69, 30, 177, 88, 212, 255, 102},
     {300, 520, 680, 800, 880, 940, 970, 990, 1000},
     {250, 420, 600, 800, 880, 940, 970, 990, 1000}},
    {"thousands",
     5,
     1400,
     1600,
     0.02,
     true,
     {0, 31, 7, 25, 10, 20, 12, 1, 16, 28},
     {250, 430, 570, 680, 770, 850, 910, 950, 980, 1000},
     {240, 440, 590, 690, 770, 850, 910, 950, 980, 1000}},
    {"cohort",
     5,
     60000,
     40000,
     0.02,
     true,
     {0, 31, 7, 25, 10, 20, 12, 1, 16, 28},
     {250, 430, 570, 680, 770, 850, 910, 950, 980, 1000},
     {250, 434, 573, 681, 770, 850, 910, 950, 980, 1000}},
};

scan_sample::scan_sample(scan_data_set const& set)
    : n_snps(set.n_snps), status(set.n_controls + set.n_cases),
      copies(set.n_snps, std::vector<int>(status.size())),
      design(Eigen::MatrixXd::Ones(static_cast<Eigen::Index>(status.size()), set.adjusted ? 4 : 1)),
      names{"intercept"} {
    if (set.adjusted) names = {"intercept", "age", "sex", "PC1"};
    std::fill(status.begin() + set.n_controls, status.end(), std::uint8_t{1});
    // Park and Miller's generator; the engines of the standard library say nothing of R's numbers.
    std::uint64_t state = 1;
    auto const uniform = [&] {
        state = state * 16807 % 2147483647;
        return static_cast<double>(state) / 2147483647;
    };
    for (std::size_t i = 0; i < status.size(); ++i) {
        auto const& cumulative = status[i] != 0 ? set.case_thousandths : set.control_thousandths;
        auto const draw = [&] {
            double const u = 1000 * uniform();
            return static_cast<std::size_t>(std::count_if(cumulative.begin(), cumulative.end(),
                                                          [u](unsigned c) { return u >= c; }));
        };
        std::size_t const first = draw(), second = draw();
        for (unsigned l = 0; l < n_snps; ++l) {
            auto const carries = [&](std::size_t h) {
                return static_cast<int>((set.haplotypes[h] >> (n_snps - 1 - l)) & 1);
            };
            copies[l][i] = uniform() < set.missing ? MISSING : carries(first) + carries(second);
        }
        double const age = uniform() + uniform() + 0.25 * status[i], sex = uniform() < 0.5;
        double const component = uniform() + 0.25 * ((first == 0) + (second == 0));
        if (set.adjusted) design.row(static_cast<Eigen::Index>(i)).tail(3) << age, sex, component;
    }
}

scan_sample::scan_sample(std::vector<std::uint8_t> status_codes,
                         std::vector<std::string> const& snps)
    : n_snps(static_cast<unsigned>(snps.size())), status(std::move(status_codes)),
      design(Eigen::MatrixXd::Ones(static_cast<Eigen::Index>(status.size()), 1)), names{
                                                                                      "intercept"} {
    for (std::string const& snp : snps) {
        copies.emplace_back();
        for (char const c : snp)
            copies.back().push_back(c == '9' ? MISSING : c - '0');
    }
}
