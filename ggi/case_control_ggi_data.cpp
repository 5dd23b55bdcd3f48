// Allocation and release of the case-control record.
#include "ggi/case_control_ggi_data.h"

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
