// The reader of data files, with any columns.
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
    settings_and_data const input(bytes, size);
    if (!input.is_good) return 0;
    memory_file const file(input.data);
    std::string* names = nullptr;
    genotype** genotypes = nullptr;
    unsigned *status = nullptr, n = 0;
    double** covariates = nullptr;
    int const code = read_file(file.path, input.v, names, genotypes, status, covariates, n);
    if ((code == 1) != (genotypes != nullptr) || (code == 1) != (n > 0)) std::abort();
    for (unsigned s = 0; s < n; ++s)
        if (status[s] > 1) std::abort();
    for (unsigned c = 0; covariates != nullptr && c < input.v.n_covariates; ++c)
        delete[] covariates[c];
    delete[] covariates;
    if (genotypes != nullptr) delete[] genotypes[0];
    delete[] genotypes;
    delete[] status;
    delete[] names;
    return 0;
}
