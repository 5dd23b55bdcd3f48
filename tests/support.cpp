#include "tests/support.h"

#include "ggi/case_control_ggi.h"
#include "ggi/case_control_ggi_init.h"
#include "ggi/case_control_ggi_statistics.h"
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/effect_map.h"
#include "ggi/hwd_frequency.h"
#include "ggi/hwq_frequency.h"
#include "numeric/lu.h"

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <numeric>
#include <regex>
#include <set>
#include <sys/wait.h>

namespace fs = std::filesystem;

scratch::scratch() {
    std::string name = (fs::temp_directory_path() / "quilmar-XXXXXX").string();
    path = mkdtemp(&name[0]);
}

scratch::~scratch() {
    fs::remove_all(path);
}

std::string scratch::write(std::string const& name, std::string const& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
}

std::string scratch::read(std::string const& name) const {
    std::ifstream stream(file(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool scratch::has(std::string const& name) const {
    return fs::exists(file(name));
}

std::string scratch::list(std::string const& directory) const {
    std::set<std::string> names;
    for (fs::directory_entry const& entry : fs::directory_iterator(file(directory)))
        names.insert(entry.path().filename());
    std::string text;
    for (std::string const& name : names)
        text += name + " ";
    return text;
}

outcome run_shell(scratch const& directory, std::string const& command) {
    scratch streams;
    std::string const line = "cd '" + directory.path + "' && { " + command + "; } >'" +
                             streams.file("out") + "' 2>'" + streams.file("err") + "'";
    int const status = std::system(line.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, streams.read("out"), streams.read("err")};
}

outcome run_quilmar(scratch const& directory, std::string const& arguments) {
    return run_shell(directory, QUILMAR_PROGRAM " " + arguments);
}

std::string unwrapped(std::string text) {
    text = std::regex_replace(text, std::regex("\n          "), " ");
    return std::regex_replace(text, std::regex("<quilmar> "), "");
}

std::string undated(std::string const& report) {
    std::size_t const end = report.find_last_not_of('\n');
    std::size_t const start = report.rfind('\n', end);
    EXPECT_NE(report.find("Report generated on ", start), std::string::npos);
    return report.substr(0, start + 1);
}

sample::sample(std::string const& data_text, std::string const& spec_text) {
    scratch files;
    v.init();
    ccg.init();
    labels = nullptr;
    frequency = result{};
    EXPECT_EQ(validate_spec(files.write("spec", spec_text), v), 1);
    ccg.n_covariates = v.n_covariates;
    EXPECT_EQ(read_file(files.write("data", data_text), v, labels, ccg.genotypes, ccg.status,
                        ccg.covariates, ccg.n_subjects),
              1);
    ccg.n_genes = v.n_genes;
    ccg.gene_loci = new unsigned[v.n_genes];
    std::copy(v.gene_loci, v.gene_loci + v.n_genes, ccg.gene_loci);
    ccg.distinct = new garray;
    ccg.distinct->init(ccg.genotypes, ccg.status, ccg.n_subjects, 101, 0, 10, true);
    frequencies.resize(std::size_t{1} << v.n_loci());
    frequency.estimates = frequencies.data();
}

sample::~sample() {
    ccg.free();
    v.free();
    delete[] labels;
}

study::study(std::string const& data_text, std::string const& spec_text, double origin,
             double scale)
    : sample(data_text, spec_text), fit{}, stats{} {
    for (unsigned c = 0; c < ccg.n_covariates; ++c)
        for (unsigned i = 0; i < ccg.n_subjects; ++i)
            ccg.covariates[c][i] = origin + scale * ccg.covariates[c][i];
    auto* const estimate = v.hw == 0 ? hwq_frequency : hwd_frequency;
    estimate(estimator(), v.sample, v.frequency_iterations, v.frequency_tolerance, frequency, true);
    EXPECT_EQ(case_control_ggi_init(ccg, v.hw, v.threshold, frequencies.data()), 1);
    EXPECT_EQ(map_effects("data", v, ccg), 1);
    EXPECT_EQ(case_control_ggi_set_model(ccg, v.hw, v.model), 1);
    case_control_ggi_start(ccg, v.hw, frequency, fit);
}

study::~study() {
    case_control_ggi_clear_model(ccg, v.hw);
    stats.free();
    fit.free();
}

int study::run() {
    int const status = case_control_ggi(ccg, v.hw, v.iterations, v.tolerance, fit);
    EXPECT_EQ(case_control_ggi_statistics(ccg, v.hw, fit.estimates, stats), 1);
    return status;
}

regression logistic(std::vector<std::vector<double>> const& X, std::vector<double> const& y) {
    unsigned const p = static_cast<unsigned>(X[0].size());
    regression r{std::vector<double>(p), std::vector<double>(p), 0};
    std::vector<double> H(p * p), g(p), d(p);
    for (int iteration = 0; iteration < 50; ++iteration) {
        std::fill(H.begin(), H.end(), 0.0);
        std::fill(g.begin(), g.end(), 0.0);
        r.log_likelihood = 0;
        for (std::size_t s = 0; s < y.size(); ++s) {
            double const eta = std::inner_product(X[s].begin(), X[s].end(), r.beta.begin(), 0.0),
                         q = 1 / (1 + std::exp(-eta));
            r.log_likelihood += std::log(y[s] != 0 ? q : 1 - q);
            for (unsigned i = 0; i < p; ++i) {
                g[i] += X[s][i] * (y[s] - q);
                for (unsigned j = 0; j < p; ++j)
                    H[i * p + j] += X[s][i] * X[s][j] * q * (1 - q);
            }
        }
        EXPECT_EQ(lu_solve(H.data(), p, g.data(), d.data()), 201);
        for (unsigned i = 0; i < p; ++i)
            r.beta[i] += d[i];
    }
    EXPECT_EQ(lu_inverse(H.data(), p), 201);
    for (unsigned i = 0; i < p; ++i)
        r.error[i] = std::sqrt(H[i * p + i]);
    return r;
}

genotype genotype_of(std::string const& text) {
    genotype g;
    g.clear();
    g.nsnp = static_cast<unsigned>(text.size());
    for (char const c : text) {
        g.missing = g.missing << 1 | (c == '9');
        g.ones = g.ones << 1 | (c == '1' || c == '2');
        g.twos = g.twos << 1 | (c == '2');
    }
    return g;
}

std::string one_snp(unsigned const (&controls)[3], unsigned const (&cases)[3]) {
    std::string text = "STATUS SNP\n";
    for (int copies = 0; copies < 3; ++copies) {
        for (unsigned i = 0; i < controls[copies]; ++i)
            text += "0 " + std::to_string(copies) + "\n";
        for (unsigned i = 0; i < cases[copies]; ++i)
            text += "1 " + std::to_string(copies) + "\n";
    }
    return text;
}
