// Simulation study of the safeguarded fit: how fits end, what they cost, whether another start finds
// more, and how often intervals cover the truth.
//
//   safeguarded_fits [sets per cell]
//   safeguarded_fits full-steps [sets per cell]
//
// The first of the two:
// A cell is a kind of data (common haplotypes; rare ones, pooled or with an effect of their own;
// covariates of mean 1e6, and of standard deviation 1e-10, with an interaction), a mode, an odds
// ratio, a rho and a number of subjects. Each set is fitted under both assumptions, and by
// quilmar's iteration from two starts; for a quarter of the sets the maximum is then looked for
// from random starts. The second: how quilmar's iteration ends by mode, start, rho and odds ratio.
#include "examples/simulation.h"
#include "ggi/case_control_ggi.h"
#include "ggi/case_control_ggi_hwd.h"
#include "ggi/case_control_ggi_hwq.h"
#include "ggi/case_control_ggi_init.h"
#include "ggi/case_control_ggi_safeguarded.h"
#include "ggi/engine/rho_parameters.h"
#include "ggi/hwd_frequency.h"
#include "ggi/hwq_frequency.h"
#include "tests/study.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

namespace {

constexpr double Z95 = 1.959963984540054;
constexpr double SAME = 1e-6; // difference of two log-likelihoods that are the same
char const* const MODES[] = {"", "additive", "recessive", "dominant", "codominant"};

enum kind { COMMON, RARE, FAR_COVARIATE, SMALL_COVARIATE };
char const* const KINDS[] = {"common haplotypes", "rare haplotypes", "covariate of mean 1e6",
                             "covariate of sd 1e-10"};

struct cell {
    kind of;
    inheritance mode;
    double odds_ratio, rho;
    unsigned subjects;

    double origin() const { return of == FAR_COVARIATE ? 1e6 : 0; }
    double scale() const { return of == SMALL_COVARIATE ? 1e-10 : 1; }
    bool has_covariates() const { return of == FAR_COVARIATE || of == SMALL_COVARIATE; }
};

simulation design_of(cell const& c) {
    simulation design{{3}, {}, {}, c.subjects / 2, c.subjects / 2, 0.03, c.rho, c.mode};
    double const beta = std::log(c.odds_ratio);
    design.haplotypes = {{0, .40}, {3, .30}, {5, .20}, {6, .10}};
    design.effects = {{{3}, beta, 0.3}, {{5}, -0.3, 0.2}};
    if (c.of == RARE) {
        design.haplotypes = {{0, .45}, {3, .30}, {5, .15},  {6, .06},
                             {1, .02}, {2, .01}, {4, .007}, {7, .003}};
        design.effects = {{{3}, 0.3, 0.2}, {{1}, beta, 0.2}};
        for (int const rare : {2, 4, 7})
            design.effects.push_back({{rare}, beta, 0.2});
    }
    if (c.has_covariates()) {
        design.covariates = {{0.4, 0.5}, {0, 0.3}};
        design.interactions = {{{3}, 0.3, 0.1, 1}};
    }
    return design;
}

// The truth of a term, and the copies of its haplotypes that decide whether it can be told: those
// expected in one group, or for a term of homozygotes their number.
struct truth {
    double value, copies;
};

std::vector<truth> truths(cell const& c, simulation const& design) {
    std::vector<truth> all;
    double const n = c.subjects / 2;
    auto const add = [&](double f, double beta, double deviation) {
        double const homozygotes = n * ((1 - c.rho) * f * f + c.rho * f);
        all.push_back({beta, c.mode == RECESSIVE ? homozygotes : 2 * n * f});
        if (c.mode == CODOMINANT) all.push_back({deviation, homozygotes});
    };
    simulated_term const& first = design.effects[0];
    simulated_term const& second = design.effects[1];
    if (!c.has_covariates()) {
        add(.30, first.beta, first.homozygous);
        add(c.of == RARE ? .02 : .20, second.beta, second.homozygous);
        if (c.of == RARE) add(.02, second.beta, second.homozygous);
        return all;
    }
    simulated_term const& interaction = design.interactions[0];
    double const origin = c.origin(), scale = c.scale();
    add(.30, first.beta - interaction.beta * origin / scale,
        first.homozygous - interaction.homozygous * origin / scale);
    add(.20, second.beta, second.homozygous);
    all.push_back({0, 0}); // kappa
    all.push_back({0.5 / scale, n});
    all.push_back({0.3 / scale, n});
    add(.30, interaction.beta / scale, interaction.homozygous / scale);
    return all;
}

// What is counted of the fits of a row.
enum quantity {
    SETS,
    FINITE,
    INFINITE,
    UNIDENTIFIED,
    RHO_ZERO,
    UNDECIDED,
    COMPARED,         // with at least one other fit that succeeded
    BELOW,            // the best of them
    FULL_STEPS,       // successes of quilmar's iteration from the combined sample
    FULL_STEPS_BELOW, // of them below the fit
    ITERATIONS,       // where both succeeded
    FULL_STEPS_ITERATIONS,
    TERMS, // with 10 copies and more
    COVERED,
    FEW_TERMS, // with fewer
    FEW_COVERED,
    N_QUANTITIES
};
using counts = std::array<double, N_QUANTITIES>;

// One simulated data set, selected, with its terms.
struct data_set : sample {
    data_set(cell const& c, simulation const& design, unsigned seed, double threshold = 0)
        : sample(simulate(design, seed),
                 c.has_covariates() ? "STATUS=2\nGENE=3 4 5\nENVIRONMENT=6 7\nEFFECT=3 -1 -1\n"
                                    : "STATUS=2\nGENE=3 4 5\nEFFECT=3\n") {
        move_covariates(c.origin(), c.scale());
        hwq_frequency(estimator(), COMBINED, 10000, 1e-9, frequency, true);
        if (threshold == 0) threshold = nobody_dropped(ccg);
        case_control_ggi_init(ccg, EQUILIBRIUM, threshold, frequencies.data());
        set_effects(ccg, {{3}, {5}});
        if (c.of == RARE) {
            std::vector<unsigned> rare;
            for (unsigned k = 0; k < ccg.n_haplotypes; ++k) {
                unsigned const h = ccg.haplotypes[k];
                if (h == 2 || h == 4 || h == 7) rare.push_back(k);
            }
            unsigned const label = rare.empty() ? 2 : pool_haplotypes(ccg, 0, rare);
            set_effects(ccg, {{3}, {1}, {label}});
        }
        if (c.has_covariates()) set_interactions(ccg, {{0}, {1}}, {{3, 1}});
    }
    void move_covariates(double origin, double scale) {
        for (unsigned m = 0; m < ccg.n_covariates; ++m)
            for (unsigned s = 0; s < ccg.n_subjects; ++s)
                ccg.covariates[m][s] = origin + scale * ccg.covariates[m][s];
    }
};

// Quilmar's iteration from the frequencies of a sample; its status, or RHO_AT_ZERO where it is
// not done because that has been estimated.
int full_steps(data_set& data, unsigned hw, unsigned mode, unsigned of, result& fit) {
    std::vector<double> table(data.frequencies.size());
    result frequency{};
    frequency.estimates = table.data();
    int const estimated = hw == EQUILIBRIUM
                              ? hwq_frequency(data.estimator(), of, 2000, 1e-6, frequency, true)
                              : hwd_frequency(data.estimator(), of, 2000, 1e-6, frequency, true);
    if (estimated == RHO_AT_ZERO) return RHO_AT_ZERO;
    // A haplotype without a frequency in the sample would start at minus infinity.
    for (double& f : table)
        f = std::max(f, 1e-6);
    case_control_ggi_set_model(data.ccg, hw, mode);
    case_control_ggi_start(data.ccg, hw, frequency, fit);
    int const status = case_control_ggi(data.ccg, hw, 500, 1e-4, fit);
    case_control_ggi_clear_model(data.ccg, hw);
    return status;
}

// The highest log-likelihood of a few fits from random starts, for a record without covariates.
template <typename likelihood>
double best_random(data_set& data, unsigned hw, unsigned mode, uniform& random) {
    case_control_ggi_set_model(data.ccg, hw, mode);
    likelihood_work<likelihood> work(data.ccg);
    unsigned const p = data.ccg.n_parameters, K = data.ccg.n_haplotypes;
    safeguarded_model model{
        p, [&](double const* x, double& L, double* g) { return work.evaluate(x, L, g); },
        [&](double* H) { work.information(H); }, nullptr};
    if (hw != EQUILIBRIUM) model = regular_at_zero(model, K);
    double best = -INFINITY;
    for (unsigned start = 0; start < 5; ++start) {
        std::vector<double> x(p);
        for (unsigned k = 0; k < p; ++k)
            x[k] = k < K - 1 ? -4 * random() : 3 * (random() - 0.5);
        if (hw != EQUILIBRIUM) x[K - 1] = random();
        safeguarded_outcome const out = safeguarded_fit(model, nullptr, x.data());
        if (out.has_succeeded()) best = std::max(best, out.log_likelihood);
    }
    case_control_ggi_clear_model(data.ccg, hw);
    return best;
}

void compare(data_set& data, cell const& c, unsigned hw, safeguarded_result const& got,
             bool is_searched, uniform& random, counts& all) {
    double best = -INFINITY;
    // The log-likelihood is that of the covariates as they were simulated, which quilmar's
    // iteration can do with.
    data.move_covariates(-c.origin() / c.scale(), 1 / c.scale());
    for (unsigned const of : {CONTROLS, COMBINED}) {
        result fit{};
        int const status = full_steps(data, hw, c.mode, of, fit);
        if (status == SUCCESS) {
            best = std::max(best, fit.log_likelihood);
            if (of == COMBINED) {
                all[FULL_STEPS] += 1;
                all[FULL_STEPS_BELOW] += fit.log_likelihood < got.log_likelihood - 1e-3;
                all[ITERATIONS] += got.iterations;
                all[FULL_STEPS_ITERATIONS] += fit.iterations;
            }
        }
        fit.free();
    }
    if (is_searched && !c.has_covariates())
        best = std::max(best, hw == EQUILIBRIUM
                                  ? best_random<case_control_ggi_hwq>(data, hw, c.mode, random)
                                  : best_random<case_control_ggi_hwd>(data, hw, c.mode, random));
    if (best == -INFINITY) return;
    all[COMPARED] += 1;
    double const below = best - got.log_likelihood;
    if (below <= SAME) return;
    all[BELOW] += 1;
    std::printf("below by %g: %s, %s, odds ratio %g, rho %g, %u subjects, hw %u\n", below,
                KINDS[c.of], MODES[c.mode], c.odds_ratio, c.rho, c.subjects, hw);
}

// Wald intervals, and profile intervals where there is none.
void cover(data_set& data, cell const& c, unsigned hw, simulation const& design,
           safeguarded_result& got, counts& all) {
    std::vector<truth> const expected = truths(c, design);
    bool const is_infinite = got.end == fit_end::infinite;
    if (is_infinite)
        case_control_ggi_safeguarded(
            data.ccg, {hw, c.mode, Z95, std::vector<unsigned>(expected.size(), INTERVAL)},
            data.frequencies.data(), got);
    for (std::size_t j = 0; j < expected.size(); ++j) {
        fitted_term const& term = got.terms[j];
        if (expected[j].copies == 0 || term.end == term_end::not_identifiable) continue;
        double const truth = expected[j].value;
        bool const is_covered = term.end == term_end::finite
                                    ? std::fabs(term.estimate - truth) <= Z95 * term.standard_error
                                    : term.lower <= truth && truth <= term.upper;
        bool const is_enough = expected[j].copies >= 10;
        (is_enough ? all[TERMS] : all[FEW_TERMS]) += 1;
        (is_enough ? all[COVERED] : all[FEW_COVERED]) += is_covered;
    }
}

void analyse(cell const& c, unsigned seed, bool is_searched,
             std::map<std::string, counts>& tables) {
    simulation const design = design_of(c);
    data_set data(c, design, seed);
    uniform random(seed);
    for (unsigned const hw : {EQUILIBRIUM, DISEQUILIBRIUM}) {
        // Equilibrium is fitted where it holds.
        if (hw == EQUILIBRIUM && c.rho > 0) continue;
        counts all{};
        safeguarded_result got;
        case_control_ggi_safeguarded(data.ccg, {hw, c.mode, Z95, {}}, data.frequencies.data(), got);
        all[SETS] = 1;
        if (got.status != SUCCESS) {
            all[UNDECIDED] = 1;
            std::printf("undecided %d after %u: %s, %s, odds ratio %g, rho %g, %u subjects, hw %u, "
                        "seed %u\n",
                        static_cast<int>(got.end), got.iterations, KINDS[c.of], MODES[c.mode],
                        c.odds_ratio, c.rho, c.subjects, hw, seed);
        } else {
            all[RHO_ZERO] = hw != EQUILIBRIUM && got.rho == 0;
            all[FINITE] = got.end == fit_end::converged;
            all[INFINITE] = got.end == fit_end::infinite;
            all[UNIDENTIFIED] = got.end == fit_end::not_identifiable;
            cover(data, c, hw, design, got, all);
            compare(data, c, hw, got, is_searched, random, all);
            data.move_covariates(c.origin(), c.scale());
        }
        std::string const assumed = hw == EQUILIBRIUM ? "equilibrium, " : "disequilibrium, ";
        for (std::string const& name : {assumed + KINDS[c.of], assumed + MODES[c.mode]}) {
            counts& row = tables[name];
            std::transform(row.begin(), row.end(), all.begin(), row.begin(), std::plus<double>());
        }
    }
}

// Outcomes of quilmar's iteration for effects of common haplotypes.
void study_full_steps(unsigned sets) {
    std::printf(
        "| assumed | mode | rho | odds ratio | start | at the maximum | below it | rho at zero "
        "| failed | of them infinite, or rho 0 |\n|---|---|---|---|---|---|---|---|---|---|\n");
    unsigned seed = 0;
    for (unsigned const hw : {EQUILIBRIUM, DISEQUILIBRIUM})
        for (inheritance const mode : {ADDITIVE, RECESSIVE, DOMINANT, CODOMINANT})
            for (double const rho : {0.0, 0.05, 0.1, 0.2})
                for (double const odds_ratio : {1.0, 3.0, 6.0, 10.0}) {
                    if (hw == EQUILIBRIUM && rho > 0) continue;
                    // By start: at the maximum, below it, rho at zero, failed, failed without one.
                    unsigned ends[2][5] = {};
                    for (unsigned i = 0; i < 2 * sets; ++i) {
                        cell const c{COMMON, mode, odds_ratio, rho, i % 2 == 0 ? 300u : 2000u};
                        data_set data(c, design_of(c), ++seed, 0.01);
                        safeguarded_result best;
                        case_control_ggi_safeguarded(data.ccg, {hw, mode, Z95, {}},
                                                     data.frequencies.data(), best);
                        for (unsigned const of : {CONTROLS, COMBINED}) {
                            result fit{};
                            int const status = full_steps(data, hw, mode, of, fit);
                            bool const is_best = fit.log_likelihood > best.log_likelihood - 1e-3;
                            unsigned* const end = ends[of == COMBINED];
                            if (status == SUCCESS)
                                ++end[is_best ? 0 : 1];
                            else
                                ++end[status == RHO_AT_ZERO ? 2 : 3];
                            bool const has_no_inner_maximum =
                                hw == EQUILIBRIUM ? best.end == fit_end::infinite : best.rho == 0;
                            end[4] +=
                                status != SUCCESS && status != RHO_AT_ZERO && has_no_inner_maximum;
                            fit.free();
                        }
                    }
                    for (unsigned start = 0; start < 2; ++start) {
                        unsigned const* const end = ends[start];
                        std::printf("| %s | %s | %.2f | %.0f | %s |", hw ? "HWD" : "HWE",
                                    MODES[mode], rho, odds_ratio, start ? "combined" : "controls");
                        for (unsigned e = 0; e < 4; ++e)
                            std::printf(" %.1f%% |", 50.0 * end[e] / sets);
                        std::printf(" %u of %u |\n", end[4], end[3]);
                    }
                }
}

void print(std::map<std::string, counts> const& tables) {
    std::printf(
        "| fits | sets | finite | infinite | not identifiable | rho 0 | undecided | compared "
        "| below |\n|---|---|---|---|---|---|---|---|---|\n");
    for (auto const& row : tables) {
        std::printf("| %s |", row.first.c_str());
        for (unsigned q = SETS; q <= BELOW; ++q)
            std::printf(" %.0f |", row.second[q]);
        std::printf("\n");
    }
    std::printf("\n| fits | quilmar succeeds | of them below | its iterations | iterations "
                "| covered, 10 copies | covered, fewer |\n|---|---|---|---|---|---|---|\n");
    for (auto const& row : tables) {
        counts const& n = row.second;
        std::printf("| %s | %.0f | %.0f | %.2f | %.2f | %.2f%% of %.0f | %.2f%% of %.0f |\n",
                    row.first.c_str(), n[FULL_STEPS], n[FULL_STEPS_BELOW],
                    n[FULL_STEPS_ITERATIONS] / n[FULL_STEPS], n[ITERATIONS] / n[FULL_STEPS],
                    100 * n[COVERED] / n[TERMS], n[TERMS], 100 * n[FEW_COVERED] / n[FEW_TERMS],
                    n[FEW_TERMS]);
    }
}

} // namespace

int main(int argc, char** argv) {
    bool const is_full_steps = argc > 1 && std::string(argv[1]) == "full-steps";
    char const* const number = argc > 1 + is_full_steps ? argv[1 + is_full_steps] : "16";
    unsigned const sets = static_cast<unsigned>(std::atoi(number));
    if (is_full_steps) {
        study_full_steps(sets);
        return 0;
    }
    std::map<std::string, counts> tables;
    unsigned seed = 0;
    for (kind const of : {COMMON, RARE, FAR_COVARIATE, SMALL_COVARIATE})
        for (inheritance const mode : {ADDITIVE, RECESSIVE, DOMINANT, CODOMINANT})
            for (double const odds_ratio : {1.0, 2.0, 3.0, 6.0, 10.0})
                for (double const rho : {0.0, 0.05, 0.1, 0.2})
                    for (unsigned const subjects : {300u, 2000u})
                        for (unsigned i = 0; i < sets; ++i)
                            analyse({of, mode, odds_ratio, rho, subjects}, ++seed, i % 4 == 0,
                                    tables);
    print(tables);
    return 0;
}
