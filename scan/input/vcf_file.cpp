#include "scan/input/vcf_file.h"

#include "scan/error.h"
#include "scan/input/text_file.h"
#include "scan/input/values.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <htslib/hfile.h>
#include <htslib/hts.h>
#include <htslib/hts_log.h>
#include <htslib/vcf.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace scan {

namespace {

constexpr std::uint8_t BED_START[3] = {0x6c, 0x1b, 0x01};
constexpr int NO_MEMORY = -4; // status of bcf_get_genotypes
// Chromosomes and fields that the header does not announce are read nonetheless.
constexpr int HEADER_LACKS = BCF_ERR_CTG_UNDEF | BCF_ERR_TAG_UNDEF;
constexpr std::uint8_t MISSING = 1, BY_COPIES[3] = {3, 2, 0};

bool is_nucleotide(char const* allele) {
    constexpr std::string_view LETTERS = "ACGTacgt";
    return LETTERS.find(allele[0]) != LETTERS.npos && allele[1] == '\0';
}

// A file that vanishes with its last descriptor.
std::FILE* open_unnamed(std::string const& folder) {
    std::string name = folder + "/quilmar-scan.XXXXXX";
    int const descriptor = mkstemp(name.data());
    if (descriptor < 0)
        throw failure(open_failed, folder + ": a temporary file cannot be made there: " +
                                       std::strerror(errno) + ". Change TMPDIR or --out.");
    unlink(name.c_str());
    std::FILE* const file = fdopen(descriptor, "w+");
    if (file != nullptr) return file;
    close(descriptor);
    throw std::bad_alloc();
}

[[noreturn]] void cannot_write() {
    throw failure(write_failed,
                  std::string("The temporary file of the genotypes cannot be written: ") +
                      std::strerror(errno) + ".\nMake room, or change TMPDIR or --out.");
}

// True as well for what is no regular file.
bool ends_in_newline(int descriptor) {
    struct stat info;
    if (fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode)) return true;
    char last = '\0';
    return pread(descriptor, &last, 1, info.st_size - 1) == 1 && last == '\n';
}

} // namespace

void vcf_file::closer::operator()(htsFile* file) const {
    hts_close(file);
}

void vcf_file::closer::operator()(bcf_hdr_t* header) const {
    bcf_hdr_destroy(header);
}

void vcf_file::closer::operator()(bcf1_t* record) const {
    bcf_destroy(record);
}

vcf_file::vcf_file(std::string const& path, std::string const& folder)
    : path_(path), record_(bcf_init()), bed_(open_unnamed(folder)) {
    if (!record_) throw std::bad_alloc();
    hts_set_log_level(HTS_LOG_OFF);
    open();
    header_.reset(bcf_hdr_read(file_.get()));
    if (!header_)
        throw failure(malformed, path_ + ": its header cannot be read: it is damaged, or names a "
                                         "sample twice. See bcftools view -h.");
    n_subjects_ = static_cast<std::uint32_t>(bcf_hdr_nsamples(header_.get()));
    if (n_subjects_ == 0) throw failure(malformed, path_ + ": holds no subject.");
    row_.resize((std::size_t{n_subjects_} + 3) / 4);
    write(BED_START, sizeof BED_START);
}

vcf_file::~vcf_file() {
    std::free(calls_);
}

void vcf_file::open() {
    int const descriptor = open_for_reading(path_);
    hFILE* const stream = hdopen(descriptor, "r");
    if (stream == nullptr) close(descriptor);
    if (stream != nullptr) file_.reset(hts_hopen(stream, path_.c_str(), "r"));
    if (!file_) throw failure(read_failed, path_ + ": cannot be read.");
    htsFormat const& format = *hts_get_format(file_.get());
    if (format.format != vcf && format.format != bcf)
        throw failure(malformed, path_ + ": is no VCF, VCF.gz or BCF.");
    bool const is_whole = format.compression == no_compression
                              ? format.format == bcf || ends_in_newline(descriptor)
                              : hts_check_EOF(file_.get()) != 0;
    if (!is_whole)
        throw failure(read_failed, path_ + ": is cut short: it has no end. "
                                           "Copy or make the file again.");
}

subject_table vcf_file::subjects(sample_naming const& naming) const {
    std::vector<std::string> names(header_->samples, header_->samples + n_subjects_);
    for (std::string const& name : names)
        if (name.find_first_of(" \t") != std::string::npos)
            throw failure(malformed, path_ + ": the name of sample '" + name +
                                         "' has a blank. Change it: bcftools reheader -s.");
    return subject_table(path_, names, naming);
}

void vcf_file::fail(std::string const& what) const {
    bool const has_lines = file_->lineno > 0;
    throw failure(malformed, path_ + ":" +
                                 (has_lines ? std::to_string(file_->lineno)
                                            : " record " + std::to_string(n_records_)) +
                                 ": " + what);
}

bool vcf_file::read_record() {
    int const status = bcf_read(file_.get(), header_.get(), record_.get());
    if (status == -1) return false;
    ++n_records_;
    int const unread = record_->errcode & ~HEADER_LACKS;
    if (status < 0 || unread != 0 || bcf_unpack(record_.get(), BCF_UN_STR) != 0)
        fail("the record cannot be read: the file is damaged or cut short.");
    // Blank lines, comments and lines that end before their calls are read as records without
    // these.
    if (record_->n_allele == 0 || record_->n_sample != n_subjects_ || chromosome()[0] == '#')
        fail("this line is no record: it is blank, a comment or too short.");
    return true;
}

char const* vcf_file::chromosome() const {
    return bcf_seqname_safe(header_.get(), record_.get());
}

// Counts the records that are not.
bool vcf_file::is_used() {
    char** const alleles = record_->d.allele;
    unsigned const n = record_->n_allele;
    bool const is_snp = is_nucleotide(alleles[0]) && (n == 1 || is_nucleotide(alleles[1]));
    if (parse_autosome(chromosome()) == 0)
        ++counts_.other_chromosomes;
    else if (n > 2)
        ++counts_.several_alleles;
    else if (!is_snp)
        ++counts_.no_snps;
    else
        return true;
    return false;
}

bool vcf_file::next(snp_record& record) {
    do
        if (!read_record()) {
            if (counts_.records() == n_records_)
                fail("none of " + std::to_string(n_records_) +
                     " records is a SNP of two alleles on chromosomes 1 to 22.");
            return false;
        }
    while (!is_used());
    if (record_->pos < -1 || record_->pos >= INT32_MAX)
        fail("the position is no whole number from 0 to 2147483647.");
    record = {chromosome(), record_->d.id, record_->n_allele == 1 ? "." : record_->d.allele[1],
              record_->d.allele[0], static_cast<std::int32_t>(record_->pos + 1)};
    if (record.id.find_first_of(" \t") != std::string_view::npos)
        fail("identifier '" + std::string(record.id) + "' has a blank.");
    read_genotypes();
    return true;
}

void vcf_file::read_genotypes() {
    int const n_calls = bcf_get_genotypes(header_.get(), record_.get(), &calls_, &calls_size_);
    if (n_calls == NO_MEMORY) throw std::bad_alloc();
    if (n_calls <= 0) fail("the record has no genotypes (GT).");
    int const ploidy = n_calls / static_cast<int>(n_subjects_);
    std::fill(row_.begin(), row_.end(), std::uint8_t{0});
    for (std::uint32_t s = 0; s < n_subjects_; ++s)
        row_[s / 4] |= static_cast<std::uint8_t>(code(calls_ + s * ploidy, ploidy) << s % 4 * 2);
    write(row_.data(), row_.size());
}

// The .bed's code of a call, whose alleles may end before the most that a call of the record has.
std::uint8_t vcf_file::code(std::int32_t const* call, int most_alleles) {
    int n_alleles = 0, n_missing = 0, copies = 0;
    for (; n_alleles < most_alleles && call[n_alleles] != bcf_int32_vector_end; ++n_alleles) {
        if (bcf_gt_is_missing(call[n_alleles])) {
            ++n_missing;
            continue;
        }
        int const allele = bcf_gt_allele(call[n_alleles]);
        if (allele < 0 || allele >= static_cast<int>(record_->n_allele))
            fail("a genotype has allele " + std::to_string(allele) + ", which the record lacks.");
        copies += allele;
    }
    if (n_missing == n_alleles) return MISSING;
    if (n_alleles == 2 && n_missing == 0) return BY_COPIES[copies];
    ++(n_alleles == 2 ? counts_.half_calls : counts_.other_ploidies);
    return MISSING;
}

void vcf_file::write(void const* bytes, std::size_t size) {
    if (std::fwrite(bytes, 1, size, bed_.get()) != size) cannot_write();
}

bed_file vcf_file::genotypes() {
    int const descriptor = std::fflush(bed_.get()) == 0 ? dup(fileno(bed_.get())) : -1;
    if (descriptor < 0) cannot_write();
    return bed_file(descriptor, path_, n_subjects_);
}

} // namespace scan
