// What must not change a report, or change it in a known way: the order of effects, of subjects and
// of columns, and which allele is counted.
#include "examples/simulation.h"
#include "tests/support.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <sstream>

namespace {

using table = std::vector<std::vector<std::string>>;

table split(std::string const& text) {
    table rows;
    std::istringstream lines(text);
    for (std::string line, word; std::getline(lines, line);) {
        std::istringstream words(line);
        rows.emplace_back();
        while (words >> word)
            rows.back().push_back(word);
    }
    return rows;
}

std::string joined(table const& rows) {
    std::string text;
    for (auto const& row : rows) {
        for (std::string const& word : row)
            text += (&word == &row[0] ? "" : " ") + word;
        text += "\n";
    }
    return text;
}

std::string report_of(table const& data, std::string const& spec) {
    scratch files;
    files.write("d", joined(data));
    files.write("s", spec);
    run_quilmar(files, "d s");
    EXPECT_NE(files.read("d.out").find("Status: Success.\n\n   "), std::string::npos) << spec;
    return undated(files.read("d.out"));
}

// The numbers of every row by title and label; second rows of the codominant model have no label.
using numbers = std::map<std::string, std::string>;

numbers rows_of(std::string const& report) {
    numbers rows;
    std::string title, label;
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line[0] != ' ' && std::isalpha(line[0])) title = line;
        if (line.size() < 20 || line.find_first_of("0123456789") == std::string::npos) continue;
        std::string const name = line.substr(0, 14);
        label = name.find_first_not_of(' ') == std::string::npos ? label + "'" : name;
        rows[title.substr(0, 16) + ":" + label] += line.substr(14);
    }
    return rows;
}

// Labels with the alleles of the gene's locus exchanged, everywhere where it stands: character
// `locus` of the labels of gene 1, and of those of all seven SNPs.
numbers relabelled(numbers const& rows, std::size_t locus) {
    numbers result;
    for (auto const& [key, value] : rows) {
        std::string name = key;
        std::size_t const digits = name.find_first_of("01", name.find(':'));
        if (digits != std::string::npos && name.compare(0, 7, "Gene 2:") != 0)
            name[digits + locus] ^= 1;
        result[name] = value;
    }
    return result;
}

} // namespace

TEST(symmetry, of_effects_subjects_columns_and_alleles) {
    simulation design = two_genes();
    design.controls = design.cases = 400;
    design.missing = 0.02;
    std::string const genes = "STATUS=2\nGENE=3 4 5\nGENE=6 7 8 9\nSAMPLE=combined\n"
                              "THRESHOLD=0.01\n",
                      first = "EFFECT=3 -1\n", second = "EFFECT=5 6\n";
    for (double const rho : {0.0, 0.15}) {
        design.rho = rho;
        table const data = split(simulate(design, 17));
        for (char const* mode : {"additive", "recessive", "dominant", "codominant"}) {
            std::string const settings =
                genes + "MODEL=" + mode + (rho > 0 ? "\nHW=HWD\n" : "\nHW=HWE\n");
            SCOPED_TRACE(settings);
            std::string const report = report_of(data, settings + first + second);
            numbers const rows = rows_of(report);
            EXPECT_NE(rows.at("Genes 1*2:  101*0110    "), rows.at("Gene 1:  011         "));
            EXPECT_EQ(rows_of(report_of(data, settings + second + first)), rows);

            table shuffled = data;
            std::shuffle(shuffled.begin() + 1, shuffled.end(), std::mt19937(5));
            EXPECT_EQ(report_of(shuffled, settings + first + second), report);

            // The status behind the SNPs, whose order is that of the loci.
            table moved = data;
            for (auto& row : moved) {
                row.push_back(row[1]);
                row[1] = row[0];
            }
            std::string const status = settings.substr(settings.find('\n'));
            EXPECT_EQ(report_of(moved, "STATUS=10" + status + first + second), report);

            table counted = data; // the other allele of the first SNP
            for (auto row = counted.begin() + 1; row != counted.end(); ++row)
                if ((*row)[2] != "9")
                    (*row)[2] = std::string(1, static_cast<char>('2' - (*row)[2][0] + '0'));
            EXPECT_EQ(rows_of(report_of(counted, settings + "EFFECT=7 -1\nEFFECT=1 6\n")),
                      relabelled(rows, 0));
        }
    }
}
