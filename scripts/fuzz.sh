#!/usr/bin/env bash
# Builds the libFuzzer target with clang (ASan + UBSan) and fuzzes the decoder.
# Usage: scripts/fuzz.sh [SECONDS]   (default 60)
# Environment: VELTRANE_FUZZ_BUILD_DIR (default build/fuzz), JOBS (default 2).
# New inputs collect in $dir/fuzz-corpus; crash reproducers land in $dir/artifacts/.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
dir=${VELTRANE_FUZZ_BUILD_DIR:-build/fuzz}
cmake -S . -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
  -DVELTRANE_BUILD_FUZZ=ON -DVELTRANE_SANITIZE=ON \
  -DVELTRANE_BUILD_BENCH=OFF -DVELTRANE_BUILD_TOOLS=OFF >/dev/null
cmake --build "$dir" -j"${JOBS:-2}" --target veltrane_fuzz_decode
mkdir -p "$dir/fuzz-corpus" "$dir/artifacts"
"$dir/tests/veltrane_fuzz_decode" -max_total_time="$seconds" -max_len=16384 \
  -artifact_prefix="$dir/artifacts/" "$dir/fuzz-corpus" tests/fuzz/corpus
