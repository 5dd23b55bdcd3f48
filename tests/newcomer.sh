#!/bin/sh
# README's way from a clone to a picture and a report: clones the repository, runs the commands of that
# section as they stand there and none other, and looks at what they leave.
set -eu
source_folder=$(cd "$(dirname "$0")/.." && pwd)
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
git clone -q "$source_folder" "$place/clone"
cd "$place/clone"
fail() { echo "$*" >&2; exit 1; }

sed -n '/^## From a clone/,/^## [^F]/s/^    //p' README.md >../commands
[ "$(grep -c '^quilmar' ../commands)" = 6 ] || fail "README: other commands than expected: $(cat ../commands)"
bash -euo pipefail ../commands >../said 2>&1 || fail "$(cat ../said)"
cd out/study
grep -q '<svg' t2d.svg && grep -q '22:30453000\|448' t2d.svg || fail "no Manhattan plot"
grep -q '>2.61 (1.82-3.75)<' forest.svg || fail "no odds ratios"
[ "$(grep -c '^Status: Success.' best.txt.out)" = 2 ] || fail "no report of the best window"
# The table of the page is the one that was printed.
grep '^| Gene 1 |' ../../README.md | while read -r row; do
    grep -qF "$row" ../../../said || fail "README shows $row"
done
echo "from a clone to a picture and a report"
