// Pair enumeration and collapsing to distinct genotypes.
#include "examples/simulation.h"
#include "ggi/engine/completions.h"
#include "ggi/hwq_frequency.h"
#include "tests/support.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>

namespace {

using codes = std::vector<std::pair<unsigned, unsigned>>;

codes codes_of(haplotype_pair_list const& list) {
    codes result;
    for (haplotype_pair const& pair : list)
        result.push_back({pair.first.code, pair.second.code});
    return result;
}

codes sorted(codes list) {
    std::sort(list.begin(), list.end());
    return list;
}

codes pairs_of(std::string const& text) {
    genotype g = genotype_of(text);
    EXPECT_EQ(g.haplotype_pairs(), 1);
    EXPECT_EQ(g.haplotype_pairs(), 0);
    codes const result = codes_of(*g.pairs);
    EXPECT_EQ(result.size(), g.count_pairs()) << text;
    delete g.pairs;
    return result;
}

std::string random_text(uniform& random, unsigned loci) {
    std::string text;
    for (unsigned l = 0; l < loci; ++l)
        text += "01129"[static_cast<int>(random() * 5)];
    return text;
}

} // namespace

TEST(genotype, pairs_in_order) {
    struct {
        char const* text;
        codes pairs;
    } const cases[] = {
        {"11", {{3, 0}, {2, 1}}},
        {"210", {{6, 4}}},
        {"202", {{5, 5}}},
        {"9", {{0, 0}, {1, 0}, {1, 1}}},
        {"111", {{7, 0}, {6, 1}, {5, 2}, {4, 3}}},
        {"91", {{1, 0}, {3, 0}, {2, 1}, {3, 2}}},
        {"19", {{2, 0}, {3, 0}, {2, 1}, {3, 1}}},
    };
    for (auto const& c : cases)
        EXPECT_EQ(pairs_of(c.text), c.pairs) << c.text;
    EXPECT_EQ(genotype_of("2190").str(), "2190");
    EXPECT_EQ(pairs_of(std::string(32, '2')), (codes{{~0u, ~0u}}));
    EXPECT_EQ(pairs_of("1" + std::string(31, '0')), (codes{{1u << 31, 0}}));
}

// Every unordered pair of haplotypes makes one complete genotype; a genotype's list must hold
// exactly the pairs whose genotype agrees with it at the known loci.
TEST(genotype, pairs_are_those_that_agree) {
    uniform random(7);
    for (int repeat = 0; repeat < 60; ++repeat) {
        std::string const text = random_text(random, 5);
        genotype g = genotype_of(text);
        codes expected;
        for (unsigned a = 0; a < 32; ++a)
            for (unsigned b = 0; b <= a; ++b) {
                genotype complete = g;
                complete.init(5, 0, a & b, a | b);
                if (g.equals(complete, false)) expected.push_back({a, b});
            }
        EXPECT_EQ(sorted(pairs_of(text)), expected) << text;

        // The same from a subdivision, and restricted to a set in either way.
        g.subdivide(0);
        haplotype_pair_list parts, filtered;
        for (genotype const& complete : *g.subdivision)
            complete.find_pairs(4, 0, parts);
        EXPECT_EQ(sorted(codes_of(parts)), g.missing == 0 ? codes{} : expected) << text;
        std::set<unsigned> some;
        while (some.size() < 12)
            some.insert(static_cast<unsigned>(random() * 32));
        g.find_pairs(4, 0, filtered, some);
        g.haplotype_pairs(some);
        EXPECT_EQ(sorted(codes_of(*g.pairs)), sorted(codes_of(filtered))) << text;
        delete g.subdivision;
        delete g.pairs;
    }
}

TEST(garray, counts_and_members) {
    uniform random(11);
    unsigned const n = 4000;
    std::vector<genotype> block;
    std::vector<unsigned> status;
    std::map<std::string, std::array<unsigned, 2>> expected;
    for (unsigned i = 0; i < n; ++i) {
        std::string const text = random_text(random, 6);
        block.push_back(genotype_of(text));
        status.push_back(random() < 0.3);
        ++expected[text][status.back()];
    }
    std::vector<genotype*> pointers;
    for (genotype& g : block)
        pointers.push_back(&g);
    garray array;
    array.init(pointers.data(), status.data(), n, 101, 0, 2, true);
    ASSERT_EQ(array.count, expected.size());
    unsigned members = 0, incomplete = 0;
    for (unsigned r = 0; r < array.count; ++r) {
        genotype const& g = *array.genotypes[r];
        auto const& counts = expected[g.str()];
        EXPECT_EQ(g.multiplicity[0], counts[0]);
        EXPECT_EQ(g.multiplicity[1], counts[1]);
        EXPECT_EQ(g.multiplicity[2], counts[0] + counts[1]);
        EXPECT_EQ(array.counts_as_completions(g), g.count_missing() > 2);
        if (g.count_missing() > 2) incomplete += counts[0] + counts[1];
        EXPECT_EQ(array.members[r] == nullptr, counts[0] == 0);
        for (unsigned k = 0; k < counts[0]; ++k, ++members) {
            EXPECT_TRUE(block[array.members[r][k]].equals(g, true));
            EXPECT_EQ(status[array.members[r][k]], 0u);
        }
    }
    EXPECT_EQ(array.count_incomplete(), incomplete);
    EXPECT_EQ(members, std::count(status.begin(), status.end(), 0u));
    array.clear();
}

// Genotypes whose hashes agree in all bits that a table of this size looks at, each twice.
TEST(genotype, crowded_places) {
    unsigned const n = 400;
    std::vector<genotype> block;
    for (std::uint64_t ones = 1; block.size() < n; ++ones) {
        std::uint64_t h = ones * 0x9e3779b97f4a7c15u;
        h = (h ^ (h >> 29)) * 0x9e3779b97f4a7c15u * 0x9e3779b97f4a7c15u;
        if (((h ^ (h >> 32)) & 4095) != 0) continue;
        block.push_back(genotype_of("11111111111111111111111111111111"));
        block.back().ones = static_cast<unsigned>(ones);
    }
    std::vector<genotype*> pointers;
    for (genotype& g : block)
        pointers.push_back(&g);
    std::vector<genotype> copies(block);
    for (genotype& g : copies)
        pointers.push_back(&g);
    std::vector<unsigned> const status(2 * n);
    garray array;
    array.init(pointers.data(), status.data(), 2 * n, 0, 0, 10, true);
    ASSERT_EQ(array.count, n);
    for (unsigned i = 0; i < n; ++i) {
        EXPECT_EQ(array.genotypes[i], &block[i]);
        EXPECT_EQ(array.ranks[i], i);
        EXPECT_EQ(array.ranks[n + i], i);
        EXPECT_EQ(block[i].multiplicity[0], 2u);
    }
    array.clear();
}

// The expected counts of all completions against those of every completion by itself.
TEST(completion_counts, agree_with_the_subdivision) {
    uniform random(6);
    std::vector<double> p(1 << 9);
    for (double& p_h : p)
        p_h = random();
    completion_counts completions;
    for (char const* text : {"999990000", "919092999", "911192999", "911111999", "111199111"}) {
        genotype g = genotype_of(text);
        std::vector<double> ratios(p.size()), expected(p.size());
        completions.add(g.masks(), 3, p.data(), ratios.data());
        g.subdivide(0);
        for (genotype const& complete : *g.subdivision)
            frequency(complete, 3, p.data(), expected.data());
        delete g.subdivision;
        for (std::size_t h = 0; h < p.size(); ++h)
            EXPECT_NEAR(p[h] * ratios[h], expected[h], 1e-12 * expected[h]) << text << " " << h;
    }
}
