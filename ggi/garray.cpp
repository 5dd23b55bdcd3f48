// Grouping of subjects into distinct genotypes, by hashing their three masks.
#include "ggi/garray.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

std::uint64_t mask_hash(genotype const& g) {
    std::uint64_t h = g.ones;
    for (unsigned const mask : {g.twos, g.missing})
        h = (h ^ (h >> 29)) * 0x9e3779b97f4a7c15u + mask;
    h *= 0x9e3779b97f4a7c15u;
    return h ^ (h >> 32);
}

// Index of every subject's distinct genotype, of which `distinct` receives one representative each
// and counts the subjects. Open addressing in a table that is kept at most half full.
void rank_subjects(genotype** g, unsigned const* status, unsigned n, unsigned* ranks,
                   std::vector<genotype*>& distinct) {
    constexpr unsigned NONE = ~0u;
    std::vector<unsigned> slots(1024, NONE);
    auto slot_of = [&](genotype const& key) -> unsigned& {
        std::size_t const last = slots.size() - 1;
        std::size_t s = mask_hash(key) & last;
        while (slots[s] != NONE && !distinct[slots[s]]->equals(key, true))
            s = (s + 1) & last;
        return slots[s];
    };
    for (unsigned i = 0; i < n; ++i) {
        g[i]->set_multiplicity(0, 4);
        unsigned& slot = slot_of(*g[i]);
        bool const is_new = slot == NONE;
        if (is_new) {
            slot = static_cast<unsigned>(distinct.size());
            distinct.push_back(g[i]);
        }
        ranks[i] = slot;
        unsigned* const multiplicity = distinct[slot]->multiplicity;
        ++multiplicity[status[i] != 0 ? 1 : 0];
        ++multiplicity[2];
        if (is_new && 2 * distinct.size() > slots.size()) {
            slots.assign(2 * slots.size(), NONE);
            for (unsigned r = 0; r < distinct.size(); ++r)
                slot_of(*distinct[r]) = r;
        }
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

} // namespace

void garray::init(genotype** g, unsigned const* status, unsigned n, int mode, unsigned group,
                  int max_missing, bool subdivide) {
    std::vector<genotype*> distinct;
    ranks = new unsigned[n];
    rank_subjects(g, status, n, ranks, distinct);
    // The count follows its table, so that clear is right whatever allocation fails.
    genotypes = new genotype* [distinct.size()] {};
    empty = 0;
    count = static_cast<unsigned>(distinct.size());
    subjects = n;
    std::copy(distinct.begin(), distinct.end(), genotypes);

    if (mode == 101) list_members(*this, status, group);
    if (max_missing >= 0 && subdivide) most_missing = static_cast<unsigned>(max_missing);
}

void garray::init(genotype** g, bool const* status, unsigned n, int mode, unsigned group,
                  int max_missing, bool subdivide) {
    std::vector<unsigned> const codes(status, status + n);
    init(g, codes.data(), n, mode, group, max_missing, subdivide);
}

void garray::share(genotype** g) const {
    for (unsigned i = 0; i < subjects; ++i) {
        g[i]->pairs = genotypes[ranks[i]]->pairs;
        g[i]->subdivision = genotypes[ranks[i]]->subdivision;
    }
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
    *this = garray{};
}
