#!/usr/bin/env bash
# Builds the unit tests with ThreadSanitizer and runs the multi-threaded decoding test.
# Environment: VELTRANE_TSAN_BUILD_DIR (default build/tsan), JOBS (default 2).
set -euo pipefail
cd "$(dirname "$0")/.."
dir=${VELTRANE_TSAN_BUILD_DIR:-build/tsan}
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_CXX_FLAGS=-fsanitize=thread -DCMAKE_C_FLAGS=-fsanitize=thread \
  -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread -DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=thread \
  -DVELTRANE_BUILD_BENCH=OFF -DVELTRANE_BUILD_TOOLS=OFF >/dev/null
cmake --build "$dir" -j"${JOBS:-2}" --target veltrane_tests
TSAN_OPTIONS="halt_on_error=1 ${TSAN_OPTIONS:-}" "$dir/tests/veltrane_tests" \
  --gtest_filter='DecoderThreads.*'
