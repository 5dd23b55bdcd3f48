#!/bin/sh
# Builds the programs and their tests and runs them: test.sh [release | clang | fuzz | tsan]. The fuzz
# build, by clang, runs under AddressSanitizer and UndefinedBehaviorSanitizer, tsan under
# ThreadSanitizer with the tests that have "threads" in their names.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
preset=${1:-release}
case $preset in
clang) compiler=clang ;;
fuzz) compiler="clang libclang-rt-dev" ;;
*) compiler=g++ ;;
esac
need_packages cmake $compiler make bash dpkg-dev groff-base libgtest-dev python3 python3-numpy \
    $scan_packages $plot_packages

echo "Building the programs and their tests, which takes minutes the first time, then running them."
cmake --preset "$preset" -DQUILMAR_TESTS=ON
cmake --build --preset "$preset" -j "$(nproc)"
ctest --preset "$preset" -j "$(nproc)"
