// Intervals and p-values of the prospective effects over simulated windows of 5 SNPs, as a Markdown
// table.
//
//   scan_effects [data sets per row]
//
// Haplotypes in equilibrium with an additive log odds ratio, one of the fourth haplotype and one of the
// fifth, on top of those of a covariate of mean 1e6 and one of standard deviation 1e-10; 2 % of the
// genotypes are missing. "Cohort": status is drawn given haplotypes and covariates, which is the model;
// "case-control": as many cases as controls are taken of it. The estimates are those of the mode.
#include "examples/simulation.h"
#include "scan/effects/effect_test.h"
#include "scan/score/window_runner.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr unsigned SNPS = 5;
constexpr double MISSING_SHARE = 0.02;
// By frequency; the last one is too rare for an effect of its own in small samples.
struct {
    unsigned bits;
    double frequency;
} const HAPLOTYPES[] = {{0, 0.34}, {3, 0.25}, {12, 0.18}, {21, 0.12}, {30, 0.08}, {9, 0.03}};
constexpr std::size_t K = std::size(HAPLOTYPES);

struct scenario {
    inheritance mode;
    unsigned n;
    double odds_ratio;
    bool is_case_control;
};

double code(inheritance mode, unsigned copies) {
    switch (mode) {
    case RECESSIVE: return copies == 2;
    case DOMINANT: return copies > 0;
    default: return copies;
    }
}

// Log odds ratio of every haplotype.
std::array<double, K> effects_of(scenario const& s) {
    std::array<double, K> beta{};
    beta[3] = std::log(s.odds_ratio);
    beta[4] = -std::log(s.odds_ratio) / 2;
    return beta;
}

// One data set as the scan reads it.
struct data_set {
    std::vector<std::uint8_t> is_case;
    std::vector<std::uint32_t> places;
    std::vector<std::vector<std::uint8_t>> bed;
    std::vector<scan::covariate> covariates;

    data_set(scenario const& s, uniform& u) : bed(SNPS), covariates(2) {
        covariates[0].name = "a";
        covariates[1].name = "b";
        for (auto& row : bed)
            row.resize((s.n + 3) / 4);
        auto const beta = effects_of(s);
        unsigned wanted[2] = {s.n / 2, s.n - s.n / 2};
        while (is_case.size() < s.n) {
            std::size_t const pair[2] = {draw(u), draw(u)};
            double const a = normal(u), b = normal(u);
            double eta = (s.is_case_control ? -3 : -0.5) + 0.5 * a - 0.3 * b;
            for (std::size_t h = 0; h < K; ++h)
                eta +=
                    beta[h] * code(s.mode, static_cast<unsigned>((pair[0] == h) + (pair[1] == h)));
            bool const y = u() < 1 / (1 + std::exp(-eta));
            if (s.is_case_control && wanted[y]-- == 0) {
                wanted[y] = 0;
                continue;
            }
            add(pair, y, a, b, u);
        }
    }

    static std::size_t draw(uniform& u) {
        double rest = u();
        std::size_t h = 0;
        while (h + 1 < K && (rest -= HAPLOTYPES[h].frequency) >= 0)
            ++h;
        return h;
    }
    static double normal(uniform& u) {
        return std::sqrt(-2 * std::log(1 - u())) * std::cos(2 * M_PI * u());
    }
    void add(std::size_t const (&pair)[2], bool y, double a, double b, uniform& u) {
        auto const i = static_cast<std::uint32_t>(is_case.size());
        places.push_back(i);
        is_case.push_back(y);
        covariates[0].values.push_back(1e6 + a);
        covariates[1].values.push_back(1e-10 * b);
        for (unsigned l = 0; l < SNPS; ++l) {
            unsigned const shift = SNPS - 1 - l, copies = (HAPLOTYPES[pair[0]].bits >> shift & 1) +
                                                          (HAPLOTYPES[pair[1]].bits >> shift & 1);
            unsigned const codes[] = {3, 2, 0};
            unsigned const c = u() < MISSING_SHARE ? 1 : codes[copies];
            bed[l][i / 4] |= static_cast<std::uint8_t>(c << i % 4 * 2);
        }
    }
};

scan::effect_result estimate(scenario const& s, data_set const& d) {
    scan::null_design const design = scan::make_design(d.covariates, d.places);
    scan::null_model const model = scan::fit_null_model(d.is_case, design.columns, design.names);
    std::vector<std::uint8_t const*> rows;
    for (auto const& row : d.bed)
        rows.push_back(row.data());
    scan::effect_settings settings;
    settings.mode = s.mode;
    scan::window_settings test;
    test.min_hap_copies = 0; // sparse ones, too
    scan::window_row tested;
    scan::window_runner(model, d.places, test).run(rows, tested);
    scan::effect_input const input(settings, test, design, d.places, d.is_case);
    scan::effect_result result;
    scan::effect_test(input, model).run(rows, tested, result);
    return result;
}

// Rows and those whose interval has the truth; of the rows whose truth is 0 the small p-values.
struct tally {
    unsigned rows = 0, covered = 0, null_rows = 0, below_05 = 0, below_01 = 0;
    void add(scan::effect_estimate const& e, double truth) {
        ++rows;
        covered += e.lower <= truth && truth <= e.upper;
        if (truth != 0) return;
        ++null_rows;
        below_05 += e.log_p <= std::log(0.05);
        below_01 += e.log_p <= std::log(0.01);
    }
    void print() const {
        if (rows == 0)
            std::printf(" 0 | | | |");
        else
            std::printf(" %u | %.1f%% | %.2f | %.2f |", rows, 100.0 * covered / rows,
                        below_05 / (0.05 * null_rows), below_01 / (0.01 * null_rows));
    }
};

void study(scenario const& s, unsigned n_sets) {
    tally usual, penalised;
    unsigned infinite = 0, unidentified = 0, undecided = 0;
    uniform u(1);
    auto const beta = effects_of(s);
    for (unsigned k = 0; k < n_sets; ++k)
        for (scan::effect_row const& row : estimate(s, data_set(s, u)).rows) {
            if (row.haplotype.kind != scan::haplotype_name::one) continue;
            std::size_t h = 0;
            while (h < K && HAPLOTYPES[h].bits != row.haplotype.bits)
                ++h;
            if (h == K || row.reference.bits != HAPLOTYPES[0].bits) continue;
            scan::effect_estimate const& e = row.estimate;
            // Of the codominant mode the deviation is 0.
            double const truth = row.test == "HOMDEV" ? 0 : beta[h];
            undecided += e.code == scan::effect_code::no_convergence;
            unidentified += e.code == scan::effect_code::not_identifiable;
            infinite += e.code == scan::effect_code::infinite ||
                        e.code == scan::effect_code::infinite_penalised;
            if (e.code == scan::effect_code::none || e.code == scan::effect_code::infinite)
                usual.add(e, truth);
            else if (!std::isnan(e.lower))
                penalised.add(e, truth);
        }
    char const* const modes[] = {"", "additive", "recessive", "dominant", "codominant"};
    std::printf("| %s, %s | %u | %g |", s.is_case_control ? "case-control" : "cohort",
                modes[s.mode], s.n, s.odds_ratio);
    usual.print();
    penalised.print();
    std::printf(" %u | %u | %u |\n", infinite, unidentified, undecided);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv) {
    unsigned const n_sets =
        argc > 1 ? static_cast<unsigned>(std::strtoul(argv[1], nullptr, 10)) : 400;
    std::printf("| design, mode | subjects | odds ratio | usual rows | covered | .05 | .01 | "
                "penalised rows | "
                "covered | .05 | .01 | infinite | not identifiable | undecided "
                "|\n|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n");
    for (bool const is_case_control : {false, true})
        for (inheritance const mode : {ADDITIVE, RECESSIVE, DOMINANT, CODOMINANT})
            for (unsigned const n : {300u, 2000u})
                for (double const odds_ratio : {1.0, 3.0})
                    study({mode, n, odds_ratio, is_case_control}, n_sets);
}
