// Filling and release of the case-control record.
#include "ggi/case_control_ggi_data.h"

#include <algorithm>
#include <numeric>

void case_control_ggi_data::init() {
    *this = case_control_ggi_data{};
}

void case_control_ggi_data::init(unsigned n, unsigned m, unsigned k) {
    if (n == 0 || k == 0) return;
    init();
    ggi_data::init(n, m, k);
    n_subjects = n;
    status = new unsigned[n];
}

void case_control_ggi_data::init(genotype_count const* counts, unsigned n, unsigned k,
                                 unsigned const* loci) {
    if (n == 0 || k == 0) return;
    init();
    ggi_data::init(n, 0, k);
    genotypes[0] = new genotype[n]();
    for (unsigned r = 1; r < n; ++r)
        genotypes[r] = genotypes[0] + r;
    std::copy(loci, loci + k, gene_loci);
    distinct->init(genotypes, counts, n, std::accumulate(loci, loci + k, 0u), MAX_MISSING);
    for (unsigned r = 0; r < n; ++r) {
        controls_read += counts[r].controls;
        cases_read += counts[r].cases;
    }
    n_subjects = controls_read + cases_read;
}

void case_control_ggi_data::collapse(unsigned k, unsigned const* loci) {
    controls_read = static_cast<unsigned>(std::count(status, status + n_subjects, 0u));
    cases_read = n_subjects - controls_read;
    n_genes = k;
    gene_loci = new unsigned[k];
    std::copy(loci, loci + k, gene_loci);
    distinct = new garray;
    // Index mode 101 lists the subjects of a group, which nothing here asks for.
    distinct->init(genotypes, status, n_subjects, 101, 0, MAX_MISSING, true);
}

void case_control_ggi_data::clear() {
    n_cases = n_controls = 0;
    ggi_data::clear();
}

void case_control_ggi_data::free() {
    // The design's lists hang on the genotype objects, so those go last.
    genotype* const block = genotypes == nullptr ? nullptr : genotypes[0];
    ggi_data::free();
    delete[] block;
    delete[] status;
    init();
}
