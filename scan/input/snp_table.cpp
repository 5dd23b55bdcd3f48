#include "scan/input/snp_table.h"

#include "scan/input/text_file.h"
#include "scan/input/values.h"

#include <algorithm>

namespace scan {

namespace {

// Sees that the lines of a chromosome stand together and that its positions do not go back.
class order_check {
  public:
    void look_at(text_file const& file, snp const& next) {
        if (next.chromosome != chromosome_ && was_seen_[next.chromosome])
            file.fail("chromosome " + std::to_string(next.chromosome) +
                      " comes again after another one. Sort the files: plink2 --sort-vars.");
        if (next.chromosome == chromosome_ && next.position < position_)
            file.fail("position " + std::to_string(next.position) + " comes after " +
                      std::to_string(position_) + " on chromosome " + std::to_string(chromosome_) +
                      ". Sort the files: plink2 --sort-vars.");
        was_seen_[next.chromosome] = true;
        chromosome_ = next.chromosome;
        position_ = next.position;
    }

  private:
    bool was_seen_[23] = {};
    std::uint8_t chromosome_ = 0;
    std::int32_t position_ = 0;
};

} // namespace

snp_table::snp_table(std::string const& path) : path_(path) {
    text_file file(path);
    order_check order;
    while (file.next()) {
        std::vector<std::string_view> const& fields = file.fields();
        if (fields.size() != 6)
            file.fail(std::to_string(fields.size()) + " fields where a .bim has 6: chromosome, "
                                                      "identifier, cM, position, two alleles.");
        snp next{n_rows_++, 0, 0, static_cast<std::uint8_t>(parse_autosome(fields[0]))};
        if (!parse_position(fields[3], next.position))
            file.fail("position '" + std::string(fields[3]) + "' is no whole number.");
        if (next.chromosome == 0 || next.position < 0) {
            ++(next.chromosome == 0 ? n_other_ : n_no_place_);
            continue;
        }
        order.look_at(file, next);
        next.text = pool_.add(fields[1]);
        pool_.add(fields[4]);
        pool_.add(fields[5]);
        snps_.push_back(next);
    }
    if (n_rows_ == 0) file.fail("holds no SNP.");
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
