#!/usr/bin/env bash
# Installs the Debian packages that the named steps need, and nothing when they
# are all present. It never removes a package: should one conflict with an
# installed package, apt fails instead. While another apt or dpkg runs, it waits
# for the lock (VELTRANE_APT_LOCK_TIMEOUT seconds, default 600) instead of
# failing at once.
# Usage: scripts/install-deps.sh STEP...
#   build    compiler and CMake          tests    GoogleTest
#   bench    Google Benchmark            tool     libpng, cairo and a font for the tool
#   fuzz     clang and libFuzzer         m32      clang's 32-bit x86 (-m32) libraries
#   install  pkg-config, for the install check
#   armhf    the armhf cross build under qemu-arm: clang with Debian's cross
#            sysroot (C library, libstdc++, libgcc), the ARM linker, qemu-arm
#   count    what scripts/count-armhf.sh adds: libpng for the encoder tool, djpeg
#   peer     the peer benchmark: libjpeg-turbo, libyuv, libmpeg2, mpeg2enc, the photo
#   format   clang-format, for the format check
#   tidy     clang-tidy, for scripts/tidy.sh
#   lines    cloc, for scripts/count-lines.sh
#   browser  Node.js, Chromium and ChromeDriver, for the HTML report's browser test
set -euo pipefail
declare -A step_packages=(
  [build]="cmake g++ make"
  [tests]="libgtest-dev"
  [bench]="libbenchmark-dev"
  [tool]="libpng-dev libcairo2-dev pkg-config fonts-dejavu-core"
  [fuzz]="clang libclang-rt-dev"
  # The 32-bit build uses clang -m32 with these libraries; g++-multilib would do
  # as well but conflicts with Debian's ARM cross compilers. GoogleTest is built
  # from source there, since only the native library is packaged.
  [m32]="clang libc6-dev-i386 lib32stdc++-12-dev lib32gcc-12-dev googletest"
  [install]="pkg-config"
  # None of these conflicts with g++-multilib or the GCC cross compiler.
  [armhf]="clang googletest qemu-user binutils-arm-linux-gnueabihf libc6-dev-armhf-cross libstdc++-12-dev-armhf-cross libgcc-12-dev-armhf-cross"
  [count]="libpng-dev libjpeg-turbo-progs"
  [peer]="libjpeg62-turbo-dev libyuv-dev libmpeg2-4-dev mjpegtools plasma-workspace-wallpapers pkg-config"
  [format]="clang-format"
  [tidy]="clang-tidy"
  [lines]="cloc"
  [browser]="nodejs chromium chromium-driver"
)
if (($# == 0)); then
  echo "usage: $0 STEP... (steps: ${!step_packages[*]})" >&2
  exit 2
fi
missing=()
for step in "$@"; do
  if [[ -z ${step_packages[$step]+set} ]]; then
    echo "$0: unknown step '$step' (steps: ${!step_packages[*]})" >&2
    exit 2
  fi
  for p in ${step_packages[$step]}; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q ' installed$' || missing+=("$p")
  done
done
((${#missing[@]})) || exit 0

mapfile -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)
echo "installing: ${missing[*]}"
timeout=${VELTRANE_APT_LOCK_TIMEOUT:-600}
apt_get=(env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout="$timeout")
[[ $(id -u) -eq 0 ]] || apt_get=(sudo "${apt_get[@]}")

# DPkg::Lock::Timeout covers dpkg's lock only; "apt-get update" gives up at once
# while another update holds the package lists, so it is retried until the same
# deadline.
update_package_lists() {
  local deadline=$((SECONDS + timeout)) output
  until output=$("${apt_get[@]}" update -qq 2>&1); do
    if [[ $output != *"Could not get lock"* ]] || ((SECONDS >= deadline)); then
      printf '%s\n' "$output" >&2
      return 1
    fi
    echo "waiting for another apt to release the package lists"
    sleep 5
  done
  [[ -z $output ]] || printf '%s\n' "$output"
}

update_package_lists
"${apt_get[@]}" install -y -qq --no-install-recommends --no-remove "${missing[@]}"
