#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the tools need; does
# nothing when they are all present.
set -euo pipefail
packages=(cmake g++ make libgtest-dev libbenchmark-dev libpng-dev clang libclang-rt-dev)
if [[ "${VELTRANE_M32:-0}" == 1 ]]; then packages+=(g++-multilib googletest); fi
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  SUDO=""; [[ $(id -u) -ne 0 ]] && SUDO=sudo
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
