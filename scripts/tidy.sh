#!/usr/bin/env bash
# Runs clang-tidy with the checks of .clang-tidy (bugprone and the static
# analyser) over the library, the encoder and the tool, with the compile
# commands of a build it configures in build/tidy; any finding fails the run.
# The NEON files are left out on a machine that does not build them.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build tests tool tidy
cmake -S . -B build/tidy -DCMAKE_EXPORT_COMPILE_COMMANDS=ON -DVELTRANE_BUILD_BENCH=OFF \
  -DVELTRANE_BUILD_PEER_BENCH=OFF >/dev/null
cmake --build build/tidy -j"${JOBS:-$(nproc)}" --target veltrane_cli >/dev/null  # generated headers
git ls-files -z 'src/*.cpp' 'encoder/*.cpp' 'tools/*.cpp' | grep -zv '/arm/' |
  xargs -0 -P "${JOBS:-$(nproc)}" -n 4 clang-tidy -p build/tidy --quiet
echo "clang-tidy: no findings"
