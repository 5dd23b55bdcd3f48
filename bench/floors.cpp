// Lower bounds of this machine for parts of the program's work: floors FILE. Prints a name and a
// number per line.
//
//   sweep_seconds   reading the file into memory with read(2) and adding up its digits
//   pair_ns         per visited pair: gathering a sum over a list of pairs of positions, and
//                   scattering it back
//   exp_ns          per call of exp
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

double now() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Results end here, so that no loop is optimised away.
volatile double sink;

double median(std::vector<double> seconds) {
    std::nth_element(seconds.begin(), seconds.begin() + seconds.size() / 2, seconds.end());
    return seconds[seconds.size() / 2];
}

double sweep_seconds(char const* path) {
    double const start = now();
    int const file = open(path, O_RDONLY);
    struct stat status;
    if (file < 0 || fstat(file, &status) < 0) std::exit(1);
    std::size_t const size = static_cast<std::size_t>(status.st_size);
    std::unique_ptr<char[]> const text(new char[size]);
    for (std::size_t done = 0; done < size;) {
        ssize_t const got = read(file, text.get() + done, size - done);
        if (got <= 0) std::exit(1);
        done += static_cast<std::size_t>(got);
    }
    close(file);
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < size; ++i) {
        unsigned const digit = static_cast<unsigned>(text[i]) - '0';
        if (digit < 10) sum += digit;
    }
    sink = static_cast<double>(sum);
    return now() - start;
}

// 64 pairs of 4,096 frequencies per genotype, 16,384 genotypes: the sizes of 12 SNPs.
double pair_ns() {
    constexpr std::size_t haplotypes = 4096, genotypes = 16384, per_genotype = 64;
    struct pair {
        unsigned i, j;
    };
    std::mt19937 random(1);
    std::vector<pair> pairs(genotypes * per_genotype);
    for (pair& p : pairs)
        p = {static_cast<unsigned>(random() % haplotypes),
             static_cast<unsigned>(random() % haplotypes)};
    std::vector<double> frequencies(haplotypes, 1.0 / haplotypes), sums(haplotypes);
    double const start = now();
    for (std::size_t g = 0; g < genotypes; ++g) {
        pair const* const first = pairs.data() + g * per_genotype;
        pair const* const last = first + per_genotype;
        double s = 0;
        for (pair const* p = first; p != last; ++p)
            s += frequencies[p->i] * frequencies[p->j];
        double const w = 1 / s;
        for (pair const* p = first; p != last; ++p) {
            sums[p->i] += w * frequencies[p->j];
            sums[p->j] += w * frequencies[p->i];
        }
    }
    double const seconds = now() - start;
    sink = sums[0];
    return 1e9 * seconds / static_cast<double>(pairs.size());
}

// 100,000 subjects times 32 classes of pairs.
double exp_ns() {
    constexpr std::size_t subjects = 100000, classes = 32;
    std::vector<double> covariate(subjects);
    for (std::size_t s = 0; s < subjects; ++s)
        covariate[s] = static_cast<double>(s) / subjects;
    double sum = 0;
    double const start = now();
    for (double const x : covariate)
        for (std::size_t c = 0; c < classes; ++c)
            sum += std::exp(0.1 * static_cast<double>(c) * x);
    double const seconds = now() - start;
    sink = sum;
    return 1e9 * seconds / static_cast<double>(subjects * classes);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: floors FILE\n");
        return 2;
    }
    std::vector<double> sweeps, pairs, exps;
    for (int run = 0; run < 5; ++run) {
        sweeps.push_back(sweep_seconds(argv[1]));
        pairs.push_back(pair_ns());
        exps.push_back(exp_ns());
    }
    std::printf("sweep_seconds %.6f\npair_ns %.3f\nexp_ns %.3f\n", median(sweeps), median(pairs),
                median(exps));
    return 0;
}
