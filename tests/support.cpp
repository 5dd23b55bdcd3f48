#include "tests/support.h"

#include "numeric/lu.h"

#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <numeric>
#include <regex>
#include <sys/wait.h>

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
