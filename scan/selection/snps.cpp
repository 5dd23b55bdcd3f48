#include "scan/selection/snps.h"

#include "scan/input/id_lists.h"

#include <algorithm>

namespace scan {

namespace {

// A limit like 0.1 is no binary fraction: what was meant to be equal to it counts as equal.
constexpr double ROUNDING = 1e-9;

bool is_in_place(snp const& s, options const& o) {
    return o.chromosomes[s.chromosome] && (!o.from_bp || s.position >= *o.from_bp) &&
           (!o.to_bp || s.position <= *o.to_bp);
}

} // namespace

bool is_above(double count, double total, double limit) {
    return count > limit * total * (1 + ROUNDING);
}

snp_selection select_snps(snp_table const& snps, options const& o) {
    std::vector<bool> extract, exclude;
    if (!o.extract.empty()) extract = read_snp_list(o.extract, snps);
    if (!o.exclude.empty()) exclude = read_snp_list(o.exclude, snps);
    snp_selection selection;
    for (std::uint32_t i = 0; i < snps.size(); ++i) {
        bool const is_listed = (extract.empty() || extract[i]) && (exclude.empty() || !exclude[i]);
        if (!is_in_place(snps[i], o))
            ++selection.by_place;
        else if (!is_listed)
            ++selection.by_list;
        else
            selection.used.push_back(i);
    }
    return selection;
}

void filter_by_genotypes(snp_table const& snps, options const& o, genotype_counter& counter,
                         snp_selection& selection) {
    if (!o.geno && !o.maf) return;
    auto const is_out = [&](std::uint32_t i) {
        counter.read(snps[i].row);
        genotype_counts const n = counter.count();
        if (o.geno && is_above(n.missing, n.subjects(), *o.geno)) return ++selection.by_geno != 0;
        if (o.maf && n.minor_frequency() < *o.maf * (1 - ROUNDING)) return ++selection.by_maf != 0;
        return false;
    };
    std::vector<std::uint32_t>& used = selection.used;
    used.erase(std::remove_if(used.begin(), used.end(), is_out), used.end());
}

} // namespace scan
