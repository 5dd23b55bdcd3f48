// Simulation studies: how often intervals cover the truth, and how often the fit fails.
//
//   coverage STUDY [replicates]
//
//   equilibrium, disequilibrium   estimates against the truth, by mode of inheritance
//   misspecified                  the same where rho is 0.1 and the fit assumes 0
//   environment, environment-disequilibrium
//                                 the same with two covariates and their interactions
//   failures                      outcomes of the disequilibrium fit
//   association                   an interaction under association of haplotype and exposure
//
// Every replicate is a data file; one run of the built program analyses the directory of them.
#include "examples/simulation.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <vector>

namespace fs = std::filesystem;

namespace {

// What a report says: the rows of its effects section in order, and how the fit ended.
struct reading {
    struct row {
        std::string label;
        double estimate, error;
    };
    std::vector<row> rows;
    std::string status;
    bool fell_back;
};

reading read_report(fs::path const& path) {
    reading r{{}, "no report", false};
    std::ifstream file(path);
    bool in_effects = false, is_disequilibrium = false;
    for (std::string line; std::getline(file, line);) {
        if (line.find("haplotype effects under") != std::string::npos) in_effects = true;
        if (line.find("disequilibrium") != std::string::npos) is_disequilibrium = true;
        if (!in_effects) continue;
        if (line.rfind("Status: ", 0) == 0) r.status = line.substr(8);
        if (line.rfind("  ", 0) != 0) continue;
        std::istringstream tokens(line);
        std::string label;
        double estimate, error, z, p;
        // The second row of a codominant effect has no label.
        if (line.find_first_not_of(' ') < 14) tokens >> label;
        if (tokens >> estimate >> error >> z >> p) r.rows.push_back({label, estimate, error});
    }
    r.fell_back = !is_disequilibrium;
    return r;
}

// Analyses `replicates` data sets of the design with the variable specification file.
std::vector<reading> run(simulation const& design, std::string const& spec, unsigned replicates) {
    fs::path const work = fs::temp_directory_path() / "quilmar-coverage";
    std::vector<reading> readings;
    for (unsigned r = 0; r < replicates; ++r) {
        // One directory each, because a fall-back to equilibrium carries over to later files.
        fs::remove_all(work);
        fs::create_directories(work);
        std::ofstream(work / "data") << simulate(design, 1000 + r);
        std::ofstream(work / "spec") << spec;
        std::string const command =
            "cd " + work.string() + " && " QUILMAR_PROGRAM " data spec 2>/dev/null";
        if (std::system(command.c_str()) < 0) std::exit(1);
        readings.push_back(read_report(work / "data.out"));
    }
    fs::remove_all(work);
    return readings;
}

// Mean, spread, mean standard error and coverage of every row whose truth is given.
void print_coverage(std::vector<reading> const& readings, std::vector<double> const& truth) {
    for (std::size_t row = 0; row < truth.size(); ++row) {
        double n = 0, sum = 0, squares = 0, errors = 0, covered = 0;
        std::string label;
        for (reading const& r : readings) {
            if (r.status != "Success." || r.rows.size() != truth.size()) continue;
            double const estimate = r.rows[row].estimate, error = r.rows[row].error;
            label = r.rows[row].label;
            n += 1;
            sum += estimate;
            squares += estimate * estimate;
            errors += error;
            covered += std::fabs(estimate - truth[row]) <= 1.959963984540054 * error;
        }
        double const mean = sum / n;
        std::printf("  %-12s %4.0f %9.4f %9.4f %9.4f %9.4f %8.1f%%\n", label.c_str(), n, truth[row],
                    mean, std::sqrt(squares / n - mean * mean), errors / n, 100 * covered / n);
    }
}

char const* const MODES[] = {"", "additive", "recessive", "dominant", "codominant"};

simulation one_gene(inheritance mode, double rho, unsigned n) {
    simulation design{{3}, {}, {}, n, n, 0.03, rho, mode};
    design.haplotypes = {{0b000, .40}, {0b011, .30}, {0b101, .20}, {0b110, .10}};
    design.effects = {{{0b011}, 0.4, 0.3}, {{0b101}, -0.3, 0.2}};
    return design;
}

void add_terms(std::vector<double>& truth, inheritance mode,
               std::vector<simulated_term> const& terms) {
    for (simulated_term const& term : terms) {
        truth.push_back(term.beta);
        if (mode == CODOMINANT) truth.push_back(term.homozygous);
    }
}

// True values in the order of the report's rows.
std::vector<double> truth_of(simulation const& design, bool is_disequilibrium) {
    std::vector<double> truth;
    add_terms(truth, design.mode, design.effects);
    for (simulated_covariate const& x : design.covariates)
        truth.push_back(x.main_effect);
    add_terms(truth, design.mode, design.interactions);
    for (simulated_haplotype const& h : design.haplotypes)
        truth.push_back(h.frequency);
    if (is_disequilibrium) truth.push_back(design.rho);
    return truth;
}

// Estimates by mode; without or with a binary and a normal covariate that both interact.
void study_coverage(double rho, bool is_disequilibrium, bool with_covariates, unsigned replicates) {
    std::printf("  %-12s %4s %9s %9s %9s %9s %9s\n", "row", "n", "truth", "mean", "sd", "mean se",
                "coverage");
    for (inheritance const mode : {ADDITIVE, RECESSIVE, DOMINANT, CODOMINANT}) {
        simulation design = one_gene(mode, rho, 1000);
        std::string const none = with_covariates ? " -1 -1\n" : "\n";
        std::string spec = "STATUS=2\nGENE=3 4 5\nEFFECT=3" + none + "EFFECT=5" + none +
                           "SAMPLE=combined\nTHRESHOLD=0.01\nMODEL=" + MODES[mode] +
                           (is_disequilibrium ? "\nHW=HWD\n" : "\n");
        if (with_covariates) {
            design.covariates = {{0.3, 0.5}, {0, 0.3}};
            design.interactions = {{{0b011}, 0.4, -0.2, 0}, {{0b011}, -0.2, 0.1, 1}};
            spec += "ENVIRONMENT=6 7\nEFFECT=-1 1 -1\nEFFECT=-1 -1 1\nEFFECT=3 1 -1\n"
                    "EFFECT=3 -1 1\n";
        }
        std::printf("%s\n", MODES[mode]);
        print_coverage(run(design, spec, replicates), truth_of(design, is_disequilibrium));
    }
}

// An interaction that does not exist, estimated where haplotype and exposure are associated in the
// population with the given odds ratio per copy.
void study_association(unsigned replicates) {
    std::printf("%10s %9s %9s %9s\n", "odds ratio", "mean", "mean se", "rejected");
    for (double const odds_ratio : {1.0, 1.1, 1.25, 1.5}) {
        simulation design = one_gene(ADDITIVE, 0, 1000);
        design.effects = {{{0b011}, 0.3}};
        design.covariates = {{0.3, 0.5}};
        design.associations = {{{0b011}, std::log(odds_ratio)}};
        double n = 0, sum = 0, errors = 0, rejected = 0;
        for (reading const& r : run(design,
                                    "STATUS=2\nGENE=3 4 5\nENVIRONMENT=6\nTHRESHOLD=0.01\n"
                                    "EFFECT=3 -1\nEFFECT=-1 1\nEFFECT=3 1\n",
                                    replicates)) {
            if (r.status != "Success.") continue;
            reading::row const& interaction = r.rows[2];
            n += 1;
            sum += interaction.estimate;
            errors += interaction.error;
            rejected += std::fabs(interaction.estimate) > 1.959963984540054 * interaction.error;
        }
        std::printf("%10.2f %9.4f %9.4f %8.1f%%\n", odds_ratio, sum / n, errors / n,
                    100 * rejected / n);
    }
}

// Outcomes of the disequilibrium fit by rho, number of subjects and frequency sample.
void study_failures(unsigned replicates) {
    std::printf("%5s %8s %9s %9s %8s %8s\n", "rho", "subjects", "sample", "fallback", "success",
                "failed");
    for (double const rho : {0.0, 0.05, 0.1, 0.2})
        for (unsigned const subjects : {300u, 2000u})
            for (char const* sample : {"controls", "cases", "combined"}) {
                simulation const design = one_gene(ADDITIVE, rho, subjects / 2);
                std::string const spec = std::string("STATUS=2\nGENE=3 4 5\nEFFECT=3\nEFFECT=5\n") +
                                         "THRESHOLD=0.01\nHW=HWD\nSAMPLE=" + sample + "\n";
                unsigned fell_back = 0, success = 0, failed = 0;
                std::map<std::string, unsigned> failures;
                for (reading const& r : run(design, spec, replicates)) {
                    fell_back += r.fell_back;
                    if (r.fell_back) continue;
                    if (r.status == "Success.") {
                        ++success;
                    } else {
                        ++failed;
                        ++failures[r.status];
                    }
                }
                std::printf("%5.2f %8u %9s %8.1f%% %7.1f%% %7.1f%%", rho, subjects, sample,
                            100.0 * fell_back / replicates, 100.0 * success / replicates,
                            100.0 * failed / replicates);
                for (auto const& failure : failures)
                    std::printf("  %u %s", failure.second, failure.first.c_str());
                std::printf("\n");
            }
}

} // namespace

int main(int argc, char** argv) {
    std::string const study = argc > 1 ? argv[1] : "";
    unsigned const replicates = argc > 2 ? static_cast<unsigned>(std::atoi(argv[2])) : 500;
    if (study == "equilibrium") {
        study_coverage(0, false, false, replicates);
    } else if (study == "disequilibrium") {
        study_coverage(0.1, true, false, replicates);
    } else if (study == "misspecified") {
        study_coverage(0.1, false, false, replicates);
    } else if (study == "environment") {
        study_coverage(0, false, true, replicates);
    } else if (study == "environment-disequilibrium") {
        study_coverage(0.1, true, true, replicates);
    } else if (study == "failures") {
        study_failures(replicates);
    } else if (study == "association") {
        study_association(replicates);
    } else {
        std::cerr << "usage: coverage STUDY [replicates], see the head of bench/coverage.cpp\n";
        return 2;
    }
    return 0;
}
