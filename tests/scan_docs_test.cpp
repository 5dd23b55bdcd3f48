// docs/scan.md, the man page and README against the program: commands run, printed figures are the tables'
// own, options, defaults, columns and codes are those of the program, and R and Python load the tables.
#include "scan/output/tables.h"
#include "tests/scan_support.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <regex>
#include <sstream>

namespace {

std::string document(std::string const& name) {
    std::ifstream stream(QUILMAR_SOURCE "/" + name);
    return {std::istreambuf_iterator<char>(stream), {}};
}

// Cells of the rows of Markdown tables, without their blanks and backquotes.
std::vector<std::vector<std::string>> table_rows_of(std::string const& text) {
    std::vector<std::vector<std::string>> rows;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (line.compare(0, 2, "| ") != 0) continue;
        rows.emplace_back();
        std::istringstream cells(line.substr(1));
        for (std::string cell; std::getline(cells, cell, '|');) {
            cell.erase(std::remove(cell.begin(), cell.end(), '`'), cell.end());
            rows.back().push_back(std::regex_replace(cell, std::regex("^ +| +$"), ""));
        }
    }
    return rows;
}

std::vector<std::string> words(std::string const& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

// The long options that --help lists, each with its default or nothing.
std::map<std::string, std::string> options_of_program() {
    scratch files;
    std::string const help = run_shell(files, QUILMAR_SCAN_PROGRAM " --help").out;
    std::map<std::string, std::string> options;
    std::regex const line("\n  (?:-\\w,)?(--[\\w-]+)(?: [A-Z]+(?::\\{[\\w,]+\\})?(?:=(\\S+))?)?");
    for (std::sregex_iterator m(help.begin(), help.end(), line), end; m != end; ++m)
        options[(*m)[1]] = (*m)[2];
    return options;
}

} // namespace

TEST(scan_docs, commands_run_and_print_what_is_shown) {
    example_study files;
    std::istringstream manual(document("docs/scan.md") + document("README.md"));
    int n_commands = 0, n_shown = 0;
    std::string said;
    for (std::string line; std::getline(manual, line);) {
        if (line.compare(0, 4, "    ") != 0) continue;
        line.erase(0, 4);
        if (line.compare(0, 13, "quilmar-scan ") == 0) {
            outcome const o = files.run(line);
            EXPECT_EQ(o.exit_status, 0) << line << o.err;
            said = o.err;
            ++n_commands;
        } else if (std::regex_search(line, std::regex("\\.$")) && n_commands == 1) {
            EXPECT_NE(said.find(line + "\n"), std::string::npos) << line;
            ++n_shown;
        }
    }
    EXPECT_GE(n_commands, 5);
    EXPECT_GE(n_shown, 5);

    table const windows(files.read("t2d.win.tsv")), haplotypes(files.read("t2d.hap.tsv"));
    ASSERT_EQ(windows.rows.size(), 592u);
    auto const window = windows.rows.at(447);
    int n_values = 0;
    for (auto const& row : table_rows_of(document("docs/scan.md"))) {
        std::vector<std::string> const names = words(row[0]),
                                       values = words(row.size() > 1 ? row[1] : "");
        if (row.size() == 3 && names.size() == values.size() && window.count(names.at(0)) == 1) {
            for (std::size_t i = 0; i < names.size(); ++i, ++n_values)
                EXPECT_EQ(values[i], window.at(names[i])) << names[i];
        }
        if (row.size() != 5 || row[0].find_first_not_of("ACGT") != std::string::npos) continue;
        auto const h =
            std::find_if(haplotypes.rows.begin(), haplotypes.rows.end(), [&](auto const& r) {
                return r.at("WINDOW") == "448" && r.at("HAP") == row[0];
            });
        ASSERT_NE(h, haplotypes.rows.end()) << row[0];
        EXPECT_EQ(h->at("CASE_FREQ") + h->at("CTRL_FREQ") + h->at("Z") + h->at("P"),
                  row[1] + row[2] + row[3] + row[4]);
        ++n_values;
    }
    EXPECT_EQ(n_values, 25);
    int n_effects = 0;
    for (auto const& row : table_rows_of(document("docs/scan.md")))
        for (auto const& e : table(files.read("t2d.effects.tsv")).rows) {
            if (row.size() != 9 || e.at("WINDOW") != "448" || e.at("HAP") != row[0]) continue;
            EXPECT_EQ(row[1] + row[2] + row[3] + row[4] + row[5] + row[6] + row[7] + row[8],
                      e.at("TEST") + e.at("HAP_FREQ") + e.at("BETA") + e.at("SE") + e.at("OR") +
                          e.at("L95") + e.at("U95") + e.at("P"));
            ++n_effects;
        }
    EXPECT_EQ(n_effects, 5);

    std::string const in_r =
        "w <- read.delim('t2d.win.tsv'); h <- read.delim('t2d.hap.tsv'); stopifnot(nrow(w) == 592, "
        "is.numeric(w[['P']]), is.numeric(h[['Z']]), 'AACGT' %in% h[['HAP']])";
    std::string const in_python =
        "import csv; w = list(csv.DictReader(open('t2d.win.tsv'), delimiter='\\t')); "
        "assert len(w) == 592 and float(w[447]['P']) < 1e-5 and None not in w[0]";
    for (auto const& [command, script] : {std::pair("Rscript -e", in_r), {"python3 -c", in_python}})
        if (std::system(("command -v " + words(command)[0] + " >/dev/null").c_str()) == 0) {
            outcome const o = run_shell(files, std::string(command) + " \"" + script + "\"");
            EXPECT_EQ(o.exit_status, 0) << command << o.err;
        }
}

TEST(scan_docs, options_columns_and_codes_are_the_programs) {
    std::string const manual = document("docs/scan.md");
    std::string const man =
        std::regex_replace(document("docs/quilmar-scan.1"), std::regex("\\\\-"), "-");
    auto const options = options_of_program();
    EXPECT_GE(options.size(), 35u);
    for (auto const& [option, value] : options) {
        EXPECT_NE(manual.find("`" + option + "`"), std::string::npos) << option;
        EXPECT_TRUE(std::regex_search(man, std::regex(option + "(?![-\\w])"))) << option;
    }
    for (auto const& row : table_rows_of(manual)) {
        std::vector<std::string> const names = words(row[0]);
        if (names.empty() || row[0].compare(0, 2, "--") != 0 || row.size() != 3) continue;
        ASSERT_EQ(options.count(names[0]), 1u) << names[0];
        std::string const value = options.at(names[0]);
        bool const is_number = row[2].find_first_not_of("0123456789.") == std::string::npos;
        if (names[0] != "--threads" && (is_number || !value.empty())) {
            EXPECT_EQ(row[2], value) << names[0];
        }
    }
    std::string const effects = scan::effect_columns(0.95);
    for (std::string_view const header :
         {scan::WINDOW_COLUMNS, scan::haplotype_columns(scan::test_kind::score),
          scan::haplotype_columns(scan::test_kind::lrt), std::string_view(effects)})
        for (std::string const& column : words(std::string(header)))
            EXPECT_TRUE(manual.find("`" + column + "`") != std::string::npos &&
                        std::regex_search(man, std::regex("\\n\\.B (.* )?" + column + "[ \n]")))
                << column;
    std::vector<std::string> codes;
    for (int code = 1; code < static_cast<int>(scan::N_ERROR_CODES); ++code)
        codes.push_back(scan::text(static_cast<scan::error_code>(code)));
    for (int code = 1; code <= static_cast<int>(scan::effect_code::too_many_haplotypes); ++code)
        codes.push_back(scan::text(static_cast<scan::effect_code>(code)));
    for (std::string const& code : codes)
        EXPECT_TRUE(manual.find("| `" + code + "` |") != std::string::npos &&
                    man.find("\n.B " + code + "\n") != std::string::npos)
            << code;
}
