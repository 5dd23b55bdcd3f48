// The reader of data files, with any columns.
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
    settings_and_data const input(bytes, size);
    if (!input.is_good) return 0;
    memory_file const file(input.data);
    case_control_ggi_data data;
    data.init();
    data.n_covariates = input.v.n_covariates;
    std::string* names = nullptr;
    int const code = read_file(file.path, input.v, names, data.genotypes, data.status,
                               data.covariates, data.n_subjects);
    if ((code == 1) != (data.genotypes != nullptr) || (code == 1) != (data.n_subjects > 0))
        std::abort();
    for (unsigned s = 0; s < data.n_subjects; ++s)
        if (data.status[s] > 1) std::abort();
    delete[] names;
    data.free();
    return 0;
}
