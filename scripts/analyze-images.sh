#!/usr/bin/env bash
# Makes the two pictures of the README's analyze section from the bundled
# sample: docs/analyze-overlay.png (the overlay of frame 4) and
# docs/analyze-report.png (the report in headless Chromium, frame 4 clicked).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/release -j"$(nproc)" --target veltrane_tool veltrane_test_pattern_y4m
tools=build/release/tools
out=build/release/analyze-images
mkdir -p "$out" docs
"$tools"/veltrane_test_pattern_y4m 176x144:75 "$out/source.y4m"
"$tools"/veltrane analyze samples/testsrc.ivf --frames 5 -o "$out/overlay%02d.png"
cp "$out/overlay04.png" docs/analyze-overlay.png
"$tools"/veltrane analyze samples/testsrc.ivf --report "$out/report.html" --source "$out/source.y4m"
bash tests/tools/run_browser_test.sh --sample "$out/report.html" --screenshot docs/analyze-report.png \
  --screenshot-frame 4 --window 1100,1110
ls -l docs/analyze-overlay.png docs/analyze-report.png
