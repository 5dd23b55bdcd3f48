// The reader of the variable specification file.
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
    settings_and_data const input(bytes, size);
    if (input.is_good && (input.v.n_loci() == 0 || input.v.n_loci() > 32)) std::abort();
    return 0;
}
