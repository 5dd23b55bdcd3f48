#include "scan/output/tables.h"

#include "scan/output/numbers.h"

#include <cmath>
#include <initializer_list>

namespace scan {

std::string_view const WINDOW_COLUMNS =
    "CHROM\tPOS\tEND\tWINDOW\tN_SNP\tFIRST_ID\tLAST_ID\tOBS_CT\tCASE_CT\tCTRL_CT\tN_HAP\tRARE_"
    "FREQ\t"
    "DF\tCHISQ\tP\tNEG_LOG10_P\tTOP_HAP\tTOP_FREQ\tTOP_Z\tTOP_P\tTOP_P_BONF\tERRCODE\n";

std::string_view const HAPLOTYPE_COLUMNS = "CHROM\tPOS\tEND\tWINDOW\tHAP\tBITS\tFREQ\tCASE_"
                                           "FREQ\tCTRL_FREQ\tCASE_HAP_CT\tCTRL_HAP_CT\tZ\tP\t"
                                           "NEG_LOG10_P\tERRCODE\n";

namespace {

constexpr std::size_t N_NUMBERS = 14; // columns from OBS_CT to TOP_P_BONF

void append(std::string& line, std::initializer_list<std::string> fields) {
    for (std::string const& field : fields)
        line.append(field).push_back('\t');
}

// Effects are on the scale of odds ratios but for BETA and SE; rho is none.
double odds_ratio(effect_row const& row, double log_ratio) {
    return row.is_log_ratio ? std::exp(log_ratio) : NOT_COMPUTED;
}

} // namespace

std::string bit_text(std::uint32_t bits, std::uint32_t n_snps) {
    std::string text(n_snps, '0');
    for (std::uint32_t l = 0; l < n_snps; ++l)
        if (bits >> (n_snps - 1 - l) & 1) text[l] = '1';
    return text;
}

std::string effect_columns(double level) {
    std::string const percent = number_text(100 * level);
    return "CHROM\tPOS\tEND\tWINDOW\tMODEL\tHAP\tREF_HAP\tTEST\tOBS_CT\tCASE_CT\tCTRL_CT\t"
           "HAP_FREQ\tBETA\tSE\tOR\tL" +
           percent + "\tU" + percent + "\tZ_STAT\tP\tNEG_LOG10_P\tLRT_P\tERRCODE\n";
}

void table_rows::append_place(std::size_t index, std::string& line) const {
    window const& w = list_.windows[index];
    append(line, {std::to_string(w.chromosome), std::to_string(w.from), std::to_string(w.to),
                  list_.name(index)});
}

bool table_rows::has_long_alleles(window const& w) const {
    for (std::uint32_t l = 0; l < w.n_snps; ++l)
        for (unsigned const which : {0u, 1u})
            if (snps_.allele(list_.members[w.first + l], which).size() > 1) return true;
    return false;
}

std::string table_rows::alleles(window const& w, std::uint32_t bits) const {
    bool const is_joined = has_long_alleles(w);
    std::string text;
    for (std::uint32_t l = 0; l < w.n_snps; ++l) {
        bool const is_first = bits >> (w.n_snps - 1 - l) & 1;
        if (is_joined && l > 0) text += '-';
        text += snps_.allele(list_.members[w.first + l], is_first ? 0 : 1);
    }
    return text;
}

void table_rows::append_window(std::size_t index, window_row const& row, std::string& table) const {
    window const& w = list_.windows[index];
    append_place(index, table);
    auto const id = [&](std::uint32_t l) {
        return w.n_snps == 0 ? "NA" : std::string(snps_.id(list_.members[w.first + l]));
    };
    append(table, {std::to_string(w.n_snps), id(0), id(w.n_snps - 1)});
    if (row.code != error_code::none) {
        for (std::size_t i = 0; i < N_NUMBERS; ++i)
            table += "NA\t";
    } else {
        bool const has_top = !std::isnan(row.top.log_p);
        append(table,
               {std::to_string(row.obs), std::to_string(row.cases), std::to_string(row.controls),
                std::to_string(row.n_haplotypes), number_text(row.rare_freq),
                std::to_string(row.df), number_text(row.chisq), p_text(row.log_p),
                neg_log10_text(row.log_p), has_top ? alleles(w, row.top.bits) : "NA",
                number_text(row.top.freq), number_text(row.top.z), p_text(row.top.log_p),
                p_text(row.top_log_p_bonferroni)});
    }
    table.append(text(row.code)).push_back('\n');
}

void table_rows::append_haplotypes(std::size_t index, window_row const& row,
                                   std::string& table) const {
    window const& w = list_.windows[index];
    for (haplotype_row const& h : row.haplotypes) {
        append_place(index, table);
        append(table, {alleles(w, h.bits), bit_text(h.bits, w.n_snps), number_text(h.freq),
                       number_text(h.case_freq), number_text(h.control_freq),
                       number_text(h.case_count), number_text(h.control_count), number_text(h.z),
                       p_text(h.log_p), neg_log10_text(h.log_p)});
        table += ".\n";
    }
}

std::string table_rows::name(window const& w, haplotype_name const& haplotype) const {
    switch (haplotype.kind) {
    case haplotype_name::nothing: return ".";
    case haplotype_name::one: return alleles(w, haplotype.bits);
    case haplotype_name::rare: return "rare";
    case haplotype_name::rest: return "rest";
    }
    return ".";
}

void table_rows::append_effects(std::size_t index, std::string const& model,
                                effect_result const& result, std::string& table) const {
    window const& w = list_.windows[index];
    for (effect_row const& row : result.rows) {
        effect_estimate const& e = row.estimate;
        append_place(index, table);
        append(table, {model, name(w, row.haplotype), name(w, row.reference), row.test,
                       std::to_string(result.obs), std::to_string(result.cases),
                       std::to_string(result.obs - result.cases), number_text(row.frequency),
                       number_text(e.beta), number_text(e.standard_error),
                       number_text(odds_ratio(row, e.beta)), number_text(odds_ratio(row, e.lower)),
                       number_text(odds_ratio(row, e.upper)), number_text(e.z), p_text(e.log_p),
                       neg_log10_text(e.log_p), p_text(e.log_ratio_p)});
        table.append(text(e.code)).push_back('\n');
    }
}

} // namespace scan
