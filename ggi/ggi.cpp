// Allocation, release and subhaplotypes of the multi-gene design.
#include "ggi/ggi.h"

namespace {

// Releases the rows, the last first, and the table itself.
template <typename value> void free_table(value**& table, unsigned rows) {
    if (table != nullptr)
        while (rows-- > 0)
            delete[] table[rows];
    delete[] table;
    table = nullptr;
}

} // namespace

void ggi_data::init() {
    *this = ggi_data{};
}

void ggi_data::init(unsigned n, unsigned m, unsigned k) {
    if (n == 0 || k == 0) return;
    init();
    n_covariates = m;
    n_genes = k;
    if (m != 0) {
        covariates = new double* [m] {};
        for (unsigned v = m; v-- > 0;)
            covariates[v] = new double[n];
    }
    genotypes = new genotype* [n] {};
    distinct = new garray;
    gene_loci = new unsigned[k];
}

void ggi_data::clear() {
    delete[] haplotypes;
    haplotypes = nullptr;
    if (distinct != nullptr) distinct->clear();
    effects_free();
    interactions_free();
    subhaplotype_free();
    n_parameters = n_haplotypes = n_informative = 0;
}

void ggi_data::free() {
    clear();
    delete distinct;
    free_table(covariates, n_covariates);
    delete[] gene_loci;
    delete[] genotypes;
    init();
}

void ggi_data::subhaplotype_init() {
    subhaplotype_free();
    subhaplotypes = new unsigned* [n_genes] {};
    unsigned shift = genotypes[0]->nsnp;
    for (unsigned j = 0; j < n_genes; ++j) {
        shift -= gene_loci[j];
        subhaplotypes[j] = new unsigned[n_haplotypes];
        for (unsigned h = 0; h < n_haplotypes; ++h)
            subhaplotypes[j][h] = (haplotypes[h] >> shift) & low_bits(gene_loci[j]);
    }
}

void ggi_data::subhaplotype_free() {
    free_table(subhaplotypes, n_genes);
}

void ggi_data::effects_free() {
    free_table(effects, n_effects);
    n_effects = 0;
}

void ggi_data::interactions_free() {
    free_table(environment, n_environment);
    free_table(interactions, n_interactions);
    n_environment = n_interactions = 0;
}
