#!/usr/bin/env bash
# Builds and runs every test twice, in a normal build and an ASan+UBSan build,
# then runs the fuzz target for a fixed number of runs and the unit tests in a
# 32-bit build (VELTRANE_M32=0 leaves that one out).
set -euo pipefail
cd "$(dirname "$0")/.."
VELTRANE_M32=${VELTRANE_M32:-1} scripts/install-deps.sh
jobs=$(nproc)

run_build() {
  local dir=$1; shift
  cmake -S . -B "$dir" "$@" >/dev/null
  cmake --build "$dir" -j"$jobs"
  ctest --test-dir "$dir" --output-on-failure -j"$jobs"
}

echo "== normal build"
run_build build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "== sanitizer build (ASan+UBSan)"
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  run_build build/asan -DCMAKE_BUILD_TYPE=Debug -DVELTRANE_SANITIZE=ON -DVELTRANE_BUILD_BENCH=OFF
echo "== fuzzing the decoder (clang, ASan+UBSan, a fixed number of runs from the seeds)"
cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
  -DCMAKE_CXX_COMPILER=clang++ -DVELTRANE_BUILD_FUZZ=ON -DVELTRANE_SANITIZE=ON \
  -DVELTRANE_BUILD_BENCH=OFF -DVELTRANE_BUILD_TOOLS=OFF >/dev/null
cmake --build build/fuzz -j"$jobs" --target veltrane_fuzz_decode
ctest --test-dir build/fuzz -R fuzz_decode_corpus --output-on-failure
if [[ "${VELTRANE_M32:-1}" == 1 ]]; then
  echo "== 32-bit build"
  scripts/test-m32.sh
fi
