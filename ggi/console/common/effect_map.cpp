// Checking and sorting of the effects of the variable specification file.
#include "ggi/console/common/effect_map.h"

#include "ggi/console/common/console_status.h"
#include "numeric/nutil.h"
#include "numeric/status_code.h"

#include <algorithm>
#include <set>
#include <vector>

namespace {

// Is some modelled haplotype's part at the gene the subhaplotype h?
bool is_modelled(case_control_ggi_data const& ccg, unsigned gene, unsigned h) {
    unsigned const* const parts = ccg.subhaplotypes[gene];
    return std::find(parts, parts + ccg.n_haplotypes, h) != parts + ccg.n_haplotypes;
}

// Checks the gene entries of all effects, printing each bad haplotype once.
int check_haplotypes(std::string const& name, variable const& v, case_control_ggi_data const& ccg) {
    int status = SUCCESS;
    std::set<unsigned> reported;
    for (unsigned e = 0; e < v.n_effects; ++e)
        for (unsigned gene = 0; gene < v.n_genes; ++gene) {
            if (v.effects[e][gene] == -1) continue;
            unsigned const h = static_cast<unsigned>(v.effects[e][gene]);
            unsigned const loci = v.gene_loci[gene];
            bool const exists = h <= low_bits(loci);
            if (exists && is_modelled(ccg, gene, h)) continue;
            status = exists ? static_cast<int>(BELOW_THRESHOLD) : UNKNOWN_HAPLOTYPE;
            if (reported.insert(h).second) console_status(status, name, haplotype{h, 0}.str(loci));
        }
    return status;
}

using table_rows = std::vector<std::vector<unsigned>>;

// The table as an array of n rows of `width` entries, filled up with MAX_UINT.
void make_table(table_rows const& rows, std::size_t width, unsigned**& table, unsigned& n) {
    table = new unsigned* [rows.size()] {};
    n = 0;
    for (std::vector<unsigned> const& row : rows) {
        table[n] = new unsigned[width];
        std::fill(std::copy(row.begin(), row.end(), table[n]), table[n] + width, MAX_UINT);
        ++n;
    }
}

} // namespace

bool asks_for_fit(variable const& v) {
    bool has_term = false;
    for (unsigned e = 0; e < v.n_effects; ++e) {
        int const* const entries = v.effects[e];
        for (unsigned gene = 0; gene < v.n_genes; ++gene) {
            if (entries[gene] == -1) continue;
            if (static_cast<unsigned>(entries[gene]) > low_bits(v.gene_loci[gene])) return false;
            has_term = true;
        }
        int const* const covariates = entries + v.n_genes;
        has_term = has_term || std::count(covariates, covariates + v.n_covariates, 1) > 0;
    }
    return has_term;
}

int map_effects(std::string const& name, variable const& v, case_control_ggi_data& ccg) {
    int const status = check_haplotypes(name, v, ccg);
    if (status != SUCCESS) return status;
    table_rows effects, environment, interactions;
    for (unsigned e = 0; e < v.n_effects; ++e) {
        int const* const entries = v.effects[e];
        // -1 becomes MAX_UINT.
        std::vector<unsigned> genes(entries, entries + v.n_genes), covariates;
        for (unsigned c = 0; c < v.n_covariates; ++c)
            if (entries[v.n_genes + c] == 1) covariates.push_back(c);
        bool const has_gene = std::any_of(genes.begin(), genes.end(),
                                          [](unsigned entry) { return entry != MAX_UINT; });
        if (has_gene && covariates.empty()) {
            effects.push_back(genes);
        } else if (has_gene) {
            genes.insert(genes.end(), covariates.begin(), covariates.end());
            interactions.push_back(genes);
        } else if (!covariates.empty()) {
            environment.push_back(covariates);
        }
    }
    make_table(effects, v.n_genes, ccg.effects, ccg.n_effects);
    make_table(environment, v.n_covariates + 1, ccg.environment, ccg.n_environment);
    make_table(interactions, v.n_genes + v.n_covariates + 1, ccg.interactions, ccg.n_interactions);
    return SUCCESS;
}
