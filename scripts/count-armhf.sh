#!/usr/bin/env bash
# Instructions executed per decoded picture on armhf, counted by a qemu TCG
# plugin (bench/instructions/insn_count.c), for the C kernels and the NEON
# kernels, decode alone and decode + BGRA, on natural CIF content: a camera pan
# across a photograph from Debian's mate-backgrounds package, encoded by the
# reference encoder at about 0.05 and 0.2 bits per pixel.
#
# The fixed cost (loading, reading the file, opening the session) is taken out
# by counting runs of FIRST and LAST pictures: per picture = difference / (LAST -
# FIRST). FIRST and LAST are multiples of the intra period, so the pictures
# counted are whole groups of one intra and eleven inter pictures.
#
# The program is linked statically, so that the C library's functions are
# counted under their own names in the profile.
#
# Usage: scripts/count-armhf.sh [--profile]   (--profile adds the 25 busiest
# functions of each NEON run)
set -euo pipefail
cd "$(dirname "$0")/.."
profile=0
[[ "${1:-}" == "--profile" ]] && profile=1

scripts/install-deps.sh build tool armhf count

jobs=$(nproc)
((jobs > 2)) && jobs=2
work=build/count
mkdir -p "$work"
first=12
last=36
gop=12

# The photograph: fetched as a package file, not installed.
photo=$work/Garden.jpg
if [[ ! -f $photo ]]; then
  sudo=""; [[ $(id -u) -eq 0 ]] || sudo=sudo
  (cd "$work" && { apt-get download mate-backgrounds >/dev/null 2>&1 ||
                   { $sudo apt-get update -qq && apt-get download mate-backgrounds >/dev/null; }; })
  dpkg-deb --fsys-tarfile "$work"/mate-backgrounds_*.deb |
    tar -xO ./usr/share/backgrounds/mate/nature/Garden.jpg >"$photo"
fi

echo "== host programs: encoder tool, sequence maker, counting plugin"
cmake -S . -B "$work/native" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELTRANE_BUILD_TESTS=OFF \
  -DVELTRANE_BUILD_BENCH=OFF >/dev/null
cmake --build "$work/native" -j"$jobs" --target veltrane_tool >/dev/null
c++ -std=c++20 -O2 -Wall -Wextra -Werror -o "$work/pan_sequence" bench/instructions/pan_sequence.cpp
cc -shared -fPIC -O2 -Wall -Wextra -Werror -o "$work/insn_count.so" bench/instructions/insn_count.c

echo "== natural CIF streams"
djpeg -scale 1/4 -pnm "$photo" >"$work/photo.ppm"
"$work/pan_sequence" "$work/photo.ppm" 352 288 "$last" "$work/natural.y4m"
# 0.05 and 0.2 bits per pixel at 25 pictures per second.
for rate in 127000 507000; do
  "$work/native/tools/veltrane" encode "$work/natural.y4m" -o "$work/natural-$rate.ivf" \
    --bitrate "$rate" --gop "$gop" | tail -1
done

echo "== armhf builds: C kernels and NEON kernels"
toolchain=cmake/toolchains/armhf-linux-clang.cmake
common=(-DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=RelWithDebInfo
        -DVELTRANE_BUILD_TOOLS=OFF -DVELTRANE_BUILD_BENCH=OFF -DVELTRANE_BUILD_TESTS=OFF
        -DCMAKE_EXE_LINKER_FLAGS=-static)
cmake --no-warn-unused-cli -S . -B "$work/armhf-c" "${common[@]}" -DVELTRANE_SIMD=OFF >/dev/null
cmake --no-warn-unused-cli -S . -B "$work/armhf-neon" "${common[@]}" >/dev/null
for variant in c neon; do
  cmake --build "$work/armhf-$variant" -j"$jobs" --target veltrane_decode_frames >/dev/null
done

count() {  # variant, frames, stream, extra options...
  local variant=$1 frames=$2 stream=$3; shift 3
  local options="out=$work/count.txt"
  qemu-arm -L /usr/arm-linux-gnueabihf -plugin "$work/insn_count.so,$options" \
    "$work/armhf-$variant/bench/instructions/veltrane_decode_frames" --frames "$frames" "$@" \
    "$stream" >/dev/null
  sed -n 's/^instructions: //p' "$work/count.txt"
}

percent() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.1f%%", 100 * a / b }'; }
declare -A cost
echo "== instructions per picture (pictures $((first + 1)) to $last)"
printf "%-22s %-12s %12s %12s %7s\n" stream work C NEON NEON/C
for rate in 127000 507000; do
  stream=$work/natural-$rate.ivf
  for mode in decode bgra; do
    options=()
    [[ $mode == bgra ]] && options=(--bgra)
    for variant in c neon; do
      low=$(count "$variant" "$first" "$stream" "${options[@]}")
      high=$(count "$variant" "$last" "$stream" "${options[@]}")
      cost[$mode-$variant]=$(( (high - low) / (last - first) ))
    done
    printf "%-22s %-12s %12d %12d %7s\n" "$(basename "$stream")" \
      "$([[ $mode == bgra ]] && echo 'decode+BGRA' || echo decode)" "${cost[$mode-c]}" \
      "${cost[$mode-neon]}" "$(percent "${cost[$mode-neon]}" "${cost[$mode-c]}")"
  done
  c=$(( cost[bgra-c] - cost[decode-c] ))
  neon=$(( cost[bgra-neon] - cost[decode-neon] ))
  printf "%-22s %-12s %12d %12d %7s\n" "$(basename "$stream")" "BGRA alone" "$c" "$neon" \
    "$(percent "$neon" "$c")"
done

if ((profile)); then
  for rate in 127000 507000; do
    for mode in "" --bgra; do
      echo "== busiest functions, NEON, natural-$rate.ivf ${mode:-decode}, $last pictures"
      qemu-arm -L /usr/arm-linux-gnueabihf -plugin "$work/insn_count.so,symbols=25,out=$work/profile.txt" \
        "$work/armhf-neon/bench/instructions/veltrane_decode_frames" --frames "$last" $mode \
        "$work/natural-$rate.ivf" >/dev/null
      cat "$work/profile.txt"
    done
  done
fi
