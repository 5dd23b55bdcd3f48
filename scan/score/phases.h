// How the genotypes of a window are explained by pairs of haplotypes, listed once for all E-steps.
//
// A genotype with heterozygous loci H and missing loci M has two sides that complement each other on
// H and are free on M. With p the frequencies of the haplotypes, c the alleles of a side at the other
// loci and l one of M,
//
//   v(c, M) = v(c, M - l) + v(c + l, M - l),   v(c, {}) = p_c
//   P(g)    = sum over unordered pairs of sides of  v(a) v(b)      (times 2 where H is not empty)
//
// A side that only one haplotype fits is that haplotype. Where a genotype has one pair of sides, each
// of them is the marginal observation of one chromosome, and a certain one where it is a haplotype.
#ifndef QUILMAR_SCAN_SCORE_PHASES_H
#define QUILMAR_SCAN_SCORE_PHASES_H

#include "ggi/garray.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace scan {

// Numbers of the controls and of the cases, which one instruction handles together.
using by_group = double __attribute__((vector_size(16)));

// Reused from window to window, so that it does not allocate.
class phases {
  public:
    // A side: haplotype s >= 0, or the sum -1 - s.
    using side = std::int32_t;
    struct side_pair {
        side first, second;
    };

    // Bytes that a list and what is computed from it may take; at most what they take for so many
    // genotypes of so many SNPs.
    static constexpr double MOST_BYTES = 512 << 20;
    static double most_bytes(double n_genotypes, unsigned n_snps);

    // Lists all haplotypes that a genotype can have. A list for which MOST_BYTES are too few is
    // left empty, and is_too_long; throws bad_alloc where the process may not take what it needs.
    void build(std::vector<genotype_count> const& genotypes, unsigned n_snps);
    // Lists these haplotypes (bits, in any order). Some genotypes may then have no pair.
    void build(std::vector<genotype_count> const& genotypes, unsigned n_snps,
               std::vector<std::uint32_t> const& haplotypes);

    bool is_too_long() const { return is_too_long_; }
    // Are MOST_BYTES enough, also for the copies of so many haplotypes that its sides carry?
    bool has_room(std::size_t n_tested) const;
    std::size_t n_haplotypes() const { return bits.size(); }
    std::size_t n_sums() const { return sums.size(); }

    std::vector<std::uint32_t> bits; // of the haplotypes
    std::vector<side_pair> sums;     // a sum's terms stand before it
    // Pairs of sides of the genotypes: those of genotype g from begin[g] to begin[g + 1].
    std::vector<side_pair> pairs;
    std::vector<std::uint32_t> begin;

    // The same for the E-step. Chromosomes of certain haplotypes, by haplotype;
    std::vector<by_group> certain;
    // marginal observations of sums;
    std::vector<side> marginal;
    std::vector<by_group> marginal_counts;
    // genotypes with 2, 4, 8 and with any other number of pairs.
    enum { TWO, FOUR, EIGHT, OTHER, N_SIZES };
    std::vector<std::uint32_t> ambiguous[N_SIZES];
    std::vector<by_group> ambiguous_counts[N_SIZES];

  private:
    static constexpr side NONE = INT32_MAX;
    struct slot {
        std::uint64_t key;
        side value;
    };

    bool is_open_ = true;     // haplotypes are added as they are met
    std::vector<side> index_; // by bits: the haplotype, or NONE
    std::vector<slot> slots_; // of sums, open addressing, at most half full
    std::vector<std::size_t> used_slots_;
    std::vector<std::uint32_t> place_; // of the marginal observation of a sum
    std::size_t n_snps_ = 0;
    bool is_too_long_ = false;
    double granted_ = 32 << 20; // bytes, the first of which are taken without a look
    void ask_for_memory();
    void clear(unsigned n_snps);
    void list(std::vector<genotype_count> const& genotypes);
    void list_pairs(genotype_count const& g);
    void classify(std::size_t g, by_group count);
    void observe(side s, by_group count);
    side side_of(std::uint32_t c, std::uint32_t missing);
    side haplotype_of(std::uint32_t c);
    slot& slot_of(std::uint64_t key);
    void grow();
};

} // namespace scan

#endif
