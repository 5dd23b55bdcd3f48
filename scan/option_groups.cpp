#include "scan/option_groups.h"

#include "scan/input/values.h"

#include <CLI/CLI.hpp>

#include <limits>
#include <tuple>

namespace scan {

namespace {

constexpr double NO_LIMIT = std::numeric_limits<double>::max();
constexpr std::int32_t LAST = std::numeric_limits<std::int32_t>::max();

std::string refusal(std::string const& text, std::string const& kind, std::string const& range) {
    return "'" + text + "' is no " + kind + ", " + range + ".";
}

// A decimal number from `low` to `high`.
CLI::Validator number_in(double low, double high) {
    std::string const first = CLI::detail::to_string(low),
                      range = high == NO_LIMIT ? first + " or more"
                                               : first + " to " + CLI::detail::to_string(high);
    auto const check = [=](std::string const& text) {
        double value;
        bool const is_good = parse_number(text, value) && value >= low && value <= high;
        return is_good ? "" : refusal(text, "number", range);
    };
    return CLI::Validator(check, "");
}

// A whole number from `low` to `high`, for CLI::Option::transform: it loses its leading zeros, with
// which CLI11 would read it to the base 8.
CLI::Validator whole_in(std::int32_t low, std::int32_t high) {
    auto const check = [=](std::string& text) {
        double value;
        bool const is_good = parse_number(text, value) && value >= low && value <= high &&
                             text.find_first_not_of("0123456789") == text.npos;
        if (!is_good)
            return refusal(text, "whole number",
                           std::to_string(low) + " to " + std::to_string(high));
        text.erase(0, std::min(text.find_first_not_of('0'), text.size() - 1));
        return std::string();
    };
    return CLI::Validator(check, "");
}

// One of some words in any case, for CLI::Option::transform: it becomes the word as it stands here.
CLI::Validator one_of(std::vector<std::string> const& words) {
    std::string shown;
    for (std::string const& word : words)
        shown += (shown.empty() ? "{" : ",") + word;
    auto const check = [=](std::string& text) {
        std::string list;
        for (std::string const& word : words) {
            if (CLI::detail::to_lower(text) == CLI::detail::to_lower(word)) {
                text = word;
                return std::string();
            }
            list += (list.empty() ? "" : word == words.back() ? " or " : ", ") + word;
        }
        return "'" + text + "' is not " + list + ".";
    };
    return CLI::Validator(check, shown + "}");
}

// A p-value, or a word for windows.
CLI::Validator limit_of_p() {
    auto const check = [](std::string& text) {
        double value;
        if (parse_number(text, value) && value >= 0 && value <= 1) return std::string();
        return one_of({"lead", "all", "none"})(text).empty()
                   ? std::string()
                   : "'" + text + "' is no number, 0 to 1, and not lead, all or none.";
    };
    return CLI::Validator(check, "{lead,all,none}");
}

void add_input(CLI::App& app, options& o, std::string& id_delim) {
    auto const add = [&app](std::string const& name, std::string& value, std::string const& text) {
        return app.add_option(name, value, text)->group("Input");
    };
    add("--bfile", o.bfile, "Prefix of .bed, .bim and .fam")->type_name("PREFIX");
    add("--bed", o.bed, "Genotypes, PLINK 1 binary")->type_name("FILE");
    add("--bim", o.bim, "SNPs")->type_name("FILE");
    add("--fam", o.fam, "Subjects")->type_name("FILE");
    add("--vcf", o.vcf, "Genotypes and SNPs, as VCF, VCF.gz or BCF")->type_name("FILE");
    add("--id-delim", id_delim, "Samples of the VCF are FID_IID, or with another character D")
        ->type_name("D")
        ->expected(0, 1)
        ->default_str("_");
    app.add_flag("--double-id", o.is_double_id, "FID and IID are both the VCF's sample")
        ->group("Input");
    add("--pheno", o.pheno, "Phenotypes, instead of the .fam's")->type_name("FILE");
    add("--pheno-name", o.pheno_name, "Column of --pheno")->type_name("NAME");
    app.add_flag("--1", o.is_01, "0 is a control, 1 a case")->group("Input");
    app.add_option("--covar", o.covar, "Covariates; several files are joined by subject")
        ->type_name("FILE")
        ->group("Input");
    for (auto const& [name, value, text] :
         {std::tuple("--covar-name", &o.covar_names, "Columns of --covar (A-B: from A to B) [all]"),
          {"--covar-category", &o.covar_categories, "Those whose numbers are categories"}})
        app.add_option(name, *value, text)->delimiter(',')->type_name("NAMES")->group("Input");
    app.add_flag("--allow-no-covars", o.allow_no_covars, "Test without any covariate")
        ->group("Input");
}

void add_filters(CLI::App& app, options& o, std::vector<std::string>& chromosomes) {
    auto const add = [&app](std::string const& name, auto& value, std::string const& text,
                            std::string const& type) {
        return app.add_option(name, value, text)->type_name(type)->group("Filters");
    };
    add("--keep", o.keep, "Subjects to use (FID IID, or IID)", "FILE");
    add("--remove", o.remove, "Subjects to leave out", "FILE");
    add("--extract", o.extract, "SNPs to use", "FILE");
    add("--exclude", o.exclude, "SNPs to leave out", "FILE");
    add("--chr", chromosomes, "Chromosomes, as 1-4,22 [1-22]", "LIST")->delimiter(',');
    add("--from-bp", o.from_bp, "First position, on one --chr", "BP")->transform(whole_in(0, LAST));
    add("--to-bp", o.to_bp, "Last position, on one --chr", "BP")->transform(whole_in(0, LAST));
    add("--maf", o.maf, "Lowest minor allele frequency of a SNP", "F")->check(number_in(0, 0.5));
    add("--geno", o.geno, "Highest share of missing genotypes of a SNP", "F")
        ->check(number_in(0, 1));
    add("--mind", o.mind, "Highest share of missing genotypes of a subject", "F")
        ->check(number_in(0, 1));
}

void add_windows(CLI::App& app, options& o) {
    auto const add = [&app](std::string const& name, auto& value, std::string const& text,
                            std::string const& type) {
        return app.add_option(name, value, text)->type_name(type)->group("Windows");
    };
    add("--window", o.windows.n_snps, "SNPs of a sliding window, also inside of regions and genes",
        "N")
        ->transform(whole_in(1, 20))
        ->capture_default_str();
    add("--step", o.windows.step, "SNPs from one window to the next", "N")
        ->transform(whole_in(1, LAST))
        ->capture_default_str();
    add("--window-kb", o.windows.longest_kb, "Longest sliding window in kb", "KB")
        ->check(number_in(0, NO_LIMIT))
        ->capture_default_str();
    add("-R,--regions-file", o.regions_file,
        "A window per region: CHR FROM TO [NAME], or BED where the name says so", "FILE");
    add("--gene-list", o.gene_list, "A window per gene: CHR FROM TO NAME", "FILE");
    add("--genes", o.genes, "Genes of --gene-list [all]", "NAMES")->delimiter(',');
    add("--gene-border-kb", o.gene_border_kb, "Added on both sides of a gene", "KB")
        ->check(number_in(0, 1e6))
        ->capture_default_str();
    add("--hap-list", o.hap_list, "A window per line: NAME SNP SNP ..., or a .blocks file", "FILE");
    add("--max-snps", o.max_snps, "Most SNPs of a window that is computed", "N")
        ->transform(whole_in(1, 20))
        ->capture_default_str();
}

void add_test(CLI::App& app, options& o, option_words& words) {
    app.add_option("--test", words.test, "score, or lrt: likelihood ratio without covariates")
        ->type_name("NAME")
        ->check(CLI::IsMember({"score", "lrt"}))
        ->capture_default_str()
        ->group("Test");
    auto const add = [&app](std::string const& name, double& value, std::string const& text,
                            std::string const& type, double most) {
        app.add_option(name, value, text)
            ->type_name(type)
            ->check(number_in(0, most))
            ->capture_default_str()
            ->group("Test");
    };
    add("--window-mind", o.test.window_mind,
        "Highest share of a window's SNPs that a subject may miss", "F", 1);
    add("--min-hap-freq", o.test.min_hap_freq, "Lowest frequency of a tested haplotype", "F", 1);
    add("--min-hap-copies", o.test.min_hap_copies,
        "Fewest copies of a tested haplotype in the smaller group", "N", NO_LIMIT);
    app.add_option(
           "--spa", words.spa,
           "Saddlepoint p-values of the score test: auto is on where the smaller group is less "
           "than a quarter of the subjects")
        ->type_name("NAME")
        ->check(CLI::IsMember({"auto", "on", "off"}))
        ->capture_default_str()
        ->group("Test");
}

void add_effects(CLI::App& app, options& o, option_words& words) {
    auto const add = [&app](std::string const& name, std::string& value, std::string const& text,
                            std::string const& type) {
        return app.add_option(name, value, text)->type_name(type)->group("Effects");
    };
    add("--effects", words.effects,
        "Estimate them in lead windows, where P or TOP_P_BONF is at most P, in all, in none "
        "[lead; with --test lrt none]",
        "P")
        ->transform(limit_of_p());
    app.add_option("--effects-kb", o.effects.kb,
                   "A lead window stands for others with at most so many kb between")
        ->type_name("KB")
        ->check(number_in(0, NO_LIMIT))
        ->capture_default_str()
        ->group("Effects");
    add("--model", words.model, "Likelihood", "NAME")
        ->transform(one_of({"prospective", "retrospective"}))
        ->capture_default_str();
    add("--mode", words.mode, "Mode of inheritance", "NAME")
        ->transform(one_of({"additive", "recessive", "dominant", "codominant"}))
        ->capture_default_str();
    add("--hw", words.hw, "Controls in Hardy-Weinberg equilibrium or not", "NAME")
        ->transform(one_of({"HWE", "HWD"}))
        ->capture_default_str();
    add("--interaction", o.effects.interaction, "Covariate that interacts with the haplotypes",
        "NAME");
    app.add_flag("--independence", o.effects.is_independent,
                 "Assume haplotypes and that covariate independent in the population")
        ->group("Effects");
    add("--vs", words.reference, "Effects against the most frequent haplotype, or all others",
        "NAME")
        ->transform(one_of({"reference", "rest"}))
        ->capture_default_str();
    app.add_flag("--show-covar", o.effects.shows_covariates, "Rows for the covariates, too")
        ->group("Effects");
    app.add_option("--ci", o.effects.level, "Level of the confidence intervals")
        ->type_name("F")
        ->check(number_in(0.01, 0.9999))
        ->capture_default_str()
        ->group("Effects");
}

void add_output(CLI::App& app, options& o, std::pair<std::uint32_t, std::uint32_t>& part) {
    app.add_option("--out", o.out, "Prefix of the output")
        ->type_name("PREFIX")
        ->capture_default_str()
        ->group("Output");
    app.add_option("--parallel", part, "Compute part K of N; the files are named PREFIX.KofN")
        ->type_name("K N")
        ->transform(whole_in(1, LAST))
        ->delimiter(',')
        ->group("Output");
    app.add_flag("--resume", o.is_resumed, "Keep finished parts in PREFIX.parts, and take those")
        ->group("Output");
    app.add_option("--pfilter", o.pfilter, "Haplotypes of windows with at most this P are written")
        ->type_name("P")
        ->check(number_in(0, 1))
        ->capture_default_str()
        ->group("Output");
    app.add_option("--threads", o.n_threads, "Threads, by default all cores")
        ->type_name("N")
        ->transform(whole_in(1, 1024))
        ->capture_default_str()
        ->group("Output");
    app.add_option("--export-window", o.exported,
                   "Make no tables, but PREFIX.txt and PREFIX.spec for quilmar of window ID")
        ->type_name("ID PREFIX")
        ->group("Output");
    app.add_flag("--dry-run", o.is_dry_run, "Print subjects, windows and memory, compute nothing")
        ->group("Output");
    app.add_flag("--quiet", o.is_quiet, "Print errors alone")->group("Output");
}

} // namespace

void declare_options(CLI::App& app, options& o, option_words& words) {
    add_input(app, o, words.id_delim);
    add_filters(app, o, words.chromosomes);
    add_windows(app, o);
    add_test(app, o, words);
    add_effects(app, o, words);
    add_output(app, o, words.part);
}

} // namespace scan
