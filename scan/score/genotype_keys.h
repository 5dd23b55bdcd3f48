// Keys of genotypes: the .bed's codes of up to 8 SNPs of a subject, joined to one number of 16 bits.
#ifndef QUILMAR_SCAN_SCORE_GENOTYPE_KEYS_H
#define QUILMAR_SCAN_SCORE_GENOTYPE_KEYS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace scan {

// Codes of a SNP, 2 bits a subject in the .fam's order from the lowest bits on: 00 two copies of the
// .bim's first allele, 01 missing, 10 one copy, 11 none.
using genotype_row = std::uint8_t const*;

constexpr unsigned SNPS_PER_KEY = 8;

// Subjects of the .fam are taken in tiles, so that what belongs to them stays in the cache. One that
// does not exist or is left out of the analysis is a place without a subject.
constexpr std::size_t TILE = 1024;
using tile_keys = std::array<std::uint16_t, TILE>;

// Where the subjects of the null model stand in the rows and in the keys of a tile.
class sample_places {
  public:
    // By subject: 0 or 1, which is referred to, and its index in the .fam, which increases.
    sample_places(std::vector<std::uint8_t> const& is_case,
                  std::vector<std::uint32_t> const& sample);

    std::size_t n_subjects() const { return place_.size(); }
    std::size_t n_tiles() const { return first_.size() - 1; }
    // Bytes of a row up to the last subject.
    std::size_t row_bytes() const { return status_.size(); }
    // Subjects of a tile: from first(tile) to before first(tile + 1).
    std::size_t first(std::size_t tile) const { return first_[tile]; }
    // Of a subject's key in the keys of its tile.
    std::size_t place(std::size_t subject) const { return place_[subject]; }
    bool is_case(std::size_t subject) const { return is_case_[subject] != 0; }
    // A row like those of SNPs: 0 control, 1 case, 2 no subject.
    genotype_row status() const { return status_.data(); }

  private:
    std::vector<std::uint8_t> const& is_case_;
    std::vector<std::uint32_t> first_;
    std::vector<std::uint16_t> place_;
    std::vector<std::uint8_t> status_;
};

// Keys of all places of a tile, in the order of sample_places::place; returns their number. Bits 2 r
// and 2 r + 1 of a key are the code of rows[r], r < n_rows <= SNPS_PER_KEY; beyond row_bytes all codes
// are 2.
std::size_t form_keys(genotype_row const* rows, unsigned n_rows, std::size_t row_bytes,
                      std::size_t tile, tile_keys& keys);

} // namespace scan

#endif
