// Text of a haplotype.
#include "ggi/engine/haplotype.h"

std::string haplotype::str(unsigned n) const {
    std::string text(n, '0');
    for (unsigned i = 0; i < n; ++i)
        if ((code >> (n - 1 - i)) & 1u) text[i] = '1';
    return text;
}
