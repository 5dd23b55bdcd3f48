#!/bin/sh
# Builds the program, analyses the example data and shows the report.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages cmake g++ make

cmake --preset release -DQUILMAR_TESTS=OFF
cmake --build --preset release -j "$(nproc)" --target quilmar
mkdir -p out
# The run ends with status 1 once it has gone through its files.
build/release/quilmar examples/two_genes.txt examples/two_genes.spec -o out || [ $? = 1 ]
cat out/two_genes.txt.out
