// Defaults and release of the settings.
#include "ggi/console/common/variable.h"

#include <numeric>

void variable::init() {
    *this = variable{};
    tolerance = 0.0001;
    frequency_tolerance = 1e-6;
    threshold = 0.001;
    header = 1;
    iterations = 500;
    frequency_iterations = 2000;
    model = ADDITIVE;
    hw = EQUILIBRIUM;
    sample = CONTROLS;
}

void variable::free() {
    if (gene_columns != nullptr)
        for (unsigned g = n_genes; g-- > 0;)
            delete[] gene_columns[g];
    if (effects != nullptr)
        for (unsigned e = n_effects; e-- > 0;)
            delete[] effects[e];
    delete[] gene_columns;
    delete[] effects;
    delete[] gene_loci;
    delete[] covariate_columns;
    gene_columns = nullptr;
    effects = nullptr;
    gene_loci = covariate_columns = nullptr;
    n_covariates = n_genes = n_effects = 0;
}

unsigned variable::n_loci() const {
    return std::accumulate(gene_loci, gene_loci + n_genes, 0u);
}
