#include "scan/export_window.h"

#include "scan/chunk_worker.h"
#include "scan/error.h"
#include "scan/output/numbers.h"
#include "scan/output/output_file.h"
#include "scan/output/tables.h"
#include "scan/score/null_model.h"
#include "scan/score/window.h"
#include "scan/study.h"

#include <algorithm>
#include <string>
#include <vector>

namespace scan {

namespace {

constexpr std::size_t N_IDENTIFYING = 3; // columns: family, identifier, status
constexpr double MODELLED = 0.001;       // frequency above which quilmar models a haplotype

std::size_t find_window(window_list const& list, std::string const& id) {
    std::size_t const n = list.windows.size();
    std::size_t found = n;
    for (std::size_t w = 0; w < n; ++w) {
        if (list.name(w) != id) continue;
        if (found < n) throw failure(no_fit, "There are several windows " + id + ".");
        found = w;
    }
    if (found == n)
        throw failure(no_fit, "There is no window " + id +
                                  " in the column WINDOW of this scan. "
                                  "Give the options of the scan that found it.");
    return found;
}

// The .bed's rows of a window's SNPs.
class exported_genotypes {
  public:
    exported_genotypes(study const& s, window const& w) : n_snps_(w.n_snps) {
        for (std::uint32_t l = 0; l < n_snps_; ++l) {
            bytes_.emplace_back(s.bed.row_bytes());
            s.bed.read(s.snps[s.windows.members[w.first + l]].row, bytes_.back().data());
        }
    }

    // Copies of the first allele, -9 for missing.
    int copies(std::uint32_t l, std::uint32_t subject) const {
        constexpr int BY_CODE[4] = {2, -9, 1, 0};
        return BY_CODE[bytes_[l][subject / 4] >> subject % 4 * 2 & 3];
    }
    unsigned n_missing(std::uint32_t subject) const {
        unsigned n = 0;
        for (std::uint32_t l = 0; l < n_snps_; ++l)
            n += copies(l, subject) < 0;
        return n;
    }

  private:
    std::uint32_t n_snps_;
    std::vector<std::vector<std::uint8_t>> bytes_;
};

window_row compute(study const& s, std::size_t index, options const& o) {
    null_model const model = fit_null_model(s.used.is_case, s.design.columns, s.design.names);
    scan_input const input{s.snps, s.bed, s.windows, s.used.used, model, nullptr};
    window_row row = chunk_worker(input, o).compute_one(index);
    if (row.code != error_code::none)
        throw failure(nothing_to_do,
                      "Window " + o.exported.first +
                          " cannot be exported, as it has no numbers: " + text(row.code) + ".");
    return row;
}

// A name as a word of a header.
std::string word(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == ' ' || c == '\t'; }, '_');
    return name;
}

std::string data_text(study const& s, window const& w, exported_genotypes const& genotypes,
                      double window_mind) {
    std::string table = "FID\tIID\tSTATUS";
    for (std::uint32_t l = 0; l < w.n_snps; ++l) {
        std::uint32_t const i = s.windows.members[w.first + l];
        table.append("\t").append(s.snps.id(i)).append("_").append(s.snps.allele(i, 0));
    }
    for (std::size_t c = 1; c < s.design.names.size(); ++c)
        table += "\t" + word(s.design.names[c]);
    table += '\n';
    for (std::size_t i = 0; i < s.used.used.size(); ++i) {
        std::uint32_t const subject = s.used.used[i];
        if (genotypes.n_missing(subject) > window_mind * w.n_snps) continue;
        table.append(s.subjects.family(subject)).append("\t").append(s.subjects.id(subject));
        table.append("\t").append(std::to_string(s.used.is_case[i]));
        for (std::uint32_t l = 0; l < w.n_snps; ++l)
            table += "\t" + std::to_string(genotypes.copies(l, subject));
        for (Eigen::Index c = 1; c < s.design.columns.cols(); ++c)
            table += "\t" + number_text(s.design.columns(static_cast<Eigen::Index>(i), c));
        table += '\n';
    }
    return table;
}

std::string columns(std::size_t first, std::size_t n) {
    return n == 1 ? "column " + std::to_string(first)
                  : "columns " + std::to_string(first) + " to " + std::to_string(first + n - 1);
}

// The alleles that are 1 in a haplotype, or those that are 0, a blank before each.
std::string letters(study const& s, window const& w, unsigned which) {
    std::string text;
    for (std::uint32_t l = 0; l < w.n_snps; ++l)
        text.append(" ").append(s.snps.allele(s.windows.members[w.first + l], which));
    return text;
}

// Comments hold no "=" and, but for alleles, no capitals, or they would be definitions. quilmar-table
// reads the one on letters.
std::string specification_text(study const& s, window const& w, window_row const& row,
                               test_kind test) {
    table_rows const rows(s.snps, s.windows, test);
    std::string spec = "a window of quilmar-scan; 1 is the allele that the data file counts\n"
                       "letters of 1:" +
                       letters(s, w, 0) + "; of 0:" + letters(s, w, 1) + "\n";
    std::replace(spec.begin(), spec.end(), '=', '?');
    auto const named = [&](haplotype_row const& h) {
        std::string alleles = rows.alleles(w, h.bits);
        std::replace(alleles.begin(), alleles.end(), '=', '?');
        return "haplotype " + bit_text(h.bits, w.n_snps) + ", " + alleles + ", frequency " +
               number_text(h.freq);
    };
    double rarest = 1;
    for (haplotype_row const& h : row.haplotypes)
        rarest = std::min(rarest, h.freq);
    spec += "GENE=";
    for (std::uint32_t l = 0; l < w.n_snps; ++l)
        spec += (l == 0 ? "" : " ") + std::to_string(N_IDENTIFYING + 1 + l);
    spec +=
        "\nSTATUS=3\nSAMPLE=combined\nTHRESHOLD=" + number_text(std::min(MODELLED, rarest / 2)) +
        "\n\nthe base, or reference, is " + named(row.haplotypes[0]) +
        ", with those that the scan did not test\n";
    for (std::size_t h = 1; h < row.haplotypes.size(); ++h)
        spec += "\n" + named(row.haplotypes[h]) +
                "\nEFFECT=" + std::to_string(row.haplotypes[h].bits) + "\n";
    if (s.design.names.size() > 1)
        spec += "\nthe scan's covariates, centred and in standard deviations, are in " +
                columns(N_IDENTIFYING + 1 + w.n_snps, s.design.names.size() - 1) +
                "\nthey are not used: in quilmar they would not adjust the effects\n";
    return spec;
}

} // namespace

void export_window(options const& o, run_log& log) {
    auto const& [id, prefix] = o.exported;
    output_file data(prefix + ".txt", input_paths(o)),
        specification(prefix + ".spec", input_paths(o));
    study const s(o, log);
    std::size_t const index = find_window(s.windows, id);
    window const& w = s.windows.windows[index];
    exported_genotypes const genotypes(s, w);
    window_row const row = compute(s, index, o);
    data.write(data_text(s, w, genotypes, o.test.window_mind));
    specification.write(specification_text(s, w, row, o.test.test));
    for (output_file* file : {&data, &specification})
        file->finish();
    output_file::publish({&data, &specification});
    log.note("Window " + id + ": P " + p_text(row.log_p) + ", " + std::to_string(row.obs) +
             " subjects. Analyse it by: quilmar " + prefix + ".txt " + prefix + ".spec");
}

} // namespace scan
