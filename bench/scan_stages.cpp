// Processor time of the stages of quilmar-scan before the estimation, on a study's .bed:
//
//   scan_stages BED SUBJECTS SNPS COVARIATES
//
// Windows of 5 SNPs, step 1; every tenth subject is a case; the covariates are normal. Prints a line
// per stage: microseconds per window, nanoseconds per subject and window.
#include "scan/error.h"
#include "scan/input/bed_file.h"
#include "scan/score/block_counter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string>

namespace {

constexpr unsigned WINDOW_SNPS = 5, ROWS_IN_MEMORY = 64;

double seconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

scan::null_model make_model(std::uint32_t n, Eigen::Index n_covariates) {
    std::mt19937_64 random(1);
    std::normal_distribution<double> normal;
    std::vector<std::uint8_t> is_case(n);
    for (std::size_t i = 0; i < n; i += 10)
        is_case[i] = 1;
    Eigen::MatrixXd design(n, 1 + n_covariates);
    design.col(0).setOnes();
    for (Eigen::Index c = 1; c <= n_covariates; ++c)
        for (Eigen::Index i = 0; i < design.rows(); ++i)
            design(i, c) = normal(random);
    return scan::fit_null_model(is_case, design,
                                std::vector<std::string>(static_cast<std::size_t>(design.cols())));
}

struct stages {
    double reading = 0, counting = 0, windows = 0;
    std::size_t n_windows = 0, n_genotypes = 0;
};

stages scan_all(scan::bed_file const& bed, std::uint32_t n_snps, scan::null_model const& model,
                std::vector<std::uint32_t> const& sample) {
    scan::block_counter counter(model, sample);
    scan::genotype_table table(model);
    unsigned const block_snps = counter.best_block(), n_inside = block_snps - WINDOW_SNPS + 1;
    std::vector<std::uint8_t> rows(ROWS_IN_MEMORY * bed.row_bytes());
    stages s;
    for (std::uint32_t first = 0; first + ROWS_IN_MEMORY <= n_snps;
         first += ROWS_IN_MEMORY - block_snps + n_inside) {
        double const start = seconds();
        bed.read(first, rows.data(), ROWS_IN_MEMORY);
        s.reading += seconds() - start;
        std::vector<std::vector<scan::genotype_row>> blocks;
        for (unsigned snp = 0; snp + block_snps <= ROWS_IN_MEMORY; snp += n_inside) {
            blocks.emplace_back();
            for (unsigned l = 0; l < block_snps; ++l)
                blocks.back().push_back(rows.data() + (snp + l) * bed.row_bytes());
            bool const is_last = snp + n_inside + block_snps > ROWS_IN_MEMORY;
            if (blocks.size() < scan::block_counter::MAX_BLOCKS && !is_last) continue;
            double const before = seconds();
            counter.count(blocks);
            double const counted = seconds();
            for (std::size_t b = 0; b < blocks.size(); ++b)
                for (unsigned w = 0; w < n_inside; ++w) {
                    counter.make_window(b, w, WINDOW_SNPS, WINDOW_SNPS / 2, table);
                    ++s.n_windows;
                    s.n_genotypes += table.genotypes.size();
                }
            s.counting += counted - before;
            s.windows += seconds() - counted;
            blocks.clear();
        }
    }
    return s;
}

void print(char const* stage, double seconds, std::size_t n_windows, std::uint32_t n) {
    double const each = seconds / static_cast<double>(n_windows);
    std::printf("%s\t%.2f\t%.3f\n", stage, 1e6 * each, 1e9 * each / n);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "scan_stages BED SUBJECTS SNPS COVARIATES\n");
        return 1;
    }
    auto const n = static_cast<std::uint32_t>(std::atoi(argv[2])),
               n_snps = static_cast<std::uint32_t>(std::atoi(argv[3]));
    try {
        scan::bed_file const bed(argv[1], n_snps, n);
        scan::null_model const model = make_model(n, std::atoi(argv[4]));
        std::vector<std::uint32_t> sample(n);
        for (std::uint32_t i = 0; i < n; ++i)
            sample[i] = i;
        stages const s = scan_all(bed, n_snps, model, sample);
        print("reading", s.reading, s.n_windows, n);
        print("counting", s.counting, s.n_windows, n);
        print("windows", s.windows, s.n_windows, n);
        std::printf("genotypes\t%.1f\n",
                    static_cast<double>(s.n_genotypes) / static_cast<double>(s.n_windows));
    } catch (scan::failure const& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return e.status;
    }
    return 0;
}
