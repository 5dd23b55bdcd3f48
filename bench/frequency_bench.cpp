// Time of an EM iteration early and late in a run. EM drives haplotypes without support towards 0
// by a constant factor per iteration; the late iterations must not be slower than the early ones.
#include "examples/simulation.h"
#include "ggi/hwq_frequency.h"

#include <benchmark/benchmark.h>
#include <sstream>

namespace {

// Genotypes of the simulated two genes, all subjects controls.
struct sample {
    std::vector<genotype> block;
    std::vector<genotype*> pointers;
    garray distinct;
    std::vector<double> frequencies;

    sample() {
        simulation design = two_genes();
        design.missing = 0.05;
        unsigned const L = design.n_loci();
        std::istringstream lines(simulate(design, 1));
        std::string line, token;
        std::getline(lines, line);
        while (std::getline(lines, line)) {
            std::istringstream tokens(line);
            tokens >> token >> token;
            genotype g;
            g.clear();
            g.nsnp = L;
            for (unsigned bit = 1u << (L - 1); tokens >> token; bit >>= 1) {
                if (token == "9") g.missing |= bit;
                if (token == "1" || token == "2") g.ones |= bit;
                if (token == "2") g.twos |= bit;
            }
            block.push_back(g);
        }
        for (genotype& g : block)
            pointers.push_back(&g);
        std::vector<unsigned> const status(block.size());
        distinct.init(pointers.data(), status.data(), static_cast<unsigned>(block.size()), 0, 2, 10,
                      true);
        frequencies.resize(std::size_t{1} << L);
    }
    ~sample() { distinct.clear(); }
};

// Ten iterations after state.range(0) iterations.
void em_iterations(benchmark::State& state) {
    sample s;
    data const d{s.pointers.data(), &s.distinct};
    result r{};
    r.estimates = s.frequencies.data();
    unsigned const before = static_cast<unsigned>(state.range(0));
    hwq_frequency(d, 2, before, 0, r, true);
    std::vector<double> const reached = s.frequencies;
    for (auto _ : state) {
        std::copy(reached.begin(), reached.end(), s.frequencies.begin());
        r.iterations = before;
        // A tolerance of 0 ends the run when nothing changes any more, so a negative one is used.
        hwq_frequency(d, 2, before + 10, -1, r, false);
    }
    state.SetItemsProcessed(state.iterations() * 10);
}
BENCHMARK(em_iterations)->Arg(0)->Arg(100)->Arg(1000)->Arg(10000);

} // namespace
