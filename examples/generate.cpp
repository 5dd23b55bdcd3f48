// Writes the data of an example to the standard output: generate NAME SEED.
#include "examples/simulation.h"

#include <cstdlib>
#include <cstring>
#include <iostream>

int main(int argc, char** argv) {
    if (argc != 3 || std::strcmp(argv[1], "two_genes") != 0) {
        std::cerr << "usage: generate two_genes SEED\n";
        return 2;
    }
    std::cout << simulate(two_genes(), std::strtoull(argv[2], nullptr, 10));
    return 0;
}
