#!/bin/bash
# What bash completes for the programs, beside their own --help: completion_test.sh FOLDER, which holds
# those that are built.
set -eu
source_folder=$(cd "$(dirname "$0")/.." && pwd)
PATH=$(cd "$1" && pwd):$source_folder/plot:$PATH
. "$source_folder/completion/quilmar"
. "$source_folder/completion/quilmar-scan"
. "$source_folder/completion/quilmar-plot"
place=$(mktemp -d)
trap 'rm -r "$place"' EXIT
cd "$place"
mkdir folder
touch "study one.bed" study.bim notes.txt
echo "FID IID T2D" >pheno
printf '#IID,age,sex\r\n' | gzip >covar
printf 'IID\tPC1\tPC2\n' >pcs
n_failed=0

# Completions of the last word, a line each and in order, beside what is expected.
expect() {
    local wanted=$1
    shift
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    "$(complete -p "$1" | sed 's/.*-F \([^ ]*\) .*/\1/')" || true # compopt fails outside of a completion
    local found
    found=$(printf '%s\n' "${COMPREPLY[@]}" | sort)
    [ "$found" = "$(sort <<<"$wanted")" ] && return
    n_failed=$((n_failed + 1))
    printf '%s\nfound:\n%s\nwanted:\n%s\n' "$*" "$found" "$wanted"
}

# The last lines of quilmar-scan's help are an example.
options=$(quilmar-scan --help | grep -v '^Example' | grep -oE '^ +(-.,)?--[a-z0-9-]+' | grep -oE -- '--.*')
expect "$options" quilmar-scan --
expect "$(printf -- '--bed\n--bfile\n--bim')" quilmar-scan --allow-no-covars --b
# An option whose value is a file or a prefix completes files, one of a list of words these, others nothing.
while read -r option kind; do
    case $option:$kind in
    --bfile:*) expect $'folder\nstudy one' quilmar-scan "$option" "" ;;
    *:FILE* | *:PREFIX*) expect "notes.txt" quilmar-scan "$option" no ;;
    *{*) expect "$(grep -oE '[A-Za-z]+' <<<"${kind#*:}")" quilmar-scan "$option" "" ;;
    *) expect "" quilmar-scan "$option" "" ;;
    esac
done < <(quilmar-scan --help | grep -oE '^  (-.,)?--[a-z0-9-]+ [A-Z]+(:\{[A-Za-z,]+\})?' | sed -E 's/^ +(-.,)?//')
expect "study.bim" quilmar-scan --bim = study.
expect "notes.txt" quilmar-scan -R no
expect "T2D" quilmar-scan --pheno pheno --pheno-name ""
expect $'PC1\nPC2\nage\nsex' quilmar-scan --covar covar pcs --pheno pheno --interaction ""
expect $'age,PC1\nage,PC2' quilmar-scan --covar = covar --covar pcs --covar-name age,P
expect "sex" quilmar-scan --covar covar --covar-category age s
expect "notes.txt" quilmar-scan --covar covar no
expect "--quiet" quilmar-scan --covar covar --q
expect "--quiet" quilmar-scan --dry-run --q

expect "$(printf '%s\n' $(quilmar --help | grep -oE -- ' (-[a-z]|--[a-z-]+)' | sort -u) --help)" quilmar x y -
expect "HWD"$'\n'"HWE" quilmar x y -h ""
expect "recessive" quilmar x y --model = r
expect "folder" quilmar x y -o ""
expect "notes.txt" quilmar n
if python3 -c 'import matplotlib, scipy' 2>/dev/null; then
    expect "manhattan" quilmar-plot m
    expect "--out" quilmar-plot region x.tsv --o
    expect "notes.txt" quilmar-plot qq x.tsv -o no
    expect "notes.txt" quilmar-plot forest no
    expect $'csv\nlatex\nmarkdown' quilmar-table --format ""
    expect "notes.txt" quilmar-table x.out no
    expect $'--format\n--hap\n--help\n--out' quilmar-table --
fi
# The values are those that the program takes.
for value in HWE HWD; do quilmar nothing nothing -h $value 2>&1 | grep -q "invalid" && n_failed=$((n_failed + 1)); done
for value in additive recessive dominant codominant; do
    quilmar nothing nothing -m $value 2>&1 | grep -q "invalid" && n_failed=$((n_failed + 1))
done
echo "$n_failed wrong completions"
[ "$n_failed" = 0 ]
