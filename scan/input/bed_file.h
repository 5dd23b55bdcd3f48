// Genotypes of a study: the .bed file, PLINK 1 binary, SNP by SNP.
#ifndef QUILMAR_SCAN_INPUT_BED_FILE_H
#define QUILMAR_SCAN_INPUT_BED_FILE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace scan {

// A row holds the genotypes of one SNP, 2 bits a subject from the lowest bits on: 00 two copies of the
// .bim's first allele, 01 missing, 10 one copy, 11 none. Rows are read by pread, so that threads can
// share the file and a file that has become shorter is an error instead of a signal.
class bed_file {
  public:
    // Opens the file and checks its magic numbers and its size. Throws open_failed, read_failed and
    // malformed (naming the size that was found and the one that .bim and .fam ask for).
    bed_file(std::string const& path, std::uint32_t n_snps, std::uint32_t n_subjects);
    // Takes over the descriptor of a file that is whole.
    bed_file(int descriptor, std::string const& path, std::uint32_t n_subjects);
    ~bed_file();
    bed_file(bed_file const&) = delete;
    bed_file& operator=(bed_file const&) = delete;

    std::size_t row_bytes() const { return row_bytes_; }
    // Reads n_rows neighbouring rows into row_bytes() bytes each. Throws read_failed.
    void read(std::uint32_t row, std::uint8_t* genotypes, std::uint32_t n_rows = 1) const;
    // Rows that will be read soon may come from the disk meanwhile.
    void expect(std::uint32_t row, std::uint32_t n_rows) const;

  private:
    void check(std::uint32_t n_snps, std::uint32_t n_subjects) const;

    std::string path_;
    std::size_t row_bytes_;
    int descriptor_;
};

} // namespace scan

#endif
