// Haplotype frequencies of a window: against the library's EM, at their maximum in long windows, and
// where a maximum is known.
#include "scan/score/haplotypes.h"
#include "tests/support.h"

#include "ggi/hwq_frequency.h"
#include "ggi/settings.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <random>

namespace {

using genotypes = std::vector<genotype_count>;

// From texts of "0", "1", "2" and "9"; every other subject is a case.
genotypes counted(std::vector<std::string> const& subjects) {
    std::map<std::string, genotype_count> counts;
    for (std::size_t i = 0; i < subjects.size(); ++i) {
        genotype const g = genotype_of(subjects[i]);
        genotype_count& c = counts[subjects[i]];
        c.missing = g.missing, c.twos = g.twos, c.ones = g.ones;
        ++(i % 2 == 0 ? c.controls : c.cases);
    }
    genotypes result;
    for (auto const& [text, count] : counts)
        result.push_back(count);
    return result;
}

// Subjects of two chromosomes each, which are copies of 8 founders with rare changes.
genotypes drawn(unsigned n_snps, unsigned n_subjects, double missing, unsigned seed) {
    std::mt19937 random(seed);
    auto const uniform = [&] { return static_cast<double>(random()) / 4294967296.0; };
    std::vector<unsigned> founders(8);
    for (unsigned& f : founders)
        f = static_cast<unsigned>(random()) & ((1u << n_snps) - 1);
    std::vector<std::string> subjects;
    for (unsigned i = 0; i < n_subjects; ++i) {
        std::string text(n_snps, '0');
        for (int chromosome = 0; chromosome < 2; ++chromosome) {
            // The first founder has about half of the chromosomes, the last one few.
            unsigned h = founders[static_cast<std::size_t>(8 * uniform() * uniform() * uniform())];
            if (uniform() < 0.05) h ^= 1u << random() % n_snps;
            for (unsigned l = 0; l < n_snps; ++l)
                text[l] = static_cast<char>(text[l] + (h >> (n_snps - 1 - l) & 1));
        }
        for (char& c : text)
            if (uniform() < missing) c = '9';
        subjects.push_back(text);
    }
    return counted(subjects);
}

// The library's estimate and its log-likelihood at given frequencies.
struct reference {
    std::vector<genotype> objects;
    std::vector<genotype*> pointers;
    garray distinct;
    std::vector<double> p;

    reference(genotypes const& counts, unsigned n_snps)
        : objects(counts.size()), pointers(counts.size()), p(std::size_t{1} << n_snps) {
        std::iota(pointers.begin(), pointers.end(), objects.data());
        distinct.init(pointers.data(), counts.data(), static_cast<unsigned>(counts.size()), n_snps,
                      -1);
    }
    ~reference() { distinct.clear(); }

    double run(std::vector<double>& frequencies, unsigned iterations, bool start) {
        result em{};
        em.estimates = frequencies.data();
        hwq_frequency({pointers.data(), &distinct}, COMBINED, iterations, 1e-15, em, start);
        return em.log_likelihood;
    }
    double estimate() { return run(p, 300000, true); }
    double log_likelihood(std::vector<double> frequencies) { return run(frequencies, 0, false); }
};

double difference(std::vector<double> const& a, std::vector<double> const& b) {
    double most = 0;
    for (std::size_t h = 0; h < a.size(); ++h)
        most = std::max(most, std::fabs(a[h] - b[h]));
    return most;
}

} // namespace

TEST(scan_frequencies, equal_the_librarys) {
    for (unsigned n_snps = 1; n_snps <= 9; ++n_snps)
        for (unsigned n_subjects : {40u, 300u, 2000u})
            for (double missing : {0.0, 0.03, 0.2}) {
                genotypes const sample = drawn(n_snps, n_subjects, missing, n_snps + n_subjects);
                std::vector<double> p;
                ASSERT_TRUE(scan::estimate_frequencies(sample, n_snps, p));
                reference library(sample, n_snps);
                double const l = library.estimate();
                EXPECT_NEAR(library.log_likelihood(p), l, 1e-8);
                // The smallest samples do not tell all haplotypes apart.
                EXPECT_LT(difference(p, library.p), n_subjects > 40 ? 2e-7 : 1e-4)
                    << n_snps << ' ' << n_subjects << ' ' << missing;
                EXPECT_NEAR(std::accumulate(p.begin(), p.end(), 0.0), 1, 1e-14);
            }
}

namespace {

// No step of EM changes the frequencies, and none of the vanished ones would grow.
std::vector<double> expect_maximum(genotypes const& sample, unsigned n_snps) {
    std::vector<double> p, ratios(std::size_t{1} << n_snps);
    EXPECT_TRUE(scan::estimate_frequencies(sample, n_snps, p));
    double n_subjects = 0;
    for (genotype_count const& g : sample)
        n_subjects += g.controls + g.cases;
    genotype_sides sides;
    for (genotype_count const& g : sample) {
        sides.sum({g.twos, g.ones & ~g.twos, g.missing}, p.data());
        sides.add_counts((g.controls + g.cases) / (sides.S * n_subjects), 0, ratios.data());
    }
    for (std::size_t h = 0; h < p.size(); ++h) {
        EXPECT_LT(ratios[h], 1 + 3e-6) << n_snps << ' ' << h;
        EXPECT_NEAR(p[h] * ratios[h], p[h], 1e-8) << n_snps << ' ' << h;
    }
    return p;
}

} // namespace

TEST(scan_frequencies, of_long_windows_are_a_maximum) {
    for (auto const& [n_snps, n_subjects, missing] :
         {std::tuple(12u, 500u, 0.02), {12u, 60u, 0.1}, {15u, 1000u, 0.02}, {20u, 100u, 0.01}}) {
        genotypes const sample = drawn(n_snps, n_subjects, missing, n_snps);
        std::vector<double> const p = expect_maximum(sample, n_snps);
        if (n_snps > 12) continue;
        reference library(sample, n_snps);
        library.run(library.p, 2000, true);
        EXPECT_GT(library.log_likelihood(p), library.log_likelihood(library.p) - 1e-6);
    }
}

// Samples in which a haplotype all but vanishes on the way that has to grow again at the end.
TEST(scan_frequencies, leave_saddle_points) {
    expect_maximum(counted({"11210", "12120", "19111", "21111", "21210", "21911"}), 5);
    expect_maximum(counted({"10210", "10219", "11001", "11101", "11111", "11220", "11220", "20111",
                            "21110", "29111"}),
                   5);
    expect_maximum(
        counted({"021012121", "022002220", "022002229", "120012121", "121012121", "121012121",
                 "121012121", "121012121", "121012122", "121012129", "191012121", "191012121",
                 "191012121", "220022021", "220022022", "220122022", "922002220"}),
        9);
    for (unsigned seed = 1; seed <= 20; ++seed)
        expect_maximum(drawn(9, 30, 0.05, seed), 9);
}

TEST(scan_frequencies, where_they_are_known) {
    auto const times = [](int n, std::string const& g, std::vector<std::string> rest) {
        rest.insert(rest.end(), static_cast<std::size_t>(n), g);
        return rest;
    };
    struct {
        std::vector<std::string> subjects;
        std::vector<double> p;
    } const table[] = {
        {{"1"}, {0.5, 0.5}},
        {{"22"}, {0, 0, 0, 1}},
        {{"99"}, {0.25, 0.25, 0.25, 0.25}},
        {{"29"}, {0, 0, 0.5, 0.5}},
        {{"02", "92", "02"}, {0, 1, 0, 0}},
        // 01 vanishes without a slope: with y its share of the 4 double heterozygotes, EM's y becomes
        // y - 0.2 y^2 or so and takes a million steps.
        {times(4, "22", times(4, "00", times(18, "20", times(4, "11", {})))), {0.2, 0, 0.6, 0.2}},
        {times(4, "22", times(4, "00", times(25, "20", times(2, "11", {})))),
         {1 / 7.0, 0, 5 / 7.0, 1 / 7.0}},
    };
    for (auto const& c : table) {
        std::vector<double> p;
        EXPECT_TRUE(scan::estimate_frequencies(counted(c.subjects),
                                               static_cast<unsigned>(c.subjects[0].size()), p));
        EXPECT_LT(difference(p, c.p), 1e-6) << c.subjects[0];
    }
}

// The same work arrays for small and large windows.
TEST(scan_frequencies, do_not_depend_on_the_window_before) {
    scan::frequency_estimate again;
    for (unsigned n_snps : {5u, 12u, 3u, 8u, 1u, 5u}) {
        genotypes const sample = drawn(n_snps, 200, 0.1, n_snps);
        scan::frequency_estimate fresh;
        ASSERT_TRUE(fresh.run(sample, n_snps) && again.run(sample, n_snps));
        ASSERT_EQ(again.list().bits, fresh.list().bits);
        for (std::size_t h = 0; h < fresh.list().n_haplotypes(); ++h)
            ASSERT_EQ(again.frequency(h), fresh.frequency(h));
    }
}
