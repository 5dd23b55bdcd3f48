// Analyses at the same time, and analyses from counts: the same bits as one by one from subjects.
#include "examples/simulation.h"
#include "ggi/case_control_ggi.h"
#include "ggi/case_control_ggi_init.h"
#include "ggi/case_control_ggi_statistics.h"
#include "numeric/status_code.h"
#include "tests/support.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

// Everything that an analysis reports, to be compared in all bits.
std::vector<double> reported(study& s) {
    EXPECT_EQ(s.run(), SUCCESS);
    std::vector<double> values(s.frequencies);
    unsigned const n = s.ccg.n_parameters + 1;
    for (double const* column : {s.stats.estimates, s.stats.standard_errors, s.stats.z, s.stats.p})
        values.insert(values.end(), column, column + n);
    values.insert(values.end(), {s.frequency.log_likelihood, s.fit.log_likelihood, s.fit.rho,
                                 static_cast<double>(s.fit.iterations)});
    return values;
}

struct task {
    std::string data, spec;
};

// All four likelihood models in all modes.
std::vector<task> tasks() {
    simulation design = two_genes();
    design.controls = design.cases = 150;
    design.missing = 0.05;
    design.rho = 0.1;
    design.covariates = {{0.4, 0.5}};
    std::vector<task> list;
    for (char const* hw : {"HWE", "HWD"})
        for (bool const with_covariate : {false, true})
            for (char const* mode : {"additive", "dominant", "codominant"})
                list.push_back(
                    {simulate(design, 7), "STATUS=2\nGENE=3 4 5\nGENE=6 7 8 9\nSAMPLE=combined\n"
                                          "THRESHOLD=0.02\nHW=" +
                                              std::string(hw) + "\nMODEL=" + mode +
                                              (with_covariate ? "\nENVIRONMENT=10\nEFFECT=3 -1 -1\n"
                                                                "EFFECT=-1 -1 1\nEFFECT=3 -1 1\n"
                                                              : "\nEFFECT=3 -1\nEFFECT=5 6\n")});
    return list;
}

} // namespace

TEST(threads, same_results_as_one_by_one) {
    std::vector<task> const all = tasks();
    std::vector<std::vector<double>> alone, together[2];
    for (task const& t : all) {
        study s(t.data, t.spec);
        alone.push_back(reported(s));
    }
    std::vector<std::thread> threads;
    for (auto& results : together)
        threads.emplace_back([&] {
            for (task const& t : all) {
                study s(t.data, t.spec);
                results.push_back(reported(s));
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (auto const& results : together)
        EXPECT_EQ(results, alone);
}

TEST(counts, same_results_as_subjects) {
    for (task const& t : tasks()) {
        if (t.spec.find("ENVIRONMENT") != std::string::npos) continue;
        SCOPED_TRACE(t.spec);
        study s(t.data, t.spec);
        std::vector<double> const from_subjects = reported(s);
        // The multiplicities of the record are those of the fit, which drops genotypes.
        sample const whole(t.data, t.spec);
        std::vector<genotype_count> counts;
        for (unsigned r = 0; r < whole.ccg.distinct->count; ++r) {
            genotype const& g = *whole.ccg.distinct->genotypes[r];
            counts.push_back({g.missing, g.twos, g.ones, g.multiplicity[0], g.multiplicity[1]});
        }
        case_control_ggi_clear_model(s.ccg, s.v.hw);
        s.ccg.free();
        s.stats.free();
        s.fit.free();
        s.ccg.init(counts.data(), static_cast<unsigned>(counts.size()), s.v.n_genes, s.v.gene_loci);
        EXPECT_EQ(s.ccg.n_subjects, 300u);
        EXPECT_EQ(s.ccg.cases_read, 150u);
        s.set_up();
        EXPECT_EQ(reported(s), from_subjects);
    }
}
