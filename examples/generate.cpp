// Writes the data of an example to the standard output: generate NAME SEED.
#include "examples/simulation.h"

#include <cstdlib>
#include <iostream>
#include <map>

int main(int argc, char** argv) {
    std::map<std::string, simulation (*)()> const examples = {
        {"two_genes", two_genes}, {"inbred", inbred}, {"exposed", exposed}};
    auto const example = examples.find(argc == 3 ? argv[1] : "");
    if (example == examples.end()) {
        std::cerr << "usage: generate two_genes|inbred|exposed SEED\n";
        return 2;
    }
    std::cout << simulate(example->second(), std::strtoull(argv[2], nullptr, 10));
    return 0;
}
