// Lower bound of this machine for reading a file: floors FILE. Prints the seconds, a median, of
// reading the file into new memory with read(2) and adding up its digits.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
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

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: floors FILE\n");
        return 2;
    }
    std::vector<double> sweeps;
    for (int run = 0; run < 5; ++run)
        sweeps.push_back(sweep_seconds(argv[1]));
    std::printf("%.6f\n", median(sweeps));
    return 0;
}
