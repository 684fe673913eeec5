#!/usr/bin/env bash
# Builds the library and its unit tests for 32-bit x86 (-m32), where every record
# has the layout of the 32-bit target, and runs the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
VELTRANE_M32=1 scripts/install-deps.sh
cmake -S . -B build/m32 -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_FLAGS=-m32 -DCMAKE_CXX_FLAGS=-m32 \
  -DVELTRANE_BUILD_TOOLS=OFF -DVELTRANE_BUILD_BENCH=OFF \
  -DVELTRANE_GTEST_SOURCE_DIR=/usr/src/googletest >/dev/null
cmake --build build/m32 -j"$(nproc)"
ctest --test-dir build/m32 --output-on-failure -j"$(nproc)"
