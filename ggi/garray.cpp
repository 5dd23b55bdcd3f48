// Collapsing of subjects into distinct genotypes, by hashing their three masks.
#include "ggi/garray.h"

#include "numeric/nutil.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <numeric>
#include <tuple>

namespace {

std::uint64_t mask_hash(genotype const& g) {
    std::uint64_t h = g.ones;
    for (unsigned const mask : {g.twos, g.missing})
        h = (h ^ (h >> 29)) * 0x9e3779b97f4a7c15u + mask;
    h *= 0x9e3779b97f4a7c15u;
    return h ^ (h >> 32);
}

// The distinct genotypes met so far, each by the first object that has it. Open addressing in a
// table that is kept at most half full; genotypes that were chosen to meet in one place go to an
// ordered map instead.
class genotype_index {
  public:
    std::vector<genotype*> distinct;

    // Index of the genotype among the distinct ones, to which it is added if it is new.
    unsigned rank(genotype* g) {
        unsigned* const slot = slot_of(*g);
        unsigned& place = slot != nullptr
                              ? *slot
                              : crowded.emplace(std::make_tuple(g->missing, g->twos, g->ones), NONE)
                                    .first->second;
        if (place != NONE) return place;
        unsigned const rank = place = static_cast<unsigned>(distinct.size());
        distinct.push_back(g);
        if (2 * distinct.size() > slots.size()) grow();
        return rank;
    }

  private:
    static constexpr unsigned NONE = ~0u;
    // The longest run of a half full table grows with the logarithm of its size, to some 70 at
    // 500,000 random keys; keys beyond this have not met by chance.
    static constexpr unsigned LONGEST_RUN = 128;
    std::vector<unsigned> slots = std::vector<unsigned>(1024, NONE);
    std::map<std::tuple<unsigned, unsigned, unsigned>, unsigned> crowded;

    // Its slot, or the one that it would take; null where the run of occupied ones is too long.
    unsigned* slot_of(genotype const& key) {
        std::size_t const last = slots.size() - 1;
        std::size_t s = mask_hash(key) & last;
        for (unsigned run = 0; run < LONGEST_RUN; ++run, s = (s + 1) & last)
            if (slots[s] == NONE || distinct[slots[s]]->equals(key, true)) return &slots[s];
        return nullptr;
    }

    void grow() {
        slots.assign(2 * slots.size(), NONE);
        crowded.clear();
        for (unsigned r = 0; r < distinct.size(); ++r) {
            genotype const& g = *distinct[r];
            if (unsigned* const slot = slot_of(g))
                *slot = r;
            else
                crowded.emplace(std::make_tuple(g.missing, g.twos, g.ones), r);
        }
    }
};

// Ranks of the subjects; counts them in the multiplicities and notes the first ones.
void rank_subjects(garray& array, genotype** g, unsigned const* status, genotype_index& index,
                   std::vector<unsigned> (&first)[2]) {
    for (unsigned i = 0; i < array.subjects; ++i) {
        g[i]->set_multiplicity(0, 4);
        unsigned const rank = index.rank(g[i]);
        array.ranks[i] = rank;
        unsigned const group = status[i] != 0 ? 1 : 0;
        if (rank == first[0].size())
            for (std::vector<unsigned>& list : first)
                list.push_back(MAX_UINT);
        if (first[group][rank] == MAX_UINT) first[group][rank] = i;
        unsigned* const multiplicity = index.distinct[rank]->multiplicity;
        ++multiplicity[group];
        ++multiplicity[2];
    }
}

void list_members(garray& array, unsigned const* status, unsigned group) {
    array.members = new unsigned* [array.count] {};
    std::size_t total = 0;
    for (unsigned r = 0; r < array.count; ++r)
        total += array.genotypes[r]->multiplicity[group];
    if (total == 0) return;
    std::vector<unsigned*> end(array.count);
    // One block for all lists; the list of the first genotype that has one owns it.
    unsigned* next = new unsigned[total];
    for (unsigned r = 0; r < array.count; ++r)
        if (unsigned const size = array.genotypes[r]->multiplicity[group]) {
            array.members[r] = end[r] = next;
            next += size;
        }
    for (unsigned i = 0; i < array.subjects; ++i)
        if (group == 2 || (status[i] != 0) == (group == 1)) *end[array.ranks[i]]++ = i;
}

// The table of n distinct genotypes. The count follows its table, so that clear is right whatever
// allocation fails.
void set_table(garray& array, genotype* const* distinct, std::size_t n) {
    array.genotypes = new genotype* [n] {};
    array.empty = 0;
    array.count = static_cast<unsigned>(n);
    std::copy(distinct, distinct + n, array.genotypes);
}

} // namespace

void garray::init(genotype** g, unsigned const* status, unsigned n, int mode, unsigned group,
                  int max_missing, bool subdivide) {
    subjects = n;
    ranks = new unsigned[n];
    genotype_index index;
    std::vector<unsigned> first_subjects[2];
    rank_subjects(*this, g, status, index, first_subjects);
    set_table(*this, index.distinct.data(), index.distinct.size());
    for (unsigned group_of : {0u, 1u}) {
        first[group_of] = new unsigned[count];
        std::copy(first_subjects[group_of].begin(), first_subjects[group_of].end(),
                  first[group_of]);
    }
    if (mode == 101) list_members(*this, status, group);
    if (max_missing >= 0 && subdivide) most_missing = static_cast<unsigned>(max_missing);
}

void garray::init(genotype** g, bool const* status, unsigned n, int mode, unsigned group,
                  int max_missing, bool subdivide) {
    std::vector<unsigned> const codes(status, status + n);
    init(g, codes.data(), n, mode, group, max_missing, subdivide);
}

void garray::init(genotype** g, genotype_count const* counts, unsigned n, unsigned nsnp,
                  int max_missing) {
    set_table(*this, g, n);
    for (unsigned r = 0; r < n; ++r) {
        genotype_count const& c = counts[r];
        g[r]->clear();
        g[r]->init(nsnp, c.missing, c.twos, c.ones);
        g[r]->set_multiplicity(c.controls, 0);
        g[r]->set_multiplicity(c.cases, 1);
        g[r]->set_multiplicity(c.controls + c.cases, 2);
        subjects += c.controls + c.cases;
    }
    if (max_missing >= 0) most_missing = static_cast<unsigned>(max_missing);
}

void garray::share(genotype** g) const {
    if (ranks == nullptr) return;
    for (unsigned i = 0; i < subjects; ++i) {
        g[i]->pairs = genotypes[ranks[i]]->pairs;
        g[i]->subdivision = genotypes[ranks[i]]->subdivision;
    }
}

std::vector<weighted_genotype> garray::weighted(unsigned k) const {
    std::vector<weighted_genotype> list;
    for (unsigned r = count; r-- > 0;)
        if (unsigned const m = genotypes[r]->multiplicity[k])
            list.push_back({genotypes[r]->masks(), m, counts_as_completions(*genotypes[r])});
    return list;
}

unsigned garray::count_incomplete() const {
    return std::accumulate(genotypes, genotypes + count, 0u, [this](unsigned n, genotype const* g) {
        return counts_as_completions(*g) ? n + g->multiplicity[2] : n;
    });
}

void garray::clear() {
    for (unsigned r = 0; r < count; ++r) {
        delete genotypes[r]->pairs;
        delete genotypes[r]->subdivision;
        genotypes[r]->pairs = nullptr;
        genotypes[r]->subdivision = nullptr;
    }
    if (members != nullptr) {
        for (unsigned r = 0; r < count; ++r)
            if (members[r] != nullptr) {
                delete[] members[r];
                break;
            }
    }
    delete[] members;
    delete[] genotypes;
    delete[] ranks;
    delete[] first[0];
    delete[] first[1];
    *this = garray{};
}
