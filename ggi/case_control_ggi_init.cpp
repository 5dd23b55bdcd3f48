// Selection of the modelled haplotypes, listing of their pairs, starting values.
#include "ggi/case_control_ggi_init.h"

#include "ggi/engine_input.h"
#include "ggi/settings.h"
#include "numeric/memory.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <set>
#include <utility>
#include <vector>

namespace {

// The codes whose frequency exceeds the threshold in increasing order; under equilibrium the most
// frequent one is moved to the end.
std::vector<unsigned> select_haplotypes(unsigned hw, double threshold, double const* frequencies,
                                        std::size_t candidates) {
    std::vector<unsigned> selected;
    double highest = -MAX_DOUBLE;
    std::size_t reference = 0;
    for (std::size_t code = 0; code < candidates; ++code) {
        if (threshold >= frequencies[code]) continue;
        if (frequencies[code] > highest) {
            highest = frequencies[code];
            reference = selected.size();
        }
        selected.push_back(static_cast<unsigned>(code));
    }
    if (hw == EQUILIBRIUM && !selected.empty()) {
        unsigned const code = selected[reference];
        selected.erase(selected.begin() + static_cast<std::ptrdiff_t>(reference));
        selected.push_back(code);
    }
    return selected;
}

// Keeps the pairs of modelled haplotypes (a list that was there before may hold others) and stores
// their positions, the larger one first.
void prune(haplotype_pair_list& pairs, std::vector<unsigned> const& position) {
    std::size_t kept = 0;
    for (haplotype_pair pair : pairs) {
        unsigned i = position[pair.first.code], j = position[pair.second.code];
        if (i == MAX_UINT || j == MAX_UINT) continue;
        if (i < j) std::swap(i, j);
        pair.first.position = i;
        pair.second.position = j;
        pairs[kept++] = pair;
    }
    pairs.resize(kept);
}

void prune_genotypes(case_control_ggi_data& data, std::size_t candidates) {
    std::vector<unsigned> position(candidates, MAX_UINT);
    for (unsigned i = 0; i < data.n_haplotypes; ++i)
        position[data.haplotypes[i]] = i;
    std::set<unsigned> const modelled(data.haplotypes, data.haplotypes + data.n_haplotypes);
    // Many lists of which none is large can use up the memory together: after so many bytes of
    // pairs, the amount from which on require_memory asks the system, there must be room for as many
    // more.
    constexpr double CHECKED = 0x1p26;
    double listed = 0;
    for (unsigned r = 0; r < data.distinct->count; ++r) {
        genotype& g = *data.distinct->genotypes[r];
        // A genotype that counts as its completions is not modelled.
        if (!data.distinct->counts_as_completions(g)) g.haplotype_pairs(modelled);
        if (g.pairs == nullptr) {
            g.set_multiplicity(0, 4);
            continue;
        }
        prune(*g.pairs, position);
        if (g.pairs->empty()) g.set_multiplicity(0, 4);
        listed += static_cast<double>(g.pairs->size()) * sizeof(haplotype_pair);
        if (listed >= CHECKED) {
            require_memory(listed);
            listed = 0;
        }
    }
    data.distinct->share(data.genotypes);
}

// Counts the subjects whose genotype has not lost its multiplicities.
int count_subjects(case_control_ggi_data& data) {
    data.n_cases = data.n_controls = 0;
    for (unsigned r = 0; r < data.distinct->count; ++r) {
        data.n_controls += data.distinct->genotypes[r]->multiplicity[0];
        data.n_cases += data.distinct->genotypes[r]->multiplicity[1];
    }
    data.n_informative = data.n_cases + data.n_controls;
    if (data.n_cases == 0) return NO_CASES;
    return data.n_controls == 0 ? NO_CONTROLS : SUCCESS;
}

} // namespace

unsigned count_selected(double threshold, double const* frequencies, std::size_t candidates) {
    return static_cast<unsigned>(std::count_if(frequencies, frequencies + candidates,
                                               [=](double f) { return !(threshold >= f); }));
}

int case_control_ggi_init(case_control_ggi_data& data, unsigned hw, double threshold,
                          double const* frequencies) {
    unsigned const L = data.genotypes == nullptr ? 0 : data.genotypes[0]->nsnp;
    std::size_t const candidates = std::size_t{1} << L;
    std::vector<unsigned> const selected =
        select_haplotypes(hw, threshold, frequencies, candidates);
    data.n_haplotypes = static_cast<unsigned>(selected.size());
    if (selected.empty()) return NO_HAPLOTYPE;
    delete[] data.haplotypes;
    data.haplotypes = nullptr;
    data.haplotypes = new unsigned[selected.size()];
    std::copy(selected.begin(), selected.end(), data.haplotypes);
    // A file without cases or controls may have frequencies that are no numbers, all of which were
    // selected; there is no point in pruning to them.
    int status = count_subjects(data);
    if (status == SUCCESS) {
        prune_genotypes(data, candidates);
        status = count_subjects(data);
    }
    if (status == SUCCESS) data.subhaplotype_init();
    return status;
}

void case_control_ggi_start(case_control_ggi_data const& data, unsigned hw, result const& frequency,
                            result& fit) {
    auto const log_frequency = [&](unsigned i) {
        return std::log(frequency.estimates[data.haplotypes[i]]);
    };
    // Log ratios to the reference, or under disequilibrium to the odds of rho.
    parameter_layout const where = layout_of(data, hw);
    double const origin = where.has_reference ? log_frequency(where.n_haplotypes - 1)
                                              : std::log(frequency.rho / (1 - frequency.rho));
    fit.count = data.n_parameters;
    fit.estimates = new double[data.n_parameters]();
    for (unsigned i = 0; i < where.n_haplotype_parameters(); ++i)
        fit.estimates[i] = log_frequency(i) - origin;
}
