#!/usr/bin/env bash
# Makes the peer benchmark's content: natural sequences filmed from a photo, each
# encoded by our reference encoder at about 0.05 and 0.2 bits per pixel and by
# mpeg2enc into an MPEG-2 elementary stream of the same size in bytes.
#
#   make_streams.sh BUILD_DIR OUT_DIR [--quick]
#
# BUILD_DIR holds the built veltrane tool and veltrane_make_sequence. OUT_DIR
# receives the Y4M sequences, the .ivf and .m2v streams and streams.txt, the
# list the benchmark reads: one line per stream pair,
#   name width height frames target_bpp ours.ivf theirs.m2v source.y4m
# --quick makes only short QCIF streams (for the smoke test).
#
# Both encoders use an intra picture every 15 and no B pictures (our format has
# none). Sizes match within 2 % where mpeg2enc can reach our size; on busy
# content it cannot go below a floor (its largest quantiser), and then our
# stream is made at the floor's size instead: the rate is reported as measured.
set -euo pipefail

build=${1:?usage: make_streams.sh BUILD_DIR OUT_DIR [--quick]}
out=${2:?usage: make_streams.sh BUILD_DIR OUT_DIR [--quick]}
quick=0
[[ "${3:-}" == --quick ]] && quick=1
photo=${VELTRANE_PEER_PHOTO:-/usr/share/wallpapers/Path/contents/images/2560x1600.jpg}
tool=$build/tools/veltrane
generator=$build/bench/peer/veltrane_make_sequence
gop=15
fps=25
tolerance=0.02

for program in "$tool" "$generator"; do
  [[ -x "$program" ]] || { echo "make_streams.sh: $program is not built" >&2; exit 1; }
done
command -v mpeg2enc >/dev/null || { echo "make_streams.sh: mpeg2enc not found (mjpegtools)" >&2; exit 1; }
[[ -r "$photo" ]] || { echo "make_streams.sh: $photo: no such photo (plasma-workspace-wallpapers)" >&2; exit 1; }
mkdir -p "$out"
out=$(cd "$out" && pwd)  # the list names files by absolute path

# Payload bytes of an IVF file: everything but the 32-byte file header and the
# 12-byte header of each frame.
ivf_bytes() { echo $(( $(stat -c %s "$1") - 32 - 12 * $2 )); }
# Floating-point arithmetic.
calc() { awk "BEGIN { printf \"%.6f\", $* }"; }
whole() { awk "BEGIN { printf \"%d\", $* }"; }
within() { awk -v a="$1" -v b="$2" -v t="$tolerance" 'BEGIN { d = a / b - 1; exit !(d <= t && d >= -t) }'; }

# Encodes with our encoder at a bit rate (bits/s) that makes about $target bytes.
encode_ours_to() {  # y4m ivf frames target_bytes bitrate
  local y4m=$1 ivf=$2 frames=$3 target=$4 rate=$5 bytes
  for _ in 1 2 3 4 5 6; do
    "$tool" encode "$y4m" -o "$ivf" --bitrate "$rate" --gop "$gop" >/dev/null
    bytes=$(ivf_bytes "$ivf" "$frames")
    within "$bytes" "$target" && return 0
    rate=$(whole "$rate * $target / $bytes")
  done
  echo "make_streams.sh: $ivf: $bytes bytes, wanted $target" >&2
}

# Iterates mpeg2enc's bit rate until its stream has about $target bytes. Prints
# the size reached; when mpeg2enc has hit its floor, that size is above target.
encode_theirs_to() {  # y4m m2v frames target_bytes
  local y4m=$1 m2v=$2 frames=$3 target=$4
  local kbps best=0 bytes previous=0 previousKbps=0
  kbps=$(calc "$target * 8 * $fps / $frames / 1000")
  for _ in 1 2 3 4 5 6 7 8; do
    mpeg2enc -v 0 -f 3 --no-constraints -R 0 -g "$gop" -G "$gop" -b "$kbps" -o "$m2v.try" \
      < "$y4m" >/dev/null 2>&1 || { echo "make_streams.sh: mpeg2enc failed on $y4m" >&2; return 1; }
    bytes=$(stat -c %s "$m2v.try")
    if [[ $best == 0 ]] || awk -v a="$bytes" -v b="$best" -v t="$target" \
        'BEGIN { exit !((a - t) ^ 2 < (b - t) ^ 2) }'; then
      best=$bytes
      mv "$m2v.try" "$m2v"
    fi
    within "$bytes" "$target" && break
    # The floor: a much lower rate that no longer makes the stream smaller.
    if [[ $previous != 0 ]] && awk -v b="$bytes" -v p="$previous" -v k="$kbps" -v pk="$previousKbps" \
        'BEGIN { exit !(b > p * 0.97 && k < pk * 0.9) }'; then
      break
    fi
    previous=$bytes previousKbps=$kbps
    kbps=$(calc "$kbps * $target / $bytes")
  done
  rm -f "$m2v.try"
  echo "$best"
}

if ((quick)); then
  sizes=("qcif 176 144 24")
else
  sizes=("qcif 176 144 100" "cif 352 288 100" "720p 1280 720 60")
fi
manifest=$out/streams.txt
: > "$manifest.new"
for entry in "${sizes[@]}"; do
  read -r name width height frames <<< "$entry"
  y4m=$out/$name.y4m
  echo "filming $name ($width x $height, $frames pictures) from $photo"
  "$generator" "$photo" --size "${width}x${height}" --frames "$frames" -o "$y4m"
  for bpp in 0.05 0.2; do
    stem=$out/${name}_$bpp
    rate=$(whole "$bpp * $width * $height * $fps")
    "$tool" encode "$y4m" -o "$stem.ivf" --bitrate "$rate" --gop "$gop" >/dev/null
    ours=$(ivf_bytes "$stem.ivf" "$frames")
    theirs=$(encode_theirs_to "$y4m" "$stem.m2v" "$frames" "$ours") || exit 1
    if ! within "$theirs" "$ours" && ((theirs > ours)); then
      echo "  $name at $bpp bits/pixel: mpeg2enc cannot go below $theirs bytes; ours re-made at that size"
      encode_ours_to "$y4m" "$stem.ivf" "$frames" "$theirs" \
        "$(whole "$rate * $theirs / $ours")"
      ours=$(ivf_bytes "$stem.ivf" "$frames")
    fi
    echo "  $name at $bpp bits/pixel: ours $ours bytes, MPEG-2 $theirs bytes"
    echo "$name $width $height $frames $bpp $stem.ivf $stem.m2v $y4m" >> "$manifest.new"
  done
done
mv "$manifest.new" "$manifest"
echo "stream list: $manifest"
