#include "scan/input/snp_table.h"

#include "scan/input/text_file.h"
#include "scan/input/values.h"

#include <algorithm>

namespace scan {

namespace {

// Sees that the lines of a chromosome stand together and that its positions do not go back.
class order_check {
  public:
    void look_at(snp_source const& source, snp const& next) {
        if (next.chromosome != chromosome_ && was_seen_[next.chromosome])
            source.fail("chromosome " + std::to_string(next.chromosome) +
                        " comes again after another one. Sort the files: plink2 --sort-vars.");
        if (next.chromosome == chromosome_ && next.position < position_)
            source.fail("position " + std::to_string(next.position) + " comes after " +
                        std::to_string(position_) + " on chromosome " +
                        std::to_string(chromosome_) + ". Sort the files: plink2 --sort-vars.");
        was_seen_[next.chromosome] = true;
        chromosome_ = next.chromosome;
        position_ = next.position;
    }

  private:
    bool was_seen_[23] = {};
    std::uint8_t chromosome_ = 0;
    std::int32_t position_ = 0;
};

class bim_file : public snp_source {
  public:
    explicit bim_file(std::string const& path) : file_(path) {}

    bool next(snp_record& record) override {
        if (!file_.next()) return false;
        std::vector<std::string_view> const& fields = file_.fields();
        if (fields.size() != 6)
            fail(std::to_string(fields.size()) + " fields where a .bim has 6: chromosome, "
                                                 "identifier, cM, position, two alleles.");
        record = {fields[0], fields[1], fields[4], fields[5], 0};
        if (!parse_position(fields[3], record.position))
            fail("position '" + std::string(fields[3]) + "' is no whole number.");
        return true;
    }

    [[noreturn]] void fail(std::string const& what) const override { file_.fail(what); }

  private:
    text_file file_;
};

snp_table table_of_bim(std::string const& path) {
    bim_file file(path);
    return snp_table(path, file);
}

} // namespace

snp_table::snp_table(std::string const& path) : snp_table(table_of_bim(path)) {}

snp_table::snp_table(std::string const& path, snp_source& source) : path_(path) {
    order_check order;
    for (snp_record record; source.next(record);) {
        unsigned const chromosome = parse_autosome(record.chromosome);
        snp next{n_rows_++, 0, record.position, static_cast<std::uint8_t>(chromosome)};
        if (next.chromosome == 0 || next.position < 0) {
            ++(next.chromosome == 0 ? n_other_ : n_no_place_);
            continue;
        }
        order.look_at(source, next);
        next.text = pool_.add(record.id);
        pool_.add(record.first_allele);
        pool_.add(record.second_allele);
        snps_.push_back(next);
    }
    if (n_rows_ == 0) source.fail("holds no SNP.");
    std::stable_sort(snps_.begin(), snps_.end(),
                     [](snp const& a, snp const& b) { return a.chromosome < b.chromosome; });
}

std::string_view snp_table::allele(std::uint32_t i, unsigned which) const {
    std::string_view before = id(i);
    for (unsigned k = 0; k < which; ++k)
        before = before.data() + before.size() + 1;
    return before.data() + before.size() + 1;
}

} // namespace scan
