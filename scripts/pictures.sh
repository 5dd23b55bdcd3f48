#!/bin/sh
# Scans the example study and draws what it found: pictures.sh [folder for the pictures]. Those of the
# manuals lie in docs.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages cmake g++ make $scan_packages $plot_packages

folder=${1:-out}
cmake --preset release -DQUILMAR_TESTS=OFF
cmake --build --preset release -j "$(nproc)" --target quilmar-scan
mkdir -p out "$folder"
study=examples/scan
build/release/quilmar-scan --bfile $study/study --pheno $study/pheno.txt --pheno-name T2D \
    --covar $study/covar.txt --covar-name age,sex,PC1-PC4 --window 5 --quiet --out out/t2d
plot/quilmar-plot manhattan out/t2d.win.tsv -o "$folder/manhattan.svg"
plot/quilmar-plot qq out/t2d.win.tsv -o "$folder/qq.svg"
plot/quilmar-plot region out/t2d.win.tsv --hap out/t2d.hap.tsv -o "$folder/region.svg"
plot/quilmar-plot forest out/t2d.effects.tsv --hap out/t2d.hap.tsv -o "$folder/forest.svg"
