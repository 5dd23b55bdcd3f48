// The haplotypes that explain the subjects of a window, and the pairs of them behind each genotype.
#ifndef QUILMAR_SCAN_EFFECTS_SUPPORTED_HAPLOTYPES_H
#define QUILMAR_SCAN_EFFECTS_SUPPORTED_HAPLOTYPES_H

#include "ggi/garray.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace scan {

struct supported_haplotypes {
    unsigned n_snps;
    std::vector<std::uint32_t> bits; // by frequency from the highest on
    std::vector<double> frequencies; // estimates in all subjects
    // Per distinct genotype the unordered pairs that explain it, as places in bits.
    std::vector<std::vector<std::pair<unsigned, unsigned>>> pairs;

    std::size_t size() const { return bits.size(); }
};

// Those of the EM estimates (2^n_snps by the haplotype's bits) of which n_subjects are expected to have
// more than a trace.
supported_haplotypes find_supported(std::vector<genotype_count> const& genotypes,
                                    std::vector<double> const& estimates, unsigned n_snps,
                                    unsigned n_subjects);

} // namespace scan

#endif
