#!/usr/bin/env bash
# Installs the Debian packages of the armhf build and tests, and nothing when they
# are all present: clang, the cross sysroot (C library, libstdc++, libgcc),
# the ARM linker and qemu-arm, plus the native compiler and the GoogleTest
# sources. With "count" also what scripts/count-armhf.sh needs (libpng for the
# native encoder tool, djpeg for the photograph). None of these conflicts with
# g++-multilib or the GCC cross compiler, and nothing is ever removed
# (--no-remove). Waits VELTRANE_APT_LOCK_TIMEOUT seconds (default 600) for the
# package lock.
# Usage: scripts/install-armhf-deps.sh [count]
set -euo pipefail
packages=(cmake make g++ clang googletest qemu-user binutils-arm-linux-gnueabihf
          libc6-dev-armhf-cross libstdc++-12-dev-armhf-cross libgcc-12-dev-armhf-cross)
[[ "${1:-}" == count ]] && packages+=(libpng-dev libjpeg-turbo-progs)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q ' installed$' || missing+=("$p")
done
((${#missing[@]})) || exit 0
echo "installing: ${missing[*]}"
timeout=${VELTRANE_APT_LOCK_TIMEOUT:-600}
apt_get=(env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout="$timeout")
[[ $(id -u) -eq 0 ]] || apt_get=(sudo "${apt_get[@]}")
"${apt_get[@]}" update -qq
"${apt_get[@]}" install -y -qq --no-install-recommends --no-remove "${missing[@]}"
