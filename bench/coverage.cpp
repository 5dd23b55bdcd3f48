// Simulation studies: how often intervals cover the truth, and how often the fit fails.
//
//   coverage equilibrium|disequilibrium|misspecified [replicates]
//                                                      estimates against the truth, by mode;
//                                                      misspecified: rho is 0.1, the fit assumes 0
//   coverage failures [replicates]                     statuses under disequilibrium
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

// Analyses `replicates` data sets of the design with the specification.
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

void study_coverage(double rho, bool is_disequilibrium, unsigned replicates) {
    std::printf("  %-12s %4s %9s %9s %9s %9s %9s\n", "row", "n", "truth", "mean", "sd", "mean se",
                "coverage");
    for (inheritance const mode : {ADDITIVE, RECESSIVE, DOMINANT, CODOMINANT}) {
        simulation const design = one_gene(mode, rho, 1000);
        std::vector<double> truth;
        for (simulated_term const& effect : design.effects) {
            truth.push_back(effect.beta);
            if (mode == CODOMINANT) truth.push_back(effect.homozygous);
        }
        for (simulated_haplotype const& h : design.haplotypes)
            truth.push_back(h.frequency);
        if (is_disequilibrium) truth.push_back(design.rho);
        std::string const spec = std::string("STATUS=2\nGENE=3 4 5\nEFFECT=3\nEFFECT=5\n") +
                                 "SAMPLE=combined\nTHRESHOLD=0.01\nMODEL=" + MODES[mode] +
                                 (is_disequilibrium ? "\nHW=HWD\n" : "\n");
        std::printf("%s\n", MODES[mode]);
        print_coverage(run(design, spec, replicates), truth);
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
        study_coverage(0, false, replicates);
    } else if (study == "disequilibrium") {
        study_coverage(0.1, true, replicates);
    } else if (study == "misspecified") {
        study_coverage(0.1, false, replicates);
    } else if (study == "failures") {
        study_failures(replicates);
    } else {
        std::cerr
            << "usage: coverage equilibrium|disequilibrium|misspecified|failures [replicates]\n";
        return 2;
    }
    return 0;
}
