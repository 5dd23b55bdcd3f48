#include "scan/output/tables.h"

#include "scan/output/numbers.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <initializer_list>

namespace scan {

std::string_view const WINDOW_COLUMNS =
    "CHROM\tPOS\tEND\tWINDOW\tN_SNP\tFIRST_ID\tLAST_ID\tTEST\tOBS_CT\tCASE_CT\tCTRL_CT\tN_HAP\t"
    "RARE_FREQ\tDF\tCHISQ\tP\tNEG_LOG10_P\tTOP_HAP\tTOP_FREQ\tTOP_Z\tTOP_P\tTOP_P_BONF\t"
    "ERRCODE\tP_TYPE\n";

std::string lead_columns() {
    return std::string(WINDOW_COLUMNS, 0, WINDOW_COLUMNS.size() - 1) +
           "\tN_WINDOWS\tLOCUS_POS\tLOCUS_END\n";
}

std::string_view haplotype_columns(test_kind test) {
    return test == test_kind::score
               ? "CHROM\tPOS\tEND\tWINDOW\tHAP\tBITS\tTEST\tFREQ\tCASE_FREQ\tCTRL_FREQ\tCASE_HAP_"
                 "CT\tCTRL_HAP_CT\tZ\tP\tNEG_LOG10_P\tERRCODE\tP_TYPE\n"
               : "CHROM\tPOS\tEND\tWINDOW\tHAP\tBITS\tTEST\tFREQ\tCASE_FREQ\tCTRL_FREQ\tCASE_HAP_"
                 "CT\tCTRL_HAP_CT\tREF_HAP\tBETA\tSE\tZ\tP\tNEG_LOG10_P\tERRCODE\tP_TYPE\n";
}

namespace {

constexpr std::size_t N_NUMBERS = 14; // columns from OBS_CT to TOP_P_BONF

void append_count(std::uint64_t count, std::string& line) {
    char digits[20];
    line.append(digits, std::to_chars(digits, digits + sizeof digits, count).ptr).push_back('\t');
}

void append_numbers(std::initializer_list<double> numbers, std::string& line) {
    for (double const number : numbers) {
        append_number(number, line);
        line += '\t';
    }
}

void append_p_values(double log_p, std::string& line) {
    append_p(log_p, line);
    line += '\t';
    append_neg_log10(log_p, line);
    line += '\t';
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
           percent + "\tU" + percent + "\tZ_STAT\tP\tNEG_LOG10_P\tLRT_P\tERRCODE\tP_TYPE\n";
}

void table_rows::append_place(std::size_t index, std::string& line) const {
    window const& w = list_.windows[index];
    append_count(w.chromosome, line);
    append_count(static_cast<std::uint64_t>(w.from), line);
    append_count(static_cast<std::uint64_t>(w.to), line);
    line.append(list_.name(index)).push_back('\t');
}

bool table_rows::has_long_alleles(window const& w) const {
    for (std::uint32_t l = 0; l < w.n_snps; ++l)
        for (unsigned const which : {0u, 1u})
            if (snps_.allele(list_.members[w.first + l], which).size() > 1) return true;
    return false;
}

void table_rows::append_alleles(window const& w, std::uint32_t bits, std::string& line) const {
    bool const is_joined = has_long_alleles(w);
    for (std::uint32_t l = 0; l < w.n_snps; ++l) {
        bool const is_first = bits >> (w.n_snps - 1 - l) & 1;
        if (is_joined && l > 0) line += '-';
        line += snps_.allele(list_.members[w.first + l], is_first ? 0 : 1);
    }
    line += '\t';
}

std::string table_rows::alleles(window const& w, std::uint32_t bits) const {
    std::string text;
    append_alleles(w, bits, text);
    text.pop_back();
    return text;
}

void table_rows::append_window(std::size_t index, window_row const& row, std::string& table) const {
    window const& w = list_.windows[index];
    append_place(index, table);
    append_count(w.n_snps, table);
    for (std::uint32_t const l : {std::uint32_t{0}, w.n_snps - 1}) {
        table += w.n_snps == 0 ? "NA" : snps_.id(list_.members[w.first + l]);
        table += '\t';
    }
    table.append(text(test_)).push_back('\t');
    if (row.code != error_code::none)
        for (std::size_t i = 0; i < N_NUMBERS; ++i)
            table += "NA\t";
    else
        append_results(w, row, table);
    table.append(text(row.code)).append("\t").append(text(row.type)).push_back('\n');
}

// The columns from OBS_CT to TOP_P_BONF.
void table_rows::append_results(window const& w, window_row const& row, std::string& line) const {
    for (unsigned const count : {row.obs, row.cases, row.controls, row.n_haplotypes})
        append_count(count, line);
    append_numbers({row.rare_freq}, line);
    append_count(row.df, line);
    append_numbers({row.chisq}, line);
    append_p_values(row.log_p, line);
    if (std::isnan(row.top.log_p))
        line += "NA\t";
    else
        append_alleles(w, row.top.bits, line);
    append_numbers({row.top.freq, row.top.z}, line);
    for (double const log_p : {row.top.log_p, row.top_log_p_bonferroni}) {
        append_p(log_p, line);
        line += '\t';
    }
}

void table_rows::append_haplotypes(std::size_t index, window_row const& row,
                                   std::string& table) const {
    window const& w = list_.windows[index];
    for (haplotype_row const& h : row.haplotypes) {
        append_place(index, table);
        append_alleles(w, h.bits, table);
        table.append(bit_text(h.bits, w.n_snps)).push_back('\t');
        table.append(text(test_)).push_back('\t');
        append_numbers({h.freq, h.case_freq, h.control_freq, h.case_count, h.control_count}, table);
        if (test_ == test_kind::lrt) {
            append_alleles(w, row.haplotypes[0].bits, table);
            append_numbers({h.beta, h.se}, table);
        }
        append_numbers({h.z}, table);
        append_p_values(h.log_p, table);
        table.append(".\t").append(text(h.type)).push_back('\n');
    }
}

void table_rows::append_name(window const& w, haplotype_name const& haplotype,
                             std::string& line) const {
    switch (haplotype.kind) {
    case haplotype_name::nothing: line += ".\t"; break;
    case haplotype_name::one: append_alleles(w, haplotype.bits, line); break;
    case haplotype_name::rare: line += "rare\t"; break;
    case haplotype_name::rest: line += "rest\t"; break;
    }
}

void table_rows::append_effects(std::size_t index, std::string const& model,
                                effect_result const& result, std::string& table) const {
    window const& w = list_.windows[index];
    for (effect_row const& row : result.rows) {
        effect_estimate const& e = row.estimate;
        append_place(index, table);
        table.append(model).push_back('\t');
        append_name(w, row.haplotype, table);
        append_name(w, row.reference, table);
        table.append(row.test).push_back('\t');
        for (unsigned const count : {result.obs, result.cases, result.obs - result.cases})
            append_count(count, table);
        append_numbers({row.frequency, e.beta, e.standard_error, odds_ratio(row, e.beta),
                        odds_ratio(row, e.lower), odds_ratio(row, e.upper), e.z},
                       table);
        append_p_values(e.log_p, table);
        append_p(e.log_ratio_p, table);
        table.append("\t").append(text(e.code)).append("\t").append(text(e.type)).push_back('\n');
    }
}

} // namespace scan
