// The rows of the two result tables: tab-separated, one header line, NA for missing values.
#ifndef QUILMAR_SCAN_OUTPUT_TABLES_H
#define QUILMAR_SCAN_OUTPUT_TABLES_H

#include "scan/effects/effect_test.h"
#include "scan/input/snp_table.h"
#include "scan/score/window.h"
#include "scan/windows/window_list.h"

#include <string>
#include <string_view>

namespace scan {

// Header lines.
extern std::string_view const WINDOW_COLUMNS;
// That of the lead windows: more columns.
std::string lead_columns();
std::string_view haplotype_columns(test_kind test);

// That of the effects; level: of the intervals, whose columns are L95 and U95 for 0.95.
std::string effect_columns(double level);
// BITS: 1 for the first allele of the .bim, the first SNP first.
std::string bit_text(std::uint32_t bits, std::uint32_t n_snps);

class table_rows {
  public:
    table_rows(snp_table const& snps, window_list const& list, test_kind test)
        : snps_(snps), list_(list), test_(test) {}

    // Appends the row of a window; under a code its numbers are NA.
    void append_window(std::size_t w, window_row const& row, std::string& table) const;
    // Appends a row for each tested haplotype.
    void append_haplotypes(std::size_t w, window_row const& row, std::string& table) const;
    // Appends a row for each effect.
    void append_effects(std::size_t w, std::string const& model, effect_result const& result,
                        std::string& table) const;

    // The alleles of a haplotype as the tables have them: "-" stands between longer ones than a letter.
    std::string alleles(window const& w, std::uint32_t bits) const;

  private:
    void append_place(std::size_t w, std::string& line) const;
    void append_alleles(window const& w, std::uint32_t bits, std::string& line) const;
    void append_results(window const& w, window_row const& row, std::string& line) const;
    void append_name(window const& w, haplotype_name const& haplotype, std::string& line) const;
    bool has_long_alleles(window const& w) const;

    snp_table const& snps_;
    window_list const& list_;
    test_kind test_;
};

} // namespace scan

#endif
