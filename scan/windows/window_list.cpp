#include "scan/windows/window_list.h"

#include "scan/error.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>
#include <string_view>
#include <tuple>
#include <unordered_map>

namespace scan {

namespace {

// A window of members that are in `list` already.
window window_of(snp_table const& snps, window_list const& list, std::size_t first,
                 std::size_t n_snps) {
    snp const& start = snps[list.members[first]];
    return {static_cast<std::uint32_t>(first),
            static_cast<std::uint32_t>(n_snps),
            start.position,
            snps[list.members[first + n_snps - 1]].position,
            start.chromosome,
            false};
}

// Adds the windows that slide over the members from `begin` to before `end`.
void slide(snp_table const& snps, sliding_settings const& how, std::size_t begin, std::size_t end,
           window_list& list) {
    for (std::size_t first = begin; first + how.n_snps <= end; first += how.step) {
        window w = window_of(snps, list, first, how.n_snps);
        w.is_too_long = w.to - w.from > std::round(1000 * how.longest_kb);
        list.windows.push_back(w);
    }
}

// Puts windows and names into genome order.
void sort(window_list& list) {
    std::vector<std::size_t> order(list.windows.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    auto const key = [&](std::size_t w) {
        window const& x = list.windows[w];
        return std::make_tuple(x.chromosome, x.from, x.to);
    };
    std::stable_sort(order.begin(), order.end(),
                     [&](std::size_t a, std::size_t b) { return key(a) < key(b); });
    window_list sorted;
    for (std::size_t const w : order) {
        sorted.windows.push_back(list.windows[w]);
        sorted.names.push_back(std::move(list.names[w]));
    }
    list.windows = std::move(sorted.windows);
    list.names = std::move(sorted.names);
}

constexpr std::uint32_t TWICE = UINT32_MAX, NOT_FOUND = UINT32_MAX - 1;

// SNPs of the table by identifier; TWICE for an identifier of several.
class snp_index {
  public:
    snp_index(snp_table const& snps, std::vector<std::uint32_t> const& used)
        : path_(snps.path()), is_used_(snps.size(), false) {
        for (std::uint32_t const i : used)
            is_used_[i] = true;
        for (std::uint32_t i = 0; i < snps.size(); ++i) {
            auto const [at, is_new] = by_id_.try_emplace(snps.id(i), i);
            if (!is_new) at->second = TWICE;
        }
    }

    // NOT_FOUND for an identifier that is not there.
    std::uint32_t find(snp_list const& list, std::string const& id) const {
        auto const at = by_id_.find(id);
        if (at == by_id_.end()) return NOT_FOUND;
        if (at->second == TWICE)
            throw failure(no_fit, list.place + ": SNP " + id + " of window " + list.name +
                                      " is several times in " + path_ + ".");
        return at->second;
    }
    bool is_used(std::uint32_t i) const { return is_used_[i]; }

  private:
    std::string path_;
    std::vector<bool> is_used_;
    std::unordered_map<std::string_view, std::uint32_t> by_id_;
};

// The SNPs of a list that the table has in genome order, used or not.
std::vector<std::uint32_t> members_of(snp_table const& snps, snp_index const& index,
                                      snp_list const& list, window_list& windows) {
    std::vector<std::uint32_t> found;
    for (std::string const& id : list.ids) {
        found.push_back(index.find(list, id));
        if (found.back() != NOT_FOUND) continue;
        found.pop_back();
        if (windows.n_unknown_snps++ == 0)
            windows.first_unknown = list.place + ": SNP " + id + " of window " + list.name +
                                    " is not in " + snps.path() + " on chromosomes 1 to 22";
    }
    if (found.empty()) return found;
    std::sort(found.begin(), found.end());
    if (std::adjacent_find(found.begin(), found.end()) != found.end())
        throw failure(malformed, list.place + ": window " + list.name + " has a SNP twice.");
    if (snps[found.front()].chromosome != snps[found.back()].chromosome)
        throw failure(no_fit, list.place + ": the SNPs of window " + list.name +
                                  " are on several chromosomes.");
    return found;
}

} // namespace

window_list sliding_windows(snp_table const& snps, std::vector<std::uint32_t> const& used,
                            sliding_settings const& how) {
    window_list list;
    list.members = used;
    for (std::size_t begin = 0, end; begin < used.size(); begin = end) {
        end = begin;
        while (end < used.size() && snps[used[end]].chromosome == snps[used[begin]].chromosome)
            ++end;
        slide(snps, how, begin, end, list);
    }
    return list;
}

window_list region_windows(snp_table const& snps, std::vector<std::uint32_t> const& used,
                           std::vector<region> const& regions,
                           std::optional<sliding_settings> const& how) {
    window_list list;
    list.members = used;
    auto const place = [](snp const& s) { return std::make_tuple(s.chromosome, s.position); };
    for (region const& r : regions) {
        auto const first = std::partition_point(used.begin(), used.end(), [&](std::uint32_t i) {
            return place(snps[i]) < std::make_tuple(r.chromosome, r.from);
        });
        auto const end = std::partition_point(first, used.end(), [&](std::uint32_t i) {
            return place(snps[i]) <= std::make_tuple(r.chromosome, r.to);
        });
        std::size_t const at = static_cast<std::size_t>(first - used.begin()),
                          n = static_cast<std::size_t>(end - first);
        if (n == 0)
            list.windows.push_back({0, 0, r.from, r.to, r.chromosome, false});
        else if (how && how->n_snps <= n)
            slide(snps, *how, at, at + n, list);
        else
            list.windows.push_back(window_of(snps, list, at, n));
        for (std::size_t k = 1; list.names.size() < list.windows.size(); ++k)
            list.names.push_back(how ? r.name + ":" + std::to_string(k) : r.name);
    }
    sort(list);
    return list;
}

window_list listed_windows(snp_table const& snps, std::vector<std::uint32_t> const& used,
                           std::vector<snp_list> const& lists) {
    snp_index const index(snps, used);
    window_list list;
    for (snp_list const& l : lists) {
        std::vector<std::uint32_t> const all = members_of(snps, index, l, list);
        if (all.empty()) {
            ++list.n_unknown_lists;
            continue;
        }
        std::size_t const first = list.members.size();
        std::copy_if(all.begin(), all.end(), std::back_inserter(list.members),
                     [&](std::uint32_t i) { return index.is_used(i); });
        std::size_t const n = list.members.size() - first;
        list.n_unused_snps += static_cast<std::uint32_t>(all.size() - n);
        snp const &start = snps[all.front()], &last = snps[all.back()];
        list.windows.push_back(
            n > 0 ? window_of(snps, list, first, n)
                  : window{0, 0, start.position, last.position, start.chromosome, false});
        list.names.push_back(l.name);
    }
    if (list.windows.empty() && list.n_unknown_lists > 0)
        throw failure(no_fit, list.first_unknown + ", nor is any other of the list.");
    sort(list);
    return list;
}

} // namespace scan
