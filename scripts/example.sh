#!/bin/sh
# Builds the programs, analyses the example data and shows the best windows and the report.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages cmake g++ make $scan_packages $plot_packages

cmake --preset release -DQUILMAR_TESTS=OFF
cmake --build --preset release -j "$(nproc)" --target quilmar quilmar-scan
mkdir -p out
study=examples/scan
build/release/quilmar-scan --bfile $study/study --pheno $study/pheno.txt --pheno-name T2D \
    --covar $study/covar.txt --covar-name age,sex,PC1-PC4 --window 5 --out out/t2d
sort -t "$(printf '\t')" -k 15,15g out/t2d.win.tsv | head -n 6
# The run ends with status 1 once it has gone through its files.
build/release/quilmar examples/two_genes.txt examples/two_genes.spec -o out || [ $? = 1 ]
cat out/two_genes.txt.out
