// The subjects of a study: the .fam file, or names.
#ifndef QUILMAR_SCAN_INPUT_SUBJECT_TABLE_H
#define QUILMAR_SCAN_INPUT_SUBJECT_TABLE_H

#include "scan/input/text_pool.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace scan {

constexpr std::uint32_t NOT_FOUND = UINT32_MAX;

// How the name of a VCF's sample becomes family and identifier.
struct sample_naming {
    std::optional<char> delimiter; // between them, and before a third part that is left out
    bool is_double = false;        // the name is both
};

class subject_table {
  public:
    // Reads a .fam: family, identifier, father, mother, sex, phenotype, one subject a line. Two
    // subjects of the same family and identifier are malformed.
    explicit subject_table(std::string const& path);
    // Subjects as plink2 makes them of the samples of a VCF, of the family "0" if the naming gives none,
    // without a phenotype. Throws no_fit for names that do not go with the delimiter.
    subject_table(std::string const& path, std::vector<std::string> const& names,
                  sample_naming const& naming);

    std::uint32_t size() const { return static_cast<std::uint32_t>(places_.size()); }
    std::string_view family(std::uint32_t subject) const { return pool_.at(places_[subject]); }
    std::string_view id(std::uint32_t subject) const { return pool_.after(places_[subject]); }
    // Sixth column as it stands, and the line of the subject.
    std::string_view phenotype(std::uint32_t subject) const;
    std::size_t line(std::uint32_t subject) const { return lines_[subject]; }
    std::string const& path() const { return path_; }
    // False for a VCF whose names hold none.
    bool has_families() const { return has_families_; }

    // The subject of this family and identifier, or NOT_FOUND.
    std::uint32_t find(std::string_view family, std::string_view id) const;
    // The only subject of this identifier, or NOT_FOUND.
    std::uint32_t find_unique(std::string_view id) const;

  private:
    void index();
    std::vector<std::uint32_t>::const_iterator first_of(std::string_view id) const;

    std::string path_;
    bool has_families_ = true;
    text_pool pool_;                    // per subject family, identifier, phenotype
    std::vector<std::uint32_t> places_; // of the families
    std::vector<std::uint32_t> lines_;
    std::vector<std::uint32_t> order_; // subjects by identifier, then family
};

} // namespace scan

#endif
