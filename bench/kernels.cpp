// Times of the program's kernels, each beside the floor that bounds it: parsing (bytes per second),
// collapsing (subjects per second), the E-step (pair visits per second, beside a loop over listed
// pairs), late EM iterations beside early ones, and one evaluation (f and llh) and one matrix (df)
// of each likelihood model, those with covariates beside a loop over their exponentials.
#include "bench/cases.h"
#include "ggi/case_control_ggi_hwd.h"
#include "ggi/case_control_ggi_hwdx.h"
#include "ggi/case_control_ggi_hwq.h"
#include "ggi/case_control_ggi_hwqx.h"
#include "ggi/console/common/console_io.h"
#include "ggi/engine/em.h"
#include "ggi/hwq_frequency.h"
#include "numeric/subsets.h"
#include "tests/study.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cmath>

namespace {

constexpr unsigned SUBJECTS = 50000, MANY = 500000;

bench_case case_of(unsigned snps, double missing, double rho, bool covariates) {
    return {"kernel", SUBJECTS, snps, missing, rho, covariates};
}

void parsing(benchmark::State& state) {
    bench_case const c = case_of(8, 0.02, 0, state.range(0) != 0);
    std::string const text = data_of(c, 0);
    scratch files;
    std::string const path = files.write("d", text);
    sample s(text, variables_of(c));
    for (auto _ : state) {
        std::string* names = nullptr;
        case_control_ggi_data read;
        read.init();
        read.n_covariates = s.v.n_covariates;
        read_file(path, s.v, names, read.genotypes, read.status, read.covariates, read.n_subjects);
        read.free();
        delete[] names;
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(parsing)->ArgName("covariates")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void collapsing(benchmark::State& state) {
    bench_case const c = case_of(static_cast<unsigned>(state.range(0)), 0.02, 0, false);
    sample s(data_of(c, 0), variables_of(c));
    for (auto _ : state) {
        garray distinct;
        distinct.init(s.ccg.genotypes, s.ccg.status, s.ccg.n_subjects, 101, 0, 10, true);
        distinct.clear();
    }
    state.SetItemsProcessed(state.iterations() * s.ccg.n_subjects);
}
BENCHMARK(collapsing)->ArgName("loci")->Arg(8)->Arg(16)->Unit(benchmark::kMillisecond);

// Visits of pairs of haplotypes, or of sides where loci are missing.
void e_step(benchmark::State& state) {
    bench_case const c = case_of(static_cast<unsigned>(state.range(0)),
                                 static_cast<double>(state.range(1)) / 100, 0, false);
    sample s(data_of(c, 0), variables_of(c));
    std::vector<weighted_genotype> const distinct = s.ccg.distinct->weighted(COMBINED);
    std::vector<double> const p(std::size_t{1} << c.snps, 0x1p-12);
    std::vector<double> ratios(p.size());
    genotype_sides sides;
    std::int64_t visits = 0;
    for (weighted_genotype const& g : distinct) {
        unsigned const open = g.masks.heterozygous | g.masks.missing;
        visits += (std::int64_t{1} << count_bits(open)) / 2;
    }
    for (auto _ : state)
        for (weighted_genotype const& g : distinct) {
            sides.sum(g.masks, p.data());
            sides.add_counts(1 / sides.S, 0, ratios.data());
        }
    state.SetItemsProcessed(state.iterations() * visits);
}
BENCHMARK(e_step)
    ->ArgNames({"loci", "missing"})
    ->Args({8, 0})
    ->Args({12, 0})
    ->Args({16, 0})
    ->Args({12, 30})
    ->Unit(benchmark::kMillisecond);

// The floor of the same visits: listed pairs of the same genotypes without missing loci.
void listed_pairs(benchmark::State& state) {
    bench_case const c = case_of(static_cast<unsigned>(state.range(0)), 0, 0, false);
    sample s(data_of(c, 0), variables_of(c));
    std::vector<double> const p(std::size_t{1} << c.snps, 0x1p-12);
    std::vector<double> acc(p.size());
    struct codes {
        unsigned i, j;
    };
    std::vector<codes> pairs;
    std::vector<std::size_t> first = {0};
    for (unsigned g = 0; g < s.ccg.distinct->count; ++g) {
        genotype const& of = *s.ccg.distinct->genotypes[g];
        unsigned const top = highest_bit(of.heterozygous()), free = of.heterozygous() ^ top;
        if (top == 0) continue;
        for_each_subset(free, [&](unsigned v) {
            pairs.push_back({of.twos | top | v, of.twos | (free ^ v)});
        });
        first.push_back(pairs.size());
    }
    for (auto _ : state)
        for (std::size_t g = 1; g < first.size(); ++g) {
            codes const *const begin = &pairs[first[g - 1]], *const end = &pairs[0] + first[g];
            double S = 0;
            for (codes const* pair = begin; pair != end; ++pair)
                S += p[pair->i] * p[pair->j];
            double const w = 1 / S;
            for (codes const* pair = begin; pair != end; ++pair) {
                acc[pair->i] += w * p[pair->j];
                acc[pair->j] += w * p[pair->i];
            }
        }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(pairs.size()));
}
BENCHMARK(listed_pairs)->ArgName("loci")->Arg(8)->Arg(12)->Arg(16)->Unit(benchmark::kMillisecond);

// Ten iterations after a number of iterations.
void em_iterations(benchmark::State& state) {
    bench_case const c = case_of(8, 0.05, 0, false);
    sample s(data_of(c, 0), variables_of(c));
    unsigned const before = static_cast<unsigned>(state.range(0));
    hwq_frequency(s.estimator(), 2, before, 0, s.frequency, true);
    std::vector<double> const reached = s.frequencies;
    for (auto _ : state) {
        std::copy(reached.begin(), reached.end(), s.frequencies.begin());
        s.frequency.iterations = before;
        // A tolerance of 0 ends the run when nothing changes any more, so a negative one is used.
        hwq_frequency(s.estimator(), 2, before + 10, -1, s.frequency, false);
    }
}
BENCHMARK(em_iterations)->ArgName("before")->Arg(0)->Arg(100)->Arg(1000)->Arg(10000);

// The operations of a model at the starting values.
template <typename model> struct model_state : study {
    likelihood_work<model> work;
    std::vector<double> g, H;
    double L = 0;

    explicit model_state(bench_case const& c)
        : study(data_of(c, 0), variables_of(c)), work(ccg), g(ccg.n_parameters),
          H(std::size_t{ccg.n_parameters} * ccg.n_parameters) {}
    void evaluate() { work.evaluate(fit.estimates, L, g.data()); }
};

bench_case model_case(benchmark::State const& state) {
    bench_case c = case_of(8, 0.02, static_cast<double>(state.range(0)) / 100, state.range(1) != 0);
    c.subjects = static_cast<unsigned>(state.range(2));
    return c;
}

// Arguments: 100 rho, whether there are covariates, subjects.
template <typename model> void evaluation(benchmark::State& state) {
    model_state<model> m(model_case(state));
    for (auto _ : state) {
        m.evaluate();
        benchmark::DoNotOptimize(m.L);
    }
}
template <typename model> void matrix(benchmark::State& state) {
    model_state<model> m(model_case(state));
    m.evaluate();
    for (auto _ : state)
        m.work.information(m.H.data());
}
BENCHMARK_TEMPLATE(evaluation, case_control_ggi_hwq)->Args({0, 0, SUBJECTS});
BENCHMARK_TEMPLATE(matrix, case_control_ggi_hwq)->Args({0, 0, SUBJECTS});
BENCHMARK_TEMPLATE(evaluation, case_control_ggi_hwd)->Args({10, 0, SUBJECTS});
BENCHMARK_TEMPLATE(matrix, case_control_ggi_hwd)->Args({10, 0, SUBJECTS});
BENCHMARK_TEMPLATE(evaluation, case_control_ggi_hwqx)->Args({0, 1, MANY});
BENCHMARK_TEMPLATE(matrix, case_control_ggi_hwqx)->Args({0, 1, MANY});
BENCHMARK_TEMPLATE(evaluation, case_control_ggi_hwdx)->Args({10, 1, MANY});
BENCHMARK_TEMPLATE(matrix, case_control_ggi_hwdx)->Args({10, 1, MANY});

// One call of exp per subject and class of the interaction: 0, 1 or 2 copies.
void exponentials(benchmark::State& state) {
    std::vector<double> x(MANY);
    for (std::size_t s = 0; s < x.size(); ++s)
        x[s] = static_cast<double>(s) / MANY;
    for (auto _ : state) {
        double sum = 0;
        for (double const value : x)
            for (double const copies : {0.0, 1.0, 2.0})
                sum += std::exp(0.3 + copies * value);
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(exponentials);

} // namespace
