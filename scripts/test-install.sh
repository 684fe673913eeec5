#!/usr/bin/env bash
# Installs a build into a temporary prefix, then builds a small C program
# against the installed library with pkg-config and with CMake's find_package
# (shared and static). Each decodes the bundled sample and must write the
# pictures the veltrane tool writes.
# Usage: scripts/test-install.sh [BUILD_DIR]   (default build/release, built)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/release}
work=$(mktemp -d "${TMPDIR:-/tmp}/veltrane-install.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
sample=samples/testsrc.ivf
checks=0
failures=0

check() {  # check NAME COMMAND...
  local name=$1; shift
  checks=$((checks + 1))
  if "$@"; then echo "PASS install.$name"; else echo "FAIL install.$name"; failures=$((failures + 1)); fi
}
same_pictures() {  # the program's stdout on the sample has the tool's MD5
  local got
  got=$("$@" "$sample" | md5sum | cut -d' ' -f1) && [[ $got == "$expected" ]]
}

cmake --install "$build" --prefix "$prefix" >/dev/null
pc=$(find "$prefix" -name veltrane.pc)
libdir=$(dirname "$(dirname "$pc")")
expected=$("$prefix/bin/veltrane" decode "$sample" --md5 -q | cut -d' ' -f1)
version=$("$prefix/bin/veltrane" --version | cut -d' ' -f2)

soname=$(readelf -d "$libdir/libveltrane.so" | sed -n 's/.*soname: \[\(.*\)\]/\1/p')
check soname bash -c '[[ $1 =~ ^libveltrane\.so\.[0-9]+$ && -L $2/$1 ]]' _ "$soname" "$libdir"
check man_page test -s "$prefix/share/man/man1/veltrane.1"
check no_encoder test -z "$(find "$prefix" -iname '*encoder*')"

# pkg-config, as a Makefile would use it.
export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046  # the flags are meant to split into words
check pkg_config_build "${CC:-cc}" -std=c99 -Wall -Wextra -Wpedantic -Werror \
  tests/install/consumer.c $(pkg-config --cflags --libs veltrane) -Wl,-rpath,"$libdir" \
  -o "$work/consumer_pc"
check pkg_config_decode same_pictures "$work/consumer_pc"

# find_package(veltrane) from a project of its own.
check find_package_build bash -c 'cmake -S tests/install -B "$1" -DCMAKE_PREFIX_PATH="$2" \
                                  -DVELTRANE_EXPECTED_VERSION="$3" && cmake --build "$1"' \
                                  _ "$work/find" "$prefix" "$version"
check find_package_decode same_pictures "$work/find/consumer"
check find_package_static_decode same_pictures "$work/find/consumer_static"
check static_has_no_library_dependency \
  bash -c '! readelf -d "$1" | grep -q "libveltrane"' _ "$work/find/consumer_static"

echo "install: $failures checks failed out of $checks"
((failures == 0))
