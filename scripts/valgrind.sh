#!/bin/sh
# Runs the examples of both programs of the release build under valgrind; any finding is a failure.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages valgrind

# The thread that waits for signals still lives at the end: its storage is only possibly lost.
check="valgrind -q --trace-children=yes --leak-check=full --show-leak-kinds=definite
    --errors-for-leak-kinds=definite --error-exitcode=99"
mkdir -p out
for example in two_genes inbred exposed; do
    $check build/release/quilmar examples/$example.txt examples/$example.spec -o out || [ $? = 1 ]
done
$check build/release/quilmar-scan --bfile examples/scan/study --pheno examples/scan/pheno.txt \
    --covar examples/scan/covar.txt --chr 22 --maf 0.05 --quiet --out out/valgrind
