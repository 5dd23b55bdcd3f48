#!/bin/bash
# What bash completes for both programs, beside their own --help: completion_test.sh FOLDER, which holds
# the programs.
set -eu
source_folder=$(cd "$(dirname "$0")/.." && pwd)
PATH=$(cd "$1" && pwd):$PATH
. "$source_folder/completion/quilmar"
. "$source_folder/completion/quilmar-scan"
place=$(mktemp -d)
trap 'rm -r "$place"' EXIT
cd "$place"
mkdir folder
touch "study one.bed" study.bim notes.txt
n_failed=0

# Completions of the last word, a line each and in order, beside what is expected.
expect() {
    local wanted=$1
    shift
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    "_${1//-/_}" || true # compopt fails outside of a completion
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
    *{*) expect "$(grep -oE '[a-z]+' <<<"${kind#*:}")" quilmar-scan "$option" "" ;;
    *) expect "" quilmar-scan "$option" "" ;;
    esac
done < <(quilmar-scan --help | grep -oE '^  (-.,)?--[a-z0-9-]+ [A-Z]+(:\{[a-z,]+\})?' | sed -E 's/^ +(-.,)?//')
expect "study.bim" quilmar-scan --bim = study.
expect "notes.txt" quilmar-scan -R no
expect "--quiet" quilmar-scan --dry-run --q

expect "$(printf '%s\n' $(quilmar --help | grep -oE -- ' (-[a-z]|--[a-z-]+)' | sort -u) --help)" quilmar x y -
expect "HWD"$'\n'"HWE" quilmar x y -h ""
expect "recessive" quilmar x y --model = r
expect "folder" quilmar x y -o ""
expect "notes.txt" quilmar n
# The values are those that the program takes.
for value in HWE HWD; do quilmar nothing nothing -h $value 2>&1 | grep -q "invalid" && n_failed=$((n_failed + 1)); done
for value in additive recessive dominant codominant; do
    quilmar nothing nothing -m $value 2>&1 | grep -q "invalid" && n_failed=$((n_failed + 1))
done
echo "$n_failed wrong completions"
[ "$n_failed" = 0 ]
