// Genotypes of a study from a VCF, VCF.gz or BCF, which is read once and kept as a .bed without a name.
#ifndef QUILMAR_SCAN_INPUT_VCF_FILE_H
#define QUILMAR_SCAN_INPUT_VCF_FILE_H

#include "scan/input/bed_file.h"
#include "scan/input/snp_table.h"
#include "scan/input/subject_table.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

struct bcf1_t;
struct bcf_hdr_t;
struct htsFile;

namespace scan {

// What next() leaves out or makes missing.
struct vcf_counts {
    std::size_t other_chromosomes = 0, several_alleles = 0, no_snps = 0; // records
    std::size_t records() const { return other_chromosomes + several_alleles + no_snps; }
    std::size_t half_calls = 0, other_ploidies = 0; // genotypes
};

// Its records of one or no alternative allele, all of one letter of ACGT, on chromosomes 1 to 22. The
// alternative allele is the first one of a SNP, which genotypes count; phase is not used. Half calls
// and calls of another number of alleles than two are missing.
class vcf_file : public snp_source {
  public:
    // Opens the file and reads its header. The genotypes go to a file without a name in `folder`.
    // Throws open_failed, read_failed, write_failed and malformed.
    vcf_file(std::string const& path, std::string const& folder);
    ~vcf_file() override;

    subject_table subjects(sample_naming const& naming) const;

    // Goes to the next SNP and stores its genotypes. Throws the same.
    bool next(snp_record& record) override;
    [[noreturn]] void fail(std::string const& what) const override;
    vcf_counts const& counts() const { return counts_; }

    // The genotypes that next() has stored.
    bed_file genotypes();

  private:
    struct closer {
        void operator()(htsFile* file) const;
        void operator()(bcf_hdr_t* header) const;
        void operator()(bcf1_t* record) const;
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    void open();
    bool read_record();
    bool is_used();
    char const* chromosome() const;
    void read_genotypes();
    std::uint8_t code(std::int32_t const* call, int most_alleles);
    void write(void const* bytes, std::size_t size);

    std::string path_;
    std::unique_ptr<htsFile, closer> file_;
    std::unique_ptr<bcf_hdr_t, closer> header_;
    std::unique_ptr<bcf1_t, closer> record_;
    std::unique_ptr<std::FILE, closer> bed_;
    std::uint32_t n_subjects_ = 0;
    std::size_t n_records_ = 0;
    std::int32_t* calls_ = nullptr; // htslib's own
    int calls_size_ = 0;
    std::vector<std::uint8_t> row_;
    vcf_counts counts_;
};

} // namespace scan

#endif
