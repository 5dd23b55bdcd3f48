#include "scan/options.h"

#include "scan/error.h"
#include "scan/input/values.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <limits>
#include <numeric>
#include <thread>

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
    return CLI::Validator(check, "");
}

// A p-value, or all or none.
CLI::Validator limit_of_p() {
    auto const check = [](std::string& text) {
        double value;
        if (parse_number(text, value) && value >= 0 && value <= 1) return std::string();
        return one_of({"all", "none"})(text).empty() ? std::string()
                                                     : "'" + text +
                                                           "' is no number, 0 to 1, and not "
                                                           "all or none.";
    };
    return CLI::Validator(check, "");
}

void add_input(CLI::App& app, options& o) {
    auto const add = [&app](std::string const& name, std::string& value, std::string const& text) {
        return app.add_option(name, value, text)->group("Input");
    };
    add("--bfile", o.bfile, "Prefix of .bed, .bim and .fam")->type_name("PREFIX");
    add("--bed", o.bed, "Genotypes, PLINK 1 binary")->type_name("FILE");
    add("--bim", o.bim, "SNPs")->type_name("FILE");
    add("--fam", o.fam, "Subjects")->type_name("FILE");
    add("--vcf", o.vcf, "Genotypes and SNPs, as VCF, VCF.gz or BCF")->type_name("FILE");
    add("--pheno", o.pheno, "Phenotypes, instead of the .fam's")->type_name("FILE");
    add("--pheno-name", o.pheno_name, "Column of --pheno")->type_name("NAME");
    app.add_flag("--1", o.is_01, "0 is a control, 1 a case")->group("Input");
    add("--covar", o.covar, "Covariates")->type_name("FILE");
    app.add_option("--covar-name", o.covar_names, "Columns of --covar (A-B: from A to B) [all]")
        ->delimiter(',')
        ->type_name("NAMES")
        ->group("Input");
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
    add("--window", o.window_snps, "SNPs of a sliding window", "N")
        ->transform(whole_in(1, 20))
        ->capture_default_str();
    add("--step", o.step, "SNPs from one window to the next", "N")
        ->transform(whole_in(1, LAST))
        ->capture_default_str();
    add("--window-kb", o.window_kb, "Longest sliding window in kb", "KB")
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

void add_test(CLI::App& app, options& o, std::string& test) {
    app.add_option("--test", test, "score, or lrt: likelihood ratio without covariates")
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
}

// The options of the effects as text; the rest is in options already.
struct effect_words {
    std::string most_p = "1e-4", model = "prospective", mode = "additive", hw = "HWE",
                reference = "reference";
};

void add_effects(CLI::App& app, options& o, effect_words& words) {
    auto const add = [&app](std::string const& name, std::string& value, std::string const& text,
                            std::string const& type) {
        return app.add_option(name, value, text)->type_name(type)->group("Effects");
    };
    add("--effects", words.most_p,
        "Estimate them where P or TOP_P_BONF is at most this: P, all, none", "P")
        ->transform(limit_of_p())
        ->capture_default_str();
    add("--model", words.model, "Likelihood: prospective or retrospective", "NAME")
        ->transform(one_of({"prospective", "retrospective"}))
        ->capture_default_str();
    add("--mode", words.mode, "Mode of inheritance: additive, recessive, dominant, codominant",
        "NAME")
        ->transform(one_of({"additive", "recessive", "dominant", "codominant"}))
        ->capture_default_str();
    add("--hw", words.hw, "Controls in Hardy-Weinberg equilibrium or not: HWE, HWD", "NAME")
        ->transform(one_of({"HWE", "HWD"}))
        ->capture_default_str();
    add("--interaction", o.effects.interaction, "Covariate that interacts with the haplotypes",
        "NAME");
    app.add_flag("--independence", o.effects.is_independent,
                 "Assume haplotypes and that covariate independent in the population")
        ->group("Effects");
    add("--vs", words.reference,
        "Effects against the most frequent haplotype, or all others: "
        "reference, rest",
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

// Fewest letters to insert, delete or exchange to get from one text to the other.
std::size_t edit_distance(std::string const& a, std::string const& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0]++;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t const exchanged = diagonal + (a[i - 1] != b[j - 1]);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, exchanged});
        }
    }
    return row[b.size()];
}

[[noreturn]] void refuse(std::string const& what) {
    throw failure(command_line, what + "\nquilmar-scan --help lists the options.");
}

// The argument that no option has taken.
[[noreturn]] void refuse_argument(CLI::App const& app, std::string const& argument) {
    if (argument.empty() || argument[0] != '-') refuse("'" + argument + "' belongs to no option.");
    std::string const given = argument.substr(0, argument.find('='));
    std::string nearest;
    for (CLI::Option const* option : app.get_options()) {
        std::string const name = "--" + option->get_lnames()[0];
        if (nearest.empty() || edit_distance(given, name) < edit_distance(given, nearest))
            nearest = name;
    }
    refuse(given + " is no option. The nearest one is " + nearest + ".");
}

bool is_given(CLI::App const& app, char const* name) {
    return app.count(name) != 0;
}

void require(CLI::App const& app, char const* option, char const* other) {
    if (is_given(app, option) && !is_given(app, other))
        refuse(std::string(option) + " needs " + other + ".");
}

// The three files, by their prefix or one by one, or the VCF.
void set_files(options& o) {
    if (!o.vcf.empty()) {
        for (std::string const* other : {&o.bfile, &o.bed, &o.bim, &o.fam})
            if (!other->empty())
                refuse("--vcf and --bfile, --bed, --bim, --fam exclude each other.");
        if (o.pheno.empty()) refuse("--vcf needs --pheno: a VCF holds no phenotype.");
        return;
    }
    for (auto const& [file, suffix] :
         {std::pair(&o.bed, ".bed"), {&o.bim, ".bim"}, {&o.fam, ".fam"}})
        if (file->empty()) {
            if (o.bfile.empty())
                refuse("No genotypes: give --bfile, --vcf, or --bed, --bim and --fam.");
            *file = o.bfile + suffix;
        }
}

void check_windows(CLI::App const& app, options const& o) {
    std::string chosen;
    for (char const* source : {"--regions-file", "--gene-list", "--hap-list"}) {
        if (!is_given(app, source)) continue;
        if (!chosen.empty()) refuse(chosen + " and " + source + " exclude each other.");
        chosen = source;
    }
    for (char const* sliding : {"--window", "--step", "--window-kb"})
        if (!chosen.empty() && is_given(app, sliding))
            refuse(chosen + " and " + sliding + " exclude each other.");
    require(app, "--genes", "--gene-list");
    require(app, "--gene-border-kb", "--gene-list");
    if (chosen.empty() && o.window_snps > o.max_snps)
        refuse("--window " + std::to_string(o.window_snps) + " is above --max-snps " +
               std::to_string(o.max_snps) + ": give --max-snps " + std::to_string(o.window_snps) +
               " as well.");
}

// An unset variable of a script is no wish to do without the option.
void refuse_empty_values(CLI::App const& app) {
    for (CLI::Option const* option : app.get_options())
        for (std::string const& value : option->results())
            if (value.empty())
                refuse("--" + option->get_lnames()[0] +
                       " has an empty value: is a variable unset?");
}

void check_together(CLI::App const& app, options const& o) {
    require(app, "--pheno-name", "--pheno");
    require(app, "--covar-name", "--covar");
    if (o.test.test == test_kind::lrt && !o.covar.empty())
        refuse("--test lrt and --covar exclude each other: the likelihood ratio is that of the "
               "genotypes given the status, which covariates cannot adjust. --test score can.");
    if (o.covar.empty() && !o.allow_no_covars && o.test.test == test_kind::score)
        refuse("No covariates: give --covar, or --allow-no-covars if the test shall be without.");
    if (!o.covar.empty() && o.allow_no_covars)
        refuse("--covar and --allow-no-covars exclude each other.");
    check_windows(app, o);
    for (char const* scanning : {"--dry-run", "--parallel", "--resume"})
        if (is_given(app, "--export-window") && is_given(app, scanning))
            refuse(std::string("--export-window and ") + scanning + " exclude each other.");
    if (o.out.back() == '/') refuse("--out names a folder: add a prefix to it.");
}

void check_effects(CLI::App const& app, options const& o) {
    effect_settings const& e = o.effects;
    for (char const* option : {"--model", "--mode", "--hw", "--interaction", "--independence",
                               "--vs", "--show-covar", "--ci"})
        if (!e.most_p && is_given(app, option))
            refuse(std::string(option) + " needs effects: leave --effects none out.");
    bool const is_retrospective = e.model == effect_model::retrospective;
    if (!is_retrospective && e.hw != EQUILIBRIUM)
        refuse("--hw HWD needs --model retrospective: the prospective model assumes equilibrium.");
    if (!e.interaction.empty() && o.covar.empty()) refuse("--interaction needs --covar.");
    if (e.is_independent && (!is_retrospective || e.interaction.empty()))
        refuse("--independence needs --model retrospective and --interaction.");
    if (!is_retrospective) return;
    if (!o.covar.empty() && e.interaction.empty())
        refuse(
            "--model retrospective does not adjust for covariates: its effects are the same with "
            "and without them.\nGive --model prospective, or --allow-no-covars instead of "
            "--covar, or --interaction with one of them.");
    if (!e.interaction.empty() && !e.is_independent)
        refuse("--interaction with --model retrospective assumes that haplotypes and the covariate "
               "are independent in the population.\nIf they are, give --independence; if not, "
               "--model prospective.");
}

// The chromosomes of texts like "1", "4-7" and "chr22"; all for no text.
std::bitset<23> chromosomes_of(std::vector<std::string> const& texts) {
    std::bitset<23> chosen;
    for (std::string const& text : texts) {
        std::size_t const dash = text.find('-');
        unsigned const first = parse_autosome(text.substr(0, dash)),
                       last = dash == text.npos ? first : parse_autosome(text.substr(dash + 1));
        if (first == 0 || last < first)
            refuse("--chr: '" + text + "' is no chromosome from 1 to 22 and no range of them.");
        for (unsigned c = first; c <= last; ++c)
            chosen.set(c);
    }
    return texts.empty() ? chosen.set().reset(0) : chosen;
}

void check_positions(options const& o) {
    if ((o.from_bp || o.to_bp) && o.chromosomes.count() != 1)
        refuse("--from-bp and --to-bp need --chr with one chromosome.");
    if (o.from_bp && o.to_bp && *o.from_bp > *o.to_bp) refuse("--from-bp is above --to-bp.");
}

// The part of --parallel, and the prefix of the output with it. Zeros before the part's number put the
// names into its order.
void set_part(options& o, std::pair<std::uint32_t, std::uint32_t> const& part) {
    o.prefix = o.out;
    if (part.second == 0) return;
    std::string const number = std::to_string(part.first), of = std::to_string(part.second);
    if (part.first > part.second)
        refuse("--parallel: there is no part " + number + " of " + of + ".");
    o.part = {part.first, part.second};
    o.prefix += "." + std::string(of.size() - number.size(), '0') + number + "of" + of;
}

std::vector<std::string> options_in_effect(CLI::App const& app) {
    std::vector<std::string> lines;
    for (CLI::Option const* option : app.get_options()) {
        std::string const name = "--" + option->get_lnames()[0];
        std::string value = option->get_default_str();
        if (option->count() != 0) {
            value.clear();
            for (std::string const& part : option->reduced_results())
                value += (value.empty() ? "" : ",") + part;
        }
        bool const is_flag = option->get_expected_max() == 0;
        if (!value.empty()) lines.push_back(is_flag ? name : name + " " + value);
    }
    return lines;
}

void set_effects(effect_words const& words, effect_settings& e) {
    double p = 1;
    if (words.most_p == "none")
        e.most_p.reset();
    else if (words.most_p == "all" || parse_number(words.most_p, p))
        e.most_p = p;
    if (words.model == "retrospective") e.model = effect_model::retrospective;
    for (auto const& [word, mode] : {std::pair("additive", ADDITIVE),
                                     {"recessive", RECESSIVE},
                                     {"dominant", DOMINANT},
                                     {"codominant", CODOMINANT}})
        if (words.mode == word) e.mode = mode;
    if (words.hw == "HWD") e.hw = DISEQUILIBRIUM;
    e.is_vs_rest = words.reference == "rest";
}

void print(std::string const& text) {
    std::cout << text << std::flush;
    if (!std::cout) throw failure(write_failed, "The standard output cannot be written.");
}

// False after help or version, which it prints.
bool parse(CLI::App& app, int argc, char const* const* argv) {
    try {
        app.parse(argc, argv);
    } catch (CLI::CallForHelp const&) {
        print(app.help());
        return false;
    } catch (CLI::CallForVersion const&) {
        print(app.version() + "\n");
        return false;
    } catch (CLI::ParseError const& error) {
        refuse(error.what());
    }
    std::vector<std::string> const left = app.remaining();
    if (!left.empty()) refuse_argument(app, left[0]);
    return true;
}

} // namespace

std::vector<input_file> input_files(options const& o) {
    std::vector<input_file> files = {{"--bed", o.bed},
                                     {"--bim", o.bim},
                                     {"--fam", o.fam},
                                     {"--pheno", o.pheno},
                                     {"--covar", o.covar},
                                     {"--keep", o.keep},
                                     {"--remove", o.remove},
                                     {"--extract", o.extract},
                                     {"--exclude", o.exclude},
                                     {"--regions-file", o.regions_file},
                                     {"--gene-list", o.gene_list},
                                     {"--hap-list", o.hap_list},
                                     {"--vcf", o.vcf}};
    files.erase(std::remove_if(files.begin(), files.end(),
                               [](input_file const& file) { return file.path.empty(); }),
                files.end());
    return files;
}

std::vector<std::string> input_paths(options const& o) {
    std::vector<std::string> paths;
    for (input_file const& file : input_files(o))
        paths.push_back(file.path);
    return paths;
}

std::optional<options> read_command_line(int argc, char const* const* argv) {
    options o;
    o.n_threads = std::max(1u, std::thread::hardware_concurrency());
    std::vector<std::string> chromosomes;
    std::string test = "score";
    std::pair<std::uint32_t, std::uint32_t> part{0, 0}; // not given
    CLI::App app("Tests of the haplotypes of windows of SNPs in cases and controls: score tests "
                 "adjusted for covariates, or likelihood ratios.",
                 "quilmar-scan");
    app.allow_extras();
    app.set_version_flag("--version", "quilmar-scan " QUILMAR_VERSION, "Print the version");
    app.set_help_flag("-h,--help", "Print this help");
    app.footer("Example: quilmar-scan --bfile study --covar covar.txt --covar-name age,sex,PC1-PC4 "
               "--out t2d");
    add_input(app, o);
    add_filters(app, o, chromosomes);
    add_windows(app, o);
    add_test(app, o, test);
    effect_words words;
    add_effects(app, o, words);
    add_output(app, o, part);
    if (!parse(app, argc, argv)) return std::nullopt;
    refuse_empty_values(app);

    if (test == "lrt") o.test.test = test_kind::lrt;
    o.chromosomes = chromosomes_of(chromosomes);
    set_files(o);
    set_effects(words, o.effects);
    check_together(app, o);
    check_effects(app, o);
    check_positions(o);
    set_part(o, part);
    o.in_effect = options_in_effect(app);
    return o;
}

} // namespace scan
