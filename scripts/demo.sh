#!/usr/bin/env bash
# Builds everything and decodes the bundled sample to PNG pictures and a Y4M file.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/release -j"$(nproc)" --target veltrane_tool
tool=build/release/tools/veltrane
mkdir -p out
"$tool" info samples/testsrc.ivf > out/info.txt
head -n 6 out/info.txt
"$tool" decode samples/testsrc.ivf -o out/sample.y4m
"$tool" decode samples/testsrc.ivf -o 'out/frame%04d.png'
echo "pictures written to out/sample.y4m and out/frame*.png"
