// The haplotypes that explain the subjects of a window, and the pairs of them behind each genotype.
#ifndef QUILMAR_SCAN_EFFECTS_SUPPORTED_HAPLOTYPES_H
#define QUILMAR_SCAN_EFFECTS_SUPPORTED_HAPLOTYPES_H

#include "scan/score/phases.h"

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

// Where a retrospective fit starts (2^n_snps by the haplotype's bits): at the estimates, and for
// haplotypes that only the groups have at the maximum with additive effects, or with all but one of
// them, at the mean of the groups' frequencies. labels: by supported haplotype its effect, 0 for the base; all other haplotypes
// have the effect label_of_others.
std::vector<double> start_frequencies(std::vector<genotype_count> const& genotypes,
                                      supported_haplotypes const& haplotypes,
                                      std::vector<unsigned> const& labels, unsigned n_labels,
                                      unsigned label_of_others, by_group subjects);

} // namespace scan

#endif
