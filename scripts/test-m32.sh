#!/usr/bin/env bash
# Builds the library and its unit tests for 32-bit x86 with clang -m32, where
# every record has the layout of the 32-bit target, and runs the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build tests m32
dir=build/m32
# Debian's kernel headers for x86 serve both word sizes, but only gcc-multilib
# (which conflicts with the ARM cross compilers) links them as <asm/...>; a
# private link does the same for this build alone.
mkdir -p "$dir/include"
ln -sfn /usr/include/x86_64-linux-gnu/asm "$dir/include/asm"
flags="-m32 -isystem $PWD/$dir/include"
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
  -DVELTRANE_BUILD_TESTS=ON -DVELTRANE_BUILD_TOOLS=OFF -DVELTRANE_BUILD_BENCH=OFF \
  -DVELTRANE_GTEST_SOURCE_DIR=/usr/src/googletest
cmake --build "$dir" -j"${JOBS:-$(nproc)}"
ctest --test-dir "$dir" --output-on-failure -j"${JOBS:-$(nproc)}"
