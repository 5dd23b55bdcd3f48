#!/bin/sh
# Builds the programs and their tests and runs them: test.sh [release | debug]. The debug build runs under
# AddressSanitizer and UndefinedBehaviorSanitizer.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages cmake g++ make libgtest-dev $scan_packages

preset=${1:-release}
cmake --preset "$preset" -DQUILMAR_TESTS=ON
cmake --build --preset "$preset" -j "$(nproc)"
ctest --preset "$preset" -j "$(nproc)"
