// The SNPs of a study: the .bim file, or the records of another source.
#ifndef QUILMAR_SCAN_INPUT_SNP_TABLE_H
#define QUILMAR_SCAN_INPUT_SNP_TABLE_H

#include "scan/input/text_pool.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace scan {

struct snp {
    std::uint32_t row;  // in the .bed
    std::uint32_t text; // place of identifier, first and second allele
    std::int32_t position;
    std::uint8_t chromosome;
};

// A SNP as a file has it; the texts last until the next one.
struct snp_record {
    std::string_view chromosome, id, first_allele, second_allele;
    std::int32_t position;
};

// Where the SNPs of a table come from, in the order of the .bed's rows.
class snp_source {
  public:
    virtual ~snp_source() = default;
    // Goes to the next SNP; false after the last one.
    virtual bool next(snp_record& record) = 0;
    // Throws malformed with the place of the SNP.
    [[noreturn]] virtual void fail(std::string const& what) const = 0;
};

// SNPs of the chromosomes 1 to 22 in genome order.
class snp_table {
  public:
    // Reads a .bim: chromosome, identifier, genetic position, position, first and second allele, one
    // SNP a line.
    explicit snp_table(std::string const& path);
    // A chromosome's SNPs stand together and their positions do not go back. Other chromosomes and
    // negative positions are left out.
    snp_table(std::string const& path, snp_source& source);

    std::uint32_t size() const { return static_cast<std::uint32_t>(snps_.size()); }
    snp const& operator[](std::uint32_t i) const { return snps_[i]; }
    std::string_view id(std::uint32_t i) const { return pool_.at(snps_[i].text); }
    // Allele 0 is the first one, which genotypes count, 1 the second.
    std::string_view allele(std::uint32_t i, unsigned which) const;

    std::string const& path() const { return path_; }
    std::uint32_t n_rows() const { return n_rows_; }              // of the source and the .bed
    std::uint32_t n_other() const { return n_other_; }            // of other chromosomes
    std::uint32_t n_without_place() const { return n_no_place_; } // of negative positions

  private:
    std::string path_;
    std::vector<snp> snps_;
    text_pool pool_;
    std::uint32_t n_rows_ = 0, n_other_ = 0, n_no_place_ = 0;
};

} // namespace scan

#endif
