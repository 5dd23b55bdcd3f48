#!/bin/sh
# Builds the fuzz targets and runs each for some seconds: fuzz.sh [seconds]. An input that fails is
# left in build/fuzz.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages cmake make clang libclang-rt-dev $scan_packages

cmake --preset fuzz
cmake --build --preset fuzz -j "$(nproc)"
for seeds in tests/fuzz/corpus/*; do
    target=$(basename "$seeds")
    echo "fuzzing: $target"
    found=build/fuzz/corpus/$target
    mkdir -p "$found"
    # The program's own messages are not shown.
    build/fuzz/tests/fuzz/fuzz_"$target" -max_total_time="${1:-60}" -max_len=4096 -timeout=20 \
        -close_fd_mask=2 -verbosity=0 -print_final_stats=1 -artifact_prefix=build/fuzz/"$target"- \
        "$found" "$seeds"
done
