#include "scan/option_checks.h"

#include "scan/error.h"
#include "scan/input/values.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>

namespace scan {

namespace {

bool is_given(CLI::App const& app, char const* name) {
    return app.count(name) != 0;
}

void require(CLI::App const& app, char const* option, char const* other) {
    if (is_given(app, option) && !is_given(app, other))
        refuse(std::string(option) + " needs " + other + ".");
}

// A prefix that ends like one of its files, where there is no such file of it.
void refuse_suffix(std::string const& prefix, std::string const& suffix) {
    std::size_t const n = prefix.size() - std::min(prefix.size(), suffix.size());
    if (prefix.substr(n) == suffix && !std::filesystem::exists(prefix + suffix))
        refuse("--bfile " + prefix + ": give the prefix of the three files, --bfile " +
               prefix.substr(0, n) + ".");
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
            refuse_suffix(o.bfile, suffix);
        }
}

void set_naming(CLI::App const& app, option_words const& words, options& o) {
    require(app, "--id-delim", "--vcf");
    require(app, "--double-id", "--vcf");
    if (!is_given(app, "--id-delim")) return;
    if (o.is_double_id) refuse("--id-delim and --double-id exclude each other.");
    if (words.id_delim.size() != 1)
        refuse("--id-delim: '" + words.id_delim + "' is not one character.");
    o.id_delim = words.id_delim[0];
}

void set_effects(option_words const& words, effect_settings& e) {
    if (words.effects == "none" || (words.effects.empty() && words.test == "lrt"))
        e.windows = effect_windows::none;
    else if (words.effects == "all" || parse_number(words.effects, e.most_p))
        e.windows = effect_windows::most_p;
    if (words.model == "retrospective") e.model = effect_model::retrospective;
    for (auto const& [word, mode] : {std::pair("additive", ADDITIVE),
                                     {"recessive", RECESSIVE},
                                     {"dominant", DOMINANT},
                                     {"codominant", CODOMINANT}})
        if (words.mode == word) e.mode = mode;
    if (words.hw == "HWD") e.hw = DISEQUILIBRIUM;
    e.is_vs_rest = words.reference == "rest";
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

void check_windows(CLI::App const& app, options& o) {
    std::string chosen;
    for (char const* source : {"--regions-file", "--gene-list", "--hap-list"}) {
        if (!is_given(app, source)) continue;
        if (!chosen.empty()) refuse(chosen + " and " + source + " exclude each other.");
        chosen = source;
    }
    o.slides_in_regions = is_given(app, "--window");
    for (char const* option : {"--window", "--step", "--window-kb"}) {
        if (!is_given(app, option)) continue;
        if (is_given(app, "--hap-list"))
            refuse("--hap-list and " + std::string(option) + " exclude each other.");
        if (!chosen.empty() && !o.slides_in_regions)
            refuse(std::string(option) + " with " + chosen + " needs --window.");
    }
    require(app, "--genes", "--gene-list");
    require(app, "--gene-border-kb", "--gene-list");
    std::string const n_snps = std::to_string(o.windows.n_snps);
    if ((chosen.empty() || o.slides_in_regions) && o.windows.n_snps > o.max_snps)
        refuse("--window " + n_snps + " is above --max-snps " + std::to_string(o.max_snps) +
               ": give --max-snps " + n_snps + " as well.");
}

void check_together(CLI::App const& app, options& o) {
    require(app, "--pheno-name", "--pheno");
    require(app, "--covar-name", "--covar");
    require(app, "--covar-category", "--covar");
    if (o.test.test == test_kind::lrt && !o.covar.empty())
        refuse("--test lrt and --covar exclude each other: the likelihood ratio is that of the "
               "genotypes given the status, which covariates cannot adjust. --test score can.");
    if (o.covar.empty() && !o.allow_no_covars && o.test.test == test_kind::score)
        refuse("No covariates: give --covar, or --allow-no-covars if the test shall be without.");
    if (!o.covar.empty() && o.allow_no_covars)
        refuse("--covar and --allow-no-covars exclude each other.");
    if (o.test.test == test_kind::lrt && o.test.saddlepoint == saddlepoint_use::on)
        refuse("--spa on and --test lrt exclude each other: the saddlepoint is that of the score.");
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
        if (e.windows == effect_windows::none && is_given(app, option))
            refuse(std::string(option) + " needs effects: give --effects lead.");
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

void check_positions(options const& o) {
    if ((o.from_bp || o.to_bp) && o.chromosomes.count() != 1)
        refuse("--from-bp and --to-bp need --chr with one chromosome.");
    if (o.from_bp && o.to_bp && *o.from_bp > *o.to_bp) refuse("--from-bp is above --to-bp.");
}

} // namespace

void refuse(std::string const& what) {
    throw failure(command_line, what + "\nquilmar-scan --help lists the options.");
}

void complete_options(CLI::App const& app, option_words const& words, options& o) {
    if (words.test == "lrt") o.test.test = test_kind::lrt;
    if (words.spa == "on") o.test.saddlepoint = saddlepoint_use::on;
    if (words.spa == "off") o.test.saddlepoint = saddlepoint_use::off;
    o.chromosomes = chromosomes_of(words.chromosomes);
    set_files(o);
    set_naming(app, words, o);
    set_effects(words, o.effects);
    check_together(app, o);
    check_effects(app, o);
    check_positions(o);
    set_part(o, words.part);
}

} // namespace scan
