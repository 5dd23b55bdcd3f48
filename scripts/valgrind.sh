#!/bin/sh
# Runs quilmar's tests and the examples of both programs of the release build under valgrind; any finding is a failure.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages valgrind

check="valgrind -q --trace-children=yes --leak-check=full --error-exitcode=99"
# Valgrind computes long double in 64 bits, which some tests notice: tails, ranges, and singular
# fits. It needs descriptors and memory of its own where the fault tests take them away.
$check build/release/tests/quilmar_tests --gtest_brief=1 \
    --gtest_filter=-cdfchi.*:dcdflib.*:error_measures.*:run.environment:stress.runs:fault.*:memory.*
mkdir -p out
$check build/release/quilmar examples/two_genes.txt examples/two_genes.spec -o out || [ $? = 1 ]
$check build/release/quilmar-scan --bfile examples/scan/study --pheno examples/scan/pheno.txt \
    --covar examples/scan/covar.txt --chr 22 --maf 0.05 --quiet --out out/valgrind
