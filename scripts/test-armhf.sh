#!/usr/bin/env bash
# Cross-builds the library, the unit tests, veltrane_checkasm and the fuzz-seed
# replay for 32-bit ARM (armhf: ARMv7-A with NEON, hard float) with clang and
# Debian's cross sysroot packages, and runs them under qemu-arm. Then checks
# that the decoded pictures of every fuzzing seed and of a set of encoder-made
# streams are bit-identical between native builds with the SIMD kernels and with
# the C kernels only, the armhf NEON build and an armhf build for a core without
# NEON (C kernels only).
# Packages: scripts/install-deps.sh build armhf (they coexist with g++-multilib and
# with the GCC cross compiler, which exclude each other).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh build armhf

jobs=$(nproc)
((jobs > 2)) && jobs=2
toolchain=cmake/toolchains/armhf-linux-clang.cmake
corpus=tests/fuzz/corpus
common=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELTRANE_BUILD_TOOLS=OFF -DVELTRANE_BUILD_BENCH=OFF
        -DVELTRANE_GTEST_SOURCE_DIR=/usr/src/googletest)
qemu=(qemu-arm -L /usr/arm-linux-gnueabihf)

echo "== armhf build (NEON), tests under qemu-arm"
cmake --no-warn-unused-cli -S . -B build/armhf -DCMAKE_TOOLCHAIN_FILE="$toolchain" "${common[@]}" >/dev/null
cmake --build build/armhf -j"$jobs"
ctest --test-dir build/armhf --output-on-failure -j"$jobs"

echo "== armhf build for a core without NEON (vfpv3-d16): C kernels"
cmake --no-warn-unused-cli -S . -B build/armhf-vfp -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DVELTRANE_ARM_FPU=vfpv3-d16 \
  "${common[@]}" >/dev/null
cmake --build build/armhf-vfp -j"$jobs" --target veltrane_digest veltrane_checkasm
"${qemu[@]}" build/armhf-vfp/tests/veltrane_checkasm | sed -n "1p;\$p"

echo "== native builds of the digest program: SIMD kernels, and the C twins only"
cmake -S . -B build/digest-native "${common[@]}" >/dev/null
cmake --build build/digest-native -j"$jobs" --target veltrane_digest
cmake -S . -B build/digest-native-c "${common[@]}" -DVELTRANE_SIMD=OFF >/dev/null
cmake --build build/digest-native-c -j"$jobs" --target veltrane_digest

echo "== decoded pictures: native SIMD vs native C vs armhf NEON vs armhf without NEON"
out=build/armhf/digests
mkdir -p "$out"
build/digest-native/tests/veltrane_digest "$corpus" >"$out/native.txt"
build/digest-native-c/tests/veltrane_digest "$corpus" >"$out/native-c.txt"
"${qemu[@]}" build/armhf/tests/veltrane_digest "$corpus" >"$out/armhf-neon.txt"
"${qemu[@]}" build/armhf-vfp/tests/veltrane_digest "$corpus" >"$out/armhf-c.txt"
for variant in native-c armhf-neon armhf-c; do
  if ! diff -u "$out/native.txt" "$out/$variant.txt" >"$out/$variant.diff"; then
    echo "$variant output differs from the native build's (first differences):"
    head -20 "$out/$variant.diff"
    exit 1
  fi
done
echo "$(grep -c ' Y ' "$out/native.txt") pictures bit-identical in all four builds"
