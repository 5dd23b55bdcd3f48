#!/bin/sh
# README's way from a clone, which this is, to a picture and a report: runs the commands of that section
# as they stand there and none other, and looks at what they leave in out/study.
set -eu
cd "$(dirname "$0")/.."
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
rm -rf out/study
fail() { echo "$*" >&2; exit 1; }

sed -n '/^## From a clone/,/^## [^F]/s/^    //p' README.md >"$place/commands"
[ "$(grep -c '^quilmar' "$place/commands")" = 6 ] || fail "README: other commands than expected: $(cat "$place/commands")"
bash -euo pipefail "$place/commands" >"$place/said" 2>&1 || fail "$(cat "$place/said")"
# The best windows, the very best first, in columns that line up.
[ "$(awk '/^CHROM  / { n = 6 } n-- > 0 { print NF, index($0, $6), $4, $5 }' "$place/said" | head -n 2)" = "\
8 49 WINDOW P
8 49 448 2.54857e-06" ] || fail "other best windows: $(grep -A 5 '^CHROM  ' "$place/said")"
cd out/study
grep -q '<svg' t2d.svg && grep -q '22:30453000\|448' t2d.svg || fail "no Manhattan plot"
grep -q '>2.61 (1.82-3.75)<' forest.svg || fail "no odds ratios"
[ "$(grep -c '^Status: Success.' best.txt.out)" = 2 ] || fail "no report of the best window"
# The table of the page is the one that was printed.
grep '^| Gene 1 |' ../../README.md | while read -r row; do
    grep -qF "$row" "$place/said" || fail "README shows $row"
done
echo "from a clone to a picture and a report"
