// Pair enumeration, collapsing to distinct genotypes, and the split into genes.
#include "examples/simulation.h"
#include "ggi/ggi.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>

namespace {

// The genotype of a text of "0", "1", "2" and "9".
genotype make(std::string const& text) {
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

using codes = std::vector<std::pair<unsigned, unsigned>>;

codes codes_of(haplotype_pair_list const& list) {
    codes result;
    for (haplotype_pair const& pair : list)
        result.push_back({pair.first.code, pair.second.code});
    return result;
}

codes pairs_of(std::string const& text) {
    genotype g = make(text);
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
    EXPECT_EQ(make("2190").str(), "2190");
    EXPECT_EQ(pairs_of(std::string(32, '2')), (codes{{~0u, ~0u}}));
    EXPECT_EQ(pairs_of("1" + std::string(31, '0')), (codes{{1u << 31, 0}}));
}

// Every unordered pair of haplotypes makes one complete genotype; a genotype's list must hold
// exactly the pairs whose genotype agrees with it at the known loci.
TEST(genotype, pairs_are_those_that_agree) {
    uniform random(7);
    for (int repeat = 0; repeat < 60; ++repeat) {
        std::string const text = random_text(random, 5);
        genotype g = make(text);
        codes expected;
        for (unsigned a = 0; a < 32; ++a)
            for (unsigned b = 0; b <= a; ++b) {
                genotype complete = g;
                complete.init(5, 0, a & b, a | b);
                if (g.equals(complete, false)) expected.push_back({a, b});
            }
        codes listed = pairs_of(text);
        std::sort(listed.begin(), listed.end());
        EXPECT_EQ(listed, expected) << text;

        // The same from a subdivision, and restricted to a set in either way.
        g.subdivide(0);
        haplotype_pair_list parts, filtered;
        for (genotype const& complete : *g.subdivision)
            complete.find_pairs(4, 0, parts);
        codes divided = codes_of(parts);
        std::sort(divided.begin(), divided.end());
        EXPECT_EQ(divided, g.missing == 0 ? codes{} : expected) << text;
        std::set<unsigned> some;
        while (some.size() < 12)
            some.insert(static_cast<unsigned>(random() * 32));
        g.find_pairs(4, 0, filtered, some);
        g.haplotype_pairs(some);
        codes restricted = codes_of(filtered), direct = codes_of(*g.pairs);
        std::sort(restricted.begin(), restricted.end());
        std::sort(direct.begin(), direct.end());
        EXPECT_EQ(direct, restricted) << text;
        delete g.subdivision;
        delete g.pairs;
    }
}

TEST(genotype, small_operations) {
    genotype g = make("1919");
    EXPECT_EQ(g.count_ones(), 2u);
    EXPECT_EQ(g.count_missing(), 2u);
    g.set_multiplicity(5, 3);
    g.set_multiplicity(7, 4);
    EXPECT_EQ(g.multiplicity[2], 7u);
    EXPECT_EQ(g.multiplicity[3], 5u);
    EXPECT_TRUE(g.equals(make("1010"), false));
    EXPECT_TRUE(g.equals(make("1112"), false));
    EXPECT_FALSE(make("1010").equals(make("1919"), true));
    EXPECT_TRUE(make("1010").equals(g, false)); // a locus missing there looks like 0 copies
    EXPECT_FALSE(make("1110").equals(g, false));
}

TEST(garray, counts_and_members) {
    uniform random(11);
    unsigned const n = 4000;
    std::vector<genotype> block;
    std::vector<unsigned> status;
    std::map<std::string, std::pair<unsigned, unsigned>> expected;
    for (unsigned i = 0; i < n; ++i) {
        std::string const text = random_text(random, 6);
        block.push_back(make(text));
        status.push_back(random() < 0.3);
        ++(status.back() != 0 ? expected[text].second : expected[text].first);
    }
    std::vector<genotype*> pointers;
    for (genotype& g : block)
        pointers.push_back(&g);
    garray array;
    array.init(pointers.data(), status.data(), n, 101, 0, 2, true);
    ASSERT_EQ(array.count, expected.size());
    unsigned members = 0;
    for (unsigned r = 0; r < array.count; ++r) {
        genotype const& g = *array.genotypes[r];
        auto const& counts = expected[g.str()];
        EXPECT_EQ(g.multiplicity[0], counts.first);
        EXPECT_EQ(g.multiplicity[1], counts.second);
        EXPECT_EQ(g.multiplicity[2], counts.first + counts.second);
        EXPECT_EQ(g.pairs, nullptr);
        EXPECT_EQ(array.counts_as_completions(g), g.count_missing() > 2);
        EXPECT_EQ(array.members[r] == nullptr, counts.first == 0);
        for (unsigned k = 0; k < counts.first; ++k, ++members) {
            genotype const& member = block[array.members[r][k]];
            EXPECT_TRUE(member.equals(g, true));
            EXPECT_EQ(status[array.members[r][k]], 0u);
        }
    }
    EXPECT_EQ(members, std::count(status.begin(), status.end(), 0u));
    array.clear();
}

TEST(ggi_data, subhaplotypes) {
    ggi_data data;
    data.init();
    data.init(1, 0, 2);
    genotype g = make("00000");
    data.genotypes[0] = &g;
    data.gene_loci[0] = 2;
    data.gene_loci[1] = 3;
    data.n_haplotypes = 2;
    data.haplotypes = new unsigned[2]{0b10110, 0b01011};
    data.subhaplotype_init();
    EXPECT_EQ(data.subhaplotypes[0][0], 0b10u);
    EXPECT_EQ(data.subhaplotypes[1][0], 0b110u);
    EXPECT_EQ(data.subhaplotypes[0][1], 0b01u);
    EXPECT_EQ(data.subhaplotypes[1][1], 0b011u);
    data.free();
}
