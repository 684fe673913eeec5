#!/usr/bin/env bash
# Builds the library and the veltrane tool (no tests, no benchmarks) and
# decodes the bundled sample to PNG pictures and a Y4M file.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build tool
cmake -S . -B build/demo -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVELTRANE_BUILD_TESTS=OFF -DVELTRANE_BUILD_BENCH=OFF -DVELTRANE_BUILD_TOOLS=ON >/dev/null
cmake --build build/demo -j"${JOBS:-$(nproc)}" --target veltrane_tool
tool=build/demo/tools/veltrane
mkdir -p out
"$tool" info samples/testsrc.ivf > out/info.txt
head -n 6 out/info.txt
"$tool" decode samples/testsrc.ivf -o out/sample.y4m
"$tool" decode samples/testsrc.ivf -o 'out/frame%04d.png'
echo "pictures written to out/sample.y4m and out/frame*.png"
