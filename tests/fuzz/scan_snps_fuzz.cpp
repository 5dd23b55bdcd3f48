// The readers of SNPs and of windows: .bim, .bed, lists, regions, genes.
#include "scan/input/id_lists.h"
#include "scan/selection/genotype_counts.h"
#include "scan/windows/window_list.h"
#include "tests/fuzz/scan_fuzz.h"

#include <numeric>

namespace {

using namespace scan;

constexpr std::uint32_t N_SUBJECTS = 5;

void check_bed(std::string const& text, snp_table const& snps) {
    read_text(text, [&](auto const& path) {
        bed_file const bed(path, snps.n_rows(), N_SUBJECTS);
        genotype_counter counter(bed, {true, false, true, true, true});
        std::vector<std::uint32_t> missing(N_SUBJECTS, 0);
        for (std::uint32_t i = 0; i < snps.size(); ++i) {
            counter.read(snps[i].row);
            counter.add_missing(missing);
            if (counter.count().subjects() != N_SUBJECTS - 1) std::abort();
        }
        return 0;
    });
}

void check_windows(snp_table const& snps, window_list const& list) {
    std::uint32_t chromosome = 0;
    for (window const& w : list.windows) {
        if (w.chromosome < chromosome || w.from > w.to || w.chromosome > 22) std::abort();
        chromosome = w.chromosome;
        for (std::uint32_t m = w.first; m < w.first + w.n_snps; ++m)
            if (snps[list.members.at(m)].chromosome != chromosome ||
                (m > w.first && list.members[m] <= list.members[m - 1]))
                std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size) {
    input_texts files(bytes, size);
    auto const snps = read_text(files.next(), [](auto const& path) { return snp_table(path); });
    if (!snps) return 0;
    check_bed(files.next(), *snps);
    auto const listed =
        read_text(files.next(), [&](auto const& path) { return read_snp_list(path, *snps); });
    std::vector<std::uint32_t> used;
    for (std::uint32_t i = 0; i < snps->size(); ++i)
        if (!listed || !(*listed)[i]) used.push_back(i);
    check_windows(*snps, sliding_windows(*snps, used, {2, 1, 100}));
    auto const windows_of = [&](auto const& read) {
        read_text(files.next(), [&](auto const& path) {
            check_windows(*snps, read(path));
            return 0;
        });
    };
    windows_of([&](auto const& path) {
        return region_windows(*snps, used, read_regions(path).regions, sliding_settings{2, 1, 100});
    });
    windows_of([&](auto const& path) {
        return region_windows(*snps, used, read_genes(path, {}, 1e6).regions, {});
    });
    windows_of([&](auto const& path) { return listed_windows(*snps, used, read_snp_lists(path)); });
    return 0;
}
