// Size and power of the scan's score tests on coalescent windows of 5 SNPs, as Markdown tables.
//
//   scan_calibration STUDY [windows]
//
//   null         equal and unequal groups, with and without covariates
//   populations  two populations in unequal shares, with and without their component
//   cases-only   a haplotype that only cases carry
//   power        one causal haplotype, beside PLINK 1.07's --hap-logistic
//
// Every window is a locus of its own with 1,000 founder chromosomes (500 per population) from scrm,
// from which the chromosomes of cases and controls are drawn with replacement.
#include "examples/simulation.h"
#include "scan/score/window_runner.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace {

constexpr unsigned SNPS = 5, FOUNDERS = 1000, BLOCK = 100;
constexpr double MISSING_SHARE = 0.02;

// Founder chromosomes at the SNPs of a window, the first SNP in the most significant bit.
using locus = std::vector<unsigned>;

// SNPs with both alleles in at least 5 % of the founders, evenly taken; empty if there are too few.
locus take_snps(std::vector<std::string> const& chromosomes) {
    std::vector<std::size_t> common;
    for (std::size_t s = 0; s < chromosomes[0].size(); ++s) {
        auto const ones = std::count_if(chromosomes.begin(), chromosomes.end(),
                                        [s](std::string const& c) { return c[s] == '1'; });
        if (std::min<long>(ones, FOUNDERS - ones) >= FOUNDERS / 20) common.push_back(s);
    }
    if (common.size() < SNPS) return {};
    locus founders;
    for (std::string const& c : chromosomes) {
        founders.push_back(0);
        for (std::size_t l = 0; l < SNPS; ++l)
            founders.back() = founders.back() << 1 | (c[common[l * common.size() / SNPS]] == '1');
    }
    return founders;
}

// Loci of 50 kb at 4 N mu = 5e-4 and 4 N r = 4e-4 per base; `model` is added to scrm's options.
std::vector<locus> draw_loci(std::size_t n, std::string const& model) {
    std::string const command = "scrm " + std::to_string(FOUNDERS) + " " +
                                std::to_string(n + n / 10) + " -t 25 -r 20 50000 -seed 1 " + model;
    FILE* const scrm = popen(command.c_str(), "r");
    std::vector<locus> loci;
    std::vector<std::string> chromosomes;
    std::string line;
    for (int c; loci.size() < n && (c = std::fgetc(scrm)) != EOF;) {
        if (c != '\n') {
            line += static_cast<char>(c);
            continue;
        }
        if (line.find_first_not_of("01") == std::string::npos && line.size() >= SNPS)
            chromosomes.push_back(line);
        line.clear();
        if (chromosomes.size() < FOUNDERS) continue;
        locus founders = take_snps(chromosomes);
        if (!founders.empty()) loci.push_back(std::move(founders));
        chromosomes.clear();
    }
    pclose(scrm);
    if (loci.size() < n) {
        std::cerr << "scrm gave " << loci.size() << " loci; is it installed?\n";
        std::exit(1);
    }
    return loci;
}

// Subjects of a study; the same in all windows.
struct subjects {
    std::vector<std::uint8_t> status;
    std::vector<int> population; // 0 or 1, or -1 for both
    Eigen::MatrixXd design;
    std::vector<std::string> names;

    subjects(unsigned cases, unsigned controls)
        : status(cases, 1), population(cases + controls, -1),
          design(Eigen::MatrixXd::Ones(cases + controls, 1)), names{"intercept"} {
        status.resize(cases + controls, 0);
    }
    void add_covariate(std::string const& name, std::function<double(std::size_t)> const& value) {
        design.conservativeResize(Eigen::NoChange, design.cols() + 1);
        for (std::size_t i = 0; i < status.size(); ++i)
            design(static_cast<Eigen::Index>(i), design.cols() - 1) = value(i);
        names.push_back(name);
    }
};

// Codes of a window's genotypes, by SNP and subject, as in a .bed. Cases and controls draw their
// chromosomes from pools of their own; of population 0 or 1 from that half of the pool.
using genotypes = std::vector<std::vector<std::uint8_t>>;
genotypes draw_genotypes(subjects const& s, locus const& controls, locus const& cases,
                         uniform& random) {
    auto const draw = [&](std::size_t i) {
        locus const& pool = s.status[i] != 0 ? cases : controls;
        double const share = s.population[i] < 0 ? random() : (s.population[i] + random()) / 2;
        return pool[static_cast<std::size_t>(share * static_cast<double>(pool.size()))];
    };
    genotypes result(SNPS, std::vector<std::uint8_t>((s.status.size() + 3) / 4));
    for (std::size_t i = 0; i < s.status.size(); ++i) {
        unsigned const a = draw(i), b = draw(i);
        for (unsigned l = 0; l < SNPS; ++l) {
            unsigned const copies = (a >> (SNPS - 1 - l) & 1) + (b >> (SNPS - 1 - l) & 1);
            unsigned const code = random() < MISSING_SHARE ? 1 : copies == 2 ? 0 : 3 - copies;
            result[l][i / 4] |= static_cast<std::uint8_t>(code << i % 4 * 2);
        }
    }
    return result;
}

// `case_pool` makes the cases' pool from the founders.
std::vector<genotypes> draw_windows(
    subjects const& s, std::vector<locus> const& loci,
    std::function<locus(locus const&)> const& case_pool = [](locus const& l) { return l; }) {
    uniform random(2);
    std::vector<genotypes> windows;
    for (locus const& founders : loci)
        windows.push_back(draw_genotypes(s, founders, case_pool(founders), random));
    return windows;
}

std::vector<scan::window_row> scan_all(subjects const& s, std::vector<genotypes> const& windows,
                                       scan::window_settings const& settings = {}) {
    auto const model = scan::fit_null_model(s.status, s.design, s.names);
    std::vector<std::uint32_t> sample(s.status.size());
    for (std::size_t i = 0; i < sample.size(); ++i)
        sample[i] = static_cast<std::uint32_t>(i);
    scan::window_runner test(model, sample, settings);
    std::vector<scan::window_row> rows;
    for (genotypes const& window : windows) {
        std::vector<std::uint8_t const*> pointers;
        for (auto const& snp : window)
            pointers.push_back(snp.data());
        rows.emplace_back();
        test.run(pointers, rows.back());
    }
    return rows;
}

// Per window a p-value, or 1 without a test.
using p_values = std::vector<double>;

void print_shares(p_values const& p) {
    for (double const level : {0.05, 0.01, 0.001})
        std::printf(" %.4f |", static_cast<double>(std::count_if(
                                   p.begin(), p.end(), [&](double x) { return x <= level; })) /
                                   static_cast<double>(p.size()));
}

void print_header(char const* extra) {
    std::printf("| %s | failed | haplotypes | chi-square / df | omnibus .05 | .01 | .001 | "
                "best haplotype .05 | .01 | .001 |\n|---|---|---|---|---|---|---|---|---|---|\n",
                extra);
}

p_values omnibus(std::vector<scan::window_row> const& rows) {
    p_values p;
    for (auto const& row : rows)
        p.push_back(row.code == scan::error_code::none ? std::exp(row.log_p) : 1);
    return p;
}

p_values best(std::vector<scan::window_row> const& rows) {
    p_values p;
    for (auto const& row : rows)
        p.push_back(row.code == scan::error_code::none ? std::exp(row.top_log_p_bonferroni) : 1);
    return p;
}

void print_row(std::string const& label, std::vector<scan::window_row> const& rows) {
    double ratio = 0, haplotypes = 0, tested = 0;
    for (auto const& row : rows) {
        if (row.code != scan::error_code::none) continue;
        ++tested;
        ratio += row.chisq / row.df;
        haplotypes += row.n_haplotypes;
    }
    std::printf("| %s | %zu | %.1f | %.3f |", label.c_str(),
                rows.size() - static_cast<std::size_t>(tested), haplotypes / tested,
                ratio / tested);
    print_shares(omnibus(rows));
    print_shares(best(rows));
    std::printf("\n");
    std::fflush(stdout);
}

// Nearly normal, so that the regression on the covariate is logistic.
double normal(uniform& random) {
    double sum = -6;
    for (int k = 0; k < 12; ++k)
        sum += random();
    return sum;
}

void study_null(std::size_t n) {
    auto const loci = draw_loci(n, "");
    print_header("null");
    for (auto const& [cases, controls] : {std::pair{1000u, 1000u}, {200u, 2000u}, {150u, 150u}}) {
        subjects const s(cases, controls);
        auto const windows = draw_windows(s, loci);
        std::string const label = std::to_string(cases) + " cases, " + std::to_string(controls);
        print_row(label + " controls", scan_all(s, windows));
        // Covariates are drawn again from block to block: all windows of a run share the chance
        // deviation of sum of r^2 from sum of w, and with it their inflation.
        uniform random(3);
        std::vector<scan::window_row> rows;
        for (std::size_t w = 0; w < n; w += BLOCK) {
            subjects t = s;
            t.add_covariate("age",
                            [&](std::size_t i) { return normal(random) + t.status[i] / 2.0; });
            t.add_covariate("sex",
                            [&](std::size_t i) { return random() < 0.5 + 0.1 * t.status[i]; });
            auto const block = scan_all(
                t, {windows.begin() + static_cast<long>(w),
                    windows.begin() + static_cast<long>(std::min<std::size_t>(n, w + BLOCK))});
            rows.insert(rows.end(), block.begin(), block.end());
        }
        print_row(label + ", age and sex", rows);
    }
}

// Nucleotide FST of the loci (Hudson's): 1 - within / between.
double mean_fst(std::vector<locus> const& loci) {
    double within = 0, between = 0;
    for (locus const& founders : loci)
        for (unsigned l = 0; l < SNPS; ++l) {
            double share[2] = {};
            for (std::size_t f = 0; f < FOUNDERS; ++f)
                share[f < FOUNDERS / 2 ? 0 : 1] += (founders[f] >> l & 1) * 2.0 / FOUNDERS;
            for (double const q : share)
                within += q * (1 - q);
            between += share[0] * (1 - share[1]) + share[1] * (1 - share[0]);
        }
    return 1 - within / between;
}

void study_populations(std::size_t n) {
    // Populations of 500 founders each that parted 0.01 x 4N generations ago.
    auto const loci = draw_loci(n, "-I 2 500 500 -ej 0.01 2 1");
    std::printf("FST %.4f\n\n", mean_fst(loci));
    print_header("two populations, no effect");
    subjects s(1000, 1000);
    for (std::size_t i = 0; i < 2000; ++i) // 60 % of the cases and 40 % of the controls
        s.population[i] = i % 5 < (s.status[i] != 0 ? 3 : 2) ? 0 : 1;
    auto const windows = draw_windows(s, loci);
    print_row("not adjusted", scan_all(s, windows));
    s.add_covariate("component", [&](std::size_t i) { return s.population[i]; });
    print_row("adjusted for the component", scan_all(s, windows));
}

void study_cases_only(std::size_t n) {
    auto const loci = draw_loci(n, "");
    print_header("haplotype that only cases carry");
    for (double const share : {0.01, 0.02, 0.03}) {
        subjects const s(1000, 1000);
        auto const windows = draw_windows(s, loci, [&](locus pool) {
            unsigned h = 0; // one that no founder has
            while (std::find(pool.begin(), pool.end(), h) != pool.end() && h + 1 < 1u << SNPS)
                ++h;
            std::fill_n(pool.begin(), static_cast<int>(share * FOUNDERS), h);
            return pool;
        });
        char label[64];
        std::snprintf(label, sizeof label, "%.0f %% of their chromosomes", 100 * share);
        print_row(label, scan_all(s, windows));
        print_row(std::string(label) + ", tested from 0.004 and 5 copies",
                  scan_all(s, windows, {0.5, 0.004, 5}));
    }
}

// PLINK's results for all windows, one run.
struct plink_result {
    p_values omnibus, best;
};

void write_plink(fs::path const& directory, subjects const& s,
                 std::vector<genotypes> const& windows) {
    std::ofstream ped(directory / "d.ped"), map(directory / "d.map"), list(directory / "d.hlist");
    char const* const alleles[] = {" 1 1", " 0 0", " 1 2", " 2 2"};
    for (std::size_t i = 0; i < s.status.size(); ++i) {
        ped << i << " 1 0 0 1 " << s.status[i] + 1;
        for (genotypes const& window : windows)
            for (auto const& snp : window)
                ped << alleles[snp[i / 4] >> i % 4 * 2 & 3];
        ped << '\n';
    }
    for (std::size_t w = 0; w < windows.size(); ++w) {
        list << "** W" << w;
        for (unsigned l = 0; l < SNPS; ++l) {
            std::string const id = "S" + std::to_string(w) + "_" + std::to_string(l);
            map << "1 " << id << " 0 " << (w + 1) * 50000 + l << '\n';
            list << ' ' << id;
        }
        list << '\n';
    }
}

p_values read_plink(fs::path const& path, std::size_t n, bool is_omnibus) {
    p_values smallest(n, 1);
    std::vector<unsigned> tests(n);
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    std::istringstream header(line);
    std::vector<std::string> const names(std::istream_iterator<std::string>{header}, {});
    auto const column = [&](char const* name) {
        return static_cast<std::size_t>(std::find(names.begin(), names.end(), name) -
                                        names.begin());
    };
    std::size_t const locus_column = column("SNP1"), p_column = column("P");
    while (std::getline(file, line)) {
        std::istringstream row(line);
        std::vector<std::string> const cells(std::istream_iterator<std::string>{row}, {});
        if (cells.size() <= p_column || cells[p_column] == "NA") continue;
        auto const w = static_cast<std::size_t>(std::stoul(cells[locus_column].substr(1)));
        ++tests[w];
        smallest[w] = std::min(smallest[w], std::stod(cells[p_column]));
    }
    for (std::size_t w = 0; w < n && !is_omnibus; ++w)
        smallest[w] = std::min(1.0, smallest[w] * tests[w]);
    return smallest;
}

plink_result run_plink(subjects const& s, std::vector<genotypes> const& windows) {
    fs::path const directory = fs::temp_directory_path() / "quilmar-scan-calibration";
    fs::create_directories(directory);
    write_plink(directory, s, windows);
    std::string const command =
        "cd " + directory.string() +
        " && plink1 --noweb --ped d.ped --map d.map --geno 1 --mind 1 --maf 0"
        " --hap d.hlist --mhf 0.01 --hap-logistic ";
    plink_result result;
    for (bool const is_omnibus : {false, true}) {
        if (std::system((command + (is_omnibus ? "--hap-omnibus" : "") + " >log 2>&1").c_str()) !=
            0)
            std::exit(1);
        (is_omnibus ? result.omnibus : result.best) =
            read_plink(directory / "plink.assoc.hap.logistic", windows.size(), is_omnibus);
    }
    fs::remove_all(directory);
    return result;
}

// The cases' pool where the haplotype whose frequency is nearest to `share` has an effect.
locus tilted_pool(locus const& founders, double share, double odds_ratio) {
    std::map<unsigned, int> counts;
    for (unsigned const h : founders)
        ++counts[h];
    auto const is_nearer = [&](auto const& a, auto const& b) {
        return std::fabs(a.second - share * FOUNDERS) < std::fabs(b.second - share * FOUNDERS);
    };
    unsigned const causal = std::min_element(counts.begin(), counts.end(), is_nearer)->first;
    locus pool;
    for (unsigned const h : founders)
        pool.insert(pool.end(), h == causal ? static_cast<std::size_t>(10 * odds_ratio) : 10, h);
    return pool;
}

void study_power(std::size_t n) {
    auto const loci = draw_loci(n, "");
    std::printf("| causal haplotype | test | omnibus .05 | .01 | .001 | best haplotype .05 | .01 | "
                ".001 |\n|---|---|---|---|---|---|---|---|\n");
    struct {
        double share, odds_ratio;
    } const table[] = {{0.15, 1}, {0.15, 1.3}, {0.05, 1.5}, {0.02, 2}};
    for (auto const& c : table) {
        subjects const s(1000, 1000);
        auto const windows = draw_windows(s, loci, [&](locus const& founders) {
            return tilted_pool(founders, c.share, c.odds_ratio);
        });
        auto const rows = scan_all(s, windows);
        plink_result const plink = run_plink(s, windows);
        for (bool const is_ours : {true, false}) {
            std::printf("| about %g, odds ratio %g | %s |", c.share, c.odds_ratio,
                        is_ours ? "score" : "--hap-logistic");
            print_shares(is_ours ? omnibus(rows) : plink.omnibus);
            print_shares(is_ours ? best(rows) : plink.best);
            std::printf("\n");
            std::fflush(stdout);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    std::map<std::string, std::function<void(std::size_t)>> const studies = {
        {"null", study_null},
        {"populations", study_populations},
        {"cases-only", study_cases_only},
        {"power", study_power}};
    auto const study = studies.find(argc > 1 ? argv[1] : "");
    if (study == studies.end()) {
        std::cerr << "scan_calibration null|populations|cases-only|power [windows]\n";
        return 1;
    }
    study->second(argc > 2 ? std::strtoul(argv[2], nullptr, 10) : 2000);
}
