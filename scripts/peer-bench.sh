#!/usr/bin/env bash
# The peer benchmark from nothing: installs the peer libraries, mpeg2enc and the
# photo the content is filmed from, builds the default RelWithDebInfo build,
# makes the natural sequences and the matched-bytes streams in the build tree,
# runs the comparisons and prints the tables.
#
#   scripts/peer-bench.sh [--quick] [BENCHMARK OPTIONS]
#
# --quick: short QCIF streams and 3 rounds, a smoke check of a few seconds.
# Other options go to veltrane_peer_bench (e.g. --rounds 31).
set -euo pipefail
cd "$(dirname "$0")/.."

quick=0
options=()
for arg in "$@"; do
  if [[ $arg == --quick ]]; then quick=1; options+=(--quick); else options+=("$arg"); fi
done

# The peer libraries are for comparison only: nothing but this benchmark links
# them. The photo comes from plasma-workspace-wallpapers (GPL-2+).
scripts/install-deps.sh build tool peer

build=build/release
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELTRANE_BUILD_TOOLS=ON \
  -DVELTRANE_BUILD_PEER_BENCH=ON >/dev/null
cmake --build "$build" -j"$(nproc)" --target veltrane_tool veltrane_make_sequence veltrane_peer_bench

content=$build/peer-content
((quick)) && content=$build/peer-content-quick
streams=$content/streams.txt
# The content is made again when anything that makes it is newer than it.
stale=0
[[ -f $streams ]] || stale=1
for maker in bench/peer/make_streams.sh "$build/tools/veltrane" \
             "$build/bench/peer/veltrane_make_sequence"; do
  [[ $stale == 1 || $maker -nt $streams ]] && stale=1
done
if ((stale)); then
  if ((quick)); then
    bench/peer/make_streams.sh "$build" "$content" --quick
  else
    bench/peer/make_streams.sh "$build" "$content"
  fi
fi
"$build/bench/peer/veltrane_peer_bench" "$streams" "${options[@]}"
