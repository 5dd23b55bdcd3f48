#include "scan/windows/regions.h"

#include "scan/error.h"
#include "scan/input/text_file.h"
#include "scan/input/values.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string_view>

namespace scan {

namespace {

constexpr std::int32_t LAST_POSITION = std::numeric_limits<std::int32_t>::max();

bool ends_in(std::string const& text, std::string_view end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool is_bed(std::string const& path) {
    return ends_in(path, ".bed") || ends_in(path, ".bed.gz") || ends_in(path, ".bed.bgz");
}

// Chromosome and positions of the line, whose first field is not a comment.
region parse_region(text_file& file, bool from_zero) {
    std::vector<std::string_view> const& fields = file.fields();
    if (fields.size() < 3)
        file.fail(std::to_string(fields.size()) +
                  " fields where a region has 3 or 4: chromosome, first and last position, name.");
    region r{static_cast<std::uint8_t>(parse_autosome(fields[0])), 0, 0, {}};
    if (!parse_position(fields[1], r.from) || !parse_position(fields[2], r.to))
        file.fail("'" + std::string(fields[1]) + " " + std::string(fields[2]) +
                  "' are no positions. Write chromosome, first and last position, name.");
    if (r.from < (from_zero ? 0 : 1) || (from_zero ? r.to <= r.from : r.to < r.from))
        file.fail("positions " + std::string(fields[1]) + " to " + std::string(fields[2]) +
                  " are no region.");
    r.from += from_zero;
    if (fields.size() > 3)
        r.name = fields[3];
    else
        r.name = std::string(fields[0]) + ":" + std::to_string(r.from) + "-" + std::to_string(r.to);
    return r;
}

bool is_comment(std::string_view first, bool bed) {
    return first[0] == '#' || (bed && (first == "track" || first == "browser"));
}

region_list read(std::string const& path, bool bed) {
    text_file file(path);
    region_list list;
    while (file.next()) {
        if (is_comment(file.fields()[0], bed)) continue;
        region const r = parse_region(file, bed);
        if (r.chromosome == 0)
            ++list.n_other;
        else
            list.regions.push_back(r);
    }
    return list;
}

} // namespace

region_list read_regions(std::string const& path) {
    return read(path, is_bed(path));
}

region_list read_genes(std::string const& path, std::vector<std::string> const& names,
                       double border_kb) {
    region_list list = read(path, false);
    std::vector<region>& genes = list.regions;
    for (std::string const& name : names)
        if (std::none_of(genes.begin(), genes.end(),
                         [&](region const& g) { return g.name == name; }))
            throw failure(no_fit, path + ": has no gene '" + name + "' on chromosomes 1 to 22.");
    if (!names.empty())
        genes.erase(std::remove_if(genes.begin(), genes.end(),
                                   [&](region const& g) {
                                       return std::find(names.begin(), names.end(), g.name) ==
                                              names.end();
                                   }),
                    genes.end());
    double const border = std::round(1000 * border_kb);
    for (region& g : genes) {
        g.from = static_cast<std::int32_t>(std::max(1.0, g.from - border));
        g.to = static_cast<std::int32_t>(std::min<double>(LAST_POSITION, g.to + border));
    }
    return list;
}

std::vector<snp_list> read_snp_lists(std::string const& path) {
    text_file file(path);
    std::vector<snp_list> lists;
    while (file.next()) {
        std::vector<std::string_view> const& fields = file.fields();
        if (fields.size() < 2) file.fail("names no SNP. Write a name and the SNPs of a window.");
        snp_list list{std::string(fields[0]), {fields.begin() + 1, fields.end()}, {}};
        if (list.name == "*") list.name = "block" + std::to_string(lists.size() + 1);
        list.place = path + ":" + std::to_string(file.number());
        lists.push_back(std::move(list));
    }
    return lists;
}

} // namespace scan
