// Writes the files of a benchmark case: generate_cases CASE DIRECTORY.
//
//   data.txt, or data/ with one file per window, and spec     for quilmar; R reads them too
//   plink.ped, plink.map, plink.hlist, plink.covar            the same subjects for PLINK
#include "bench/cases.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

void write_data(bench_case const& c, std::vector<std::string> const& texts, fs::path const& to) {
    if (c.windows == 1) {
        std::ofstream(to / "data.txt") << texts[0];
        return;
    }
    fs::create_directories(to / "data");
    for (std::size_t w = 0; w < texts.size(); ++w)
        std::ofstream(to / "data" / ("window" + std::to_string(w + 1))) << texts[w];
}

// Subjects side by side over all windows; PLINK codes controls 1 and cases 2, missing alleles 0.
void write_genotypes(bench_case const& c, std::vector<std::string> const& texts,
                     fs::path const& to) {
    std::vector<std::istringstream> windows(texts.begin(), texts.end());
    std::string token;
    for (std::istringstream& window : windows)
        std::getline(window, token);
    std::ofstream ped(to / "plink.ped"), covariates(to / "plink.covar");
    if (c.covariates) covariates << "FID IID ENV1 ENV2\n";
    for (unsigned s = 0; s < c.subjects; ++s) {
        std::string id, status;
        for (std::size_t w = 0; w < windows.size(); ++w) {
            windows[w] >> id >> status;
            if (w == 0) ped << id << " 1 0 0 1 " << (status == "1" ? 2 : 1);
            for (unsigned l = 0; l < c.snps; ++l) {
                windows[w] >> token;
                ped << (token == "0"   ? " 1 1"
                        : token == "1" ? " 1 2"
                        : token == "2" ? " 2 2"
                                       : " 0 0");
            }
        }
        ped << "\n";
        if (c.covariates) {
            windows[0] >> token;
            covariates << id << " 1 " << token;
            windows[0] >> token;
            covariates << " " << token << "\n";
        }
    }
}

// Positions of the SNPs, and which of them form a window.
void write_windows(bench_case const& c, fs::path const& to) {
    std::ofstream map(to / "plink.map"), windows(to / "plink.hlist");
    for (unsigned w = 0; w < c.windows; ++w) {
        windows << "** W" << w + 1;
        for (unsigned l = 1; l <= c.snps; ++l) {
            unsigned const snp = w * c.snps + l;
            map << "1 S" << snp << " 0 " << 1000 * snp << "\n";
            windows << " S" << snp;
        }
        windows << "\n";
    }
}

} // namespace

int main(int argc, char** argv) {
    std::string const name = argc == 3 ? argv[1] : "";
    for (bench_case const& c : bench_cases()) {
        if (c.name != name) continue;
        fs::path const to = argv[2];
        fs::create_directories(to);
        std::vector<std::string> texts;
        for (unsigned w = 0; w < c.windows; ++w)
            texts.push_back(data_of(c, w));
        write_data(c, texts, to);
        std::ofstream(to / "spec") << variables_of(c);
        write_genotypes(c, texts, to);
        write_windows(c, to);
        return EXIT_SUCCESS;
    }
    std::cerr << "usage: generate_cases CASE DIRECTORY, see bench/cases.cpp\n";
    return 2;
}
