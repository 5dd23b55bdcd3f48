#include "tests/scan_support.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

example_study::example_study() {
    for (auto const& file : std::filesystem::directory_iterator(QUILMAR_SOURCE "/examples/scan"))
        std::filesystem::copy(file, path);
}

outcome example_study::run(std::string const& command) const {
    return run_shell(*this, "PATH=$(dirname " QUILMAR_SCAN_PROGRAM "):$PATH; " + command);
}

outcome example_study::scan(std::string const& arguments) const {
    std::string line = "quilmar-scan " + arguments;
    for (auto const& [option, value] : {std::pair("--bfile ", "study"),
                                        {"--pheno ", "pheno.txt"},
                                        {"--covar ", "covar.txt"},
                                        {"--covar-name ", "age,PC1"},
                                        {"--out ", "t"}})
        if (arguments.find(option) == std::string::npos) line += std::string(" ") + option + value;
    return run(line);
}

void write_study(scratch const& files, std::vector<snp_text> const& snps,
                 std::vector<std::string> const& statuses) {
    std::string bed = "\x6c\x1b\x01", bim, fam;
    for (snp_text const& s : snps) {
        bim += s.line + "\n";
        std::string row((statuses.size() + 3) / 4, '\0');
        for (std::size_t i = 0; i < s.copies.size(); ++i) {
            char const c = s.copies[i];
            int const code = c == '2' ? 0 : c == '1' ? 2 : c == '0' ? 3 : 1;
            row[i / 4] = static_cast<char>(row[i / 4] | code << (i % 4 * 2));
        }
        bed += row;
    }
    for (std::size_t i = 0; i < statuses.size(); ++i) {
        std::string const k = std::to_string(i + 1);
        fam += "F" + k + " P" + k + " 0 0 1 " + statuses[i] + "\n";
    }
    files.write("s.bed", bed);
    files.write("s.bim", bim);
    files.write("s.fam", fam);
}

table::table(std::string const& text) {
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::istringstream fields(line);
        std::vector<std::string> values;
        for (std::string value; std::getline(fields, value, '\t');)
            values.push_back(value);
        if (columns.empty()) {
            columns = values;
            continue;
        }
        EXPECT_EQ(values.size(), columns.size()) << line;
        rows.emplace_back();
        for (std::size_t c = 0; c < values.size(); ++c)
            rows.back()[columns[c]] = values[c];
    }
}

std::string table::column(std::string const& name) const {
    std::string text;
    for (auto const& row : rows)
        text += row.at(name) + " ";
    return text;
}
