#!/bin/sh
# Builds the programs, analyses the example data and shows the best windows and the report.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages cmake g++ make $scan_packages $plot_packages

echo "Building the programs, which takes some minutes the first time."
cmake --preset release -DQUILMAR_TESTS=OFF
cmake --build --preset release -j "$(nproc)" --target quilmar quilmar-scan
mkdir -p out
study=examples/scan
build/release/quilmar-scan --bfile $study/study --pheno $study/pheno.txt --pheno-name T2D \
    --covar $study/covar.txt --covar-name age,sex,PC1-PC4 --window 5 --out out/t2d
echo "
The best windows (out/t2d.win.tsv):"
awk -F '\t' '
    function row(k, text) {
        for (k = 1; k <= 8; ++k) text = text sprintf("%-" width[k] "s", $place[shown[k]])
        return text
    }
    NR == 1 {
        split("CHROM POS END WINDOW P TOP_HAP TOP_FREQ TOP_P_BONF", shown, " ")
        split("7 10 10 8 13 9 10 10", width, " ")
        for (k = 1; k <= NF; ++k) place[$k] = k
        print row()
        fflush()
        next
    }
    $place["P"] != "NA" { print row() | "LC_ALL=C sort -g -k 5,5 | head -n 5" }' out/t2d.win.tsv
cat <<END
Look at P first, beside the Bonferroni level above. TOP_HAP is the haplotype of the window with the
smallest p-value, TOP_P_BONF that p-value times the number of haplotypes tested. Windows side by side
share SNPs, and so a signal. out/t2d.effects.tsv has odds ratios.

The report of two genes (out/two_genes.txt.out):
END
# The run ends with status 1 once it has gone through its files.
build/release/quilmar examples/two_genes.txt examples/two_genes.spec -o out || [ $? = 1 ]
cat out/two_genes.txt.out
