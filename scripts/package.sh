#!/bin/sh
# Makes a package for Debian and its relatives, out/quilmar_VERSION_ARCHITECTURE.deb.
set -eu
cd "$(dirname "$0")/.."
. scripts/packages.sh
need_packages cmake dpkg-dev g++ make $scan_packages

cmake --preset release -DQUILMAR_TESTS=OFF -DQUILMAR_BENCH=OFF
cmake --build --preset release -j "$(nproc)"
cpack --config build/release/CPackConfig.cmake -B out
rm -r out/_CPack_Packages
