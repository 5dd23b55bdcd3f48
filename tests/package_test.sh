#!/bin/sh
# Makes the package of a build, unpacks it and runs what it holds: package_test.sh BUILD.
set -eu
build=$(cd "$1" && pwd)
tests=$(cd "$(dirname "$0")" && pwd)
place=$(mktemp -d)
trap 'rm -r "$place"' EXIT
cd "$place"
fail() { echo "$*"; exit 1; }

cpack --config "$build/CPackConfig.cmake" -B . >log || fail "$(cat log)"
package=$(ls quilmar_*.deb)
dpkg-deb -x "$package" root
dpkg-deb -f "$package"
dpkg-deb -f "$package" Depends | grep -q 'libc6.*' || fail "no dependencies"
dpkg-deb -f "$package" Recommends | grep -q python3-matplotlib || fail "no recommendation for the pictures"
! dpkg-deb -c "$package" | grep -v share/quilmar/quilmar_tables |
    grep -E 'CMakeLists|\.(cpp|h|py)$|__pycache__|/home|/tmp' || fail "files that are not for users"

docs=$PWD/root/usr/share/doc/quilmar
programs=$(ls root/usr/bin)
echo "programs: $programs"
PATH=$PWD/root/usr/bin:$PATH
for program in $programs; do
    $program --help >help || fail "$program --help"
    [ -s help ] || fail "$program --help prints nothing"
    page=root/usr/share/man/man1/$program.1
    [ -z "$(groff -man -ww -z "$page" 2>&1)" ] || fail "$page: $(groff -man -ww -z "$page" 2>&1)"
    grep -q "^.SH EXAMPLES" "$page" || fail "$page has no examples"
done
for program in $programs; do
    bash -n root/usr/share/bash-completion/completions/$program || fail "completion of $program"
done
"$tests/links.py" "$docs" || fail "links of the installed documents"

quilmar "$docs/examples/two_genes.txt" "$docs/examples/two_genes.spec" 2>said || [ $? = 1 ] || fail "quilmar"
[ "$(grep -c 'Status: Success.' two_genes.txt.out)" = 2 ] || fail "no report: $(cat said)"
study=$docs/examples/scan
quilmar-scan --bfile "$study/study" --pheno "$study/pheno.txt" --covar "$study/covar.txt" \
    --covar-name age,PC1 --quiet --out t || fail "quilmar-scan"
[ "$(wc -l <t.win.tsv)" = 593 ] || fail "the scan's table"
quilmar-plot manhattan t.win.tsv -o t.svg || fail "quilmar-plot"
[ "$(quilmar-table two_genes.txt.out | grep -c '^| Gene')" = 3 ] || fail "quilmar-table"
