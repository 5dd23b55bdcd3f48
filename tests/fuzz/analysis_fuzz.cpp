// The whole analysis of a small file, its report going to /dev/null.
#include "ggi/console/common/analysis.h"
#include "tests/fuzz/fuzz.h"

#include <algorithm>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
    if (size > 4096) return 0;
    settings_and_data input(bytes, size);
    variable& v = input.v;
    // Larger ones are slow, not different.
    if (!input.is_good || v.n_loci() > 8 || v.n_effects > 8 || v.n_covariates > 8) return 0;
    v.iterations = std::min(v.iterations, 20u);
    v.frequency_iterations = std::min(v.frequency_iterations, 20u);
    memory_file const file(input.data);
    result frequency{};
    analyse_file("data", file.path, "/dev/null", v, frequency);
    frequency.free();
    return 0;
}
