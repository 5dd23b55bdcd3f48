// Writes the data of an example to the standard output: generate NAME SEED.
#include "examples/simulation.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv) {
    std::string const name = argc == 3 ? argv[1] : "";
    if (name != "two_genes" && name != "inbred") {
        std::cerr << "usage: generate two_genes|inbred SEED\n";
        return 2;
    }
    std::cout << simulate(name == "inbred" ? inbred() : two_genes(),
                          std::strtoull(argv[2], nullptr, 10));
    return 0;
}
