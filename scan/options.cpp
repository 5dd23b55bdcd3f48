#include "scan/options.h"

#include "scan/error.h"
#include "scan/option_checks.h"
#include "scan/option_groups.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <numeric>
#include <thread>

namespace scan {

namespace {

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
    // A third of the letters may be wrong.
    bool const is_near = 3 * edit_distance(given, nearest) <= given.size();
    refuse(given + " is no option." + (is_near ? " The nearest one is " + nearest + "." : ""));
}

// An unset variable of a script is no wish to do without the option.
void refuse_empty_values(CLI::App const& app) {
    for (CLI::Option const* option : app.get_options())
        for (std::string const& value : option->results())
            if (value.empty())
                refuse("--" + option->get_lnames()[0] +
                       " has an empty value: is a variable unset?");
}

std::vector<std::string> options_in_effect(CLI::App const& app) {
    std::vector<std::string> lines;
    for (CLI::Option const* option : app.get_options()) {
        std::string const name = "--" + option->get_lnames()[0];
        // What may stand without a value has its default then, and none where it is not given.
        std::string value = option->get_expected_min() == 0 ? "" : option->get_default_str();
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
                                     {"--keep", o.keep},
                                     {"--remove", o.remove},
                                     {"--extract", o.extract},
                                     {"--exclude", o.exclude},
                                     {"--regions-file", o.regions_file},
                                     {"--gene-list", o.gene_list},
                                     {"--hap-list", o.hap_list},
                                     {"--vcf", o.vcf}};
    for (std::size_t f = 0; f < o.covar.size(); ++f)
        files.push_back({f == 0 ? "--covar" : "--covar " + std::to_string(f + 1), o.covar[f]});
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
    option_words words;
    CLI::App app("Tests of the haplotypes of windows of SNPs in cases and controls: score tests "
                 "adjusted for covariates, or likelihood ratios.",
                 "quilmar-scan");
    app.allow_extras();
    app.set_version_flag("--version", "quilmar-scan " QUILMAR_VERSION, "Print the version");
    app.set_help_flag("-h,--help", "Print this help");
    app.footer("Example: quilmar-scan --bfile study --covar covar.txt --covar-name age,sex,PC1-PC4 "
               "--out t2d");
    declare_options(app, o, words);
    if (!parse(app, argc, argv)) return std::nullopt;
    refuse_empty_values(app);
    complete_options(app, words, o);
    o.in_effect = options_in_effect(app);
    return o;
}

} // namespace scan
