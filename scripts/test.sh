#!/usr/bin/env bash
# The whole test suite in stages: the layout check (clang-format), the normal
# build, an ASan+UBSan build, the fuzz targets (decoding, plug-in path) for a
# fixed number of runs, the 32-bit x86 build (VELTRANE_M32=0 leaves it out), the
# armhf cross build run under qemu-arm (VELTRANE_ARMHF=0 leaves it out) and the
# install check. Each stage installs the packages it needs, logs to
# build/logs/STAGE.log and prints one line; a grand total ends the run. A failed stage does not stop the others; the exit status is 0 only
# when every stage passed.
# Environment: JOBS (default: the number of cores), VELTRANE_M32, VELTRANE_ARMHF.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
jobs=${JOBS:-$(nproc)}
logs=build/logs
mkdir -p "$logs"

configure_build_test() {  # DIR CMAKE_OPTIONS...
  local dir=$1; shift
  cmake -S . -B "$dir" "$@" && cmake --build "$dir" -j"$jobs" &&
    ctest --test-dir "$dir" --output-on-failure -j"$jobs"
}

stage_format() {
  scripts/check-format.sh
}

stage_release() {
  scripts/install-deps.sh build tests bench tool &&
    configure_build_test build/release -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELTRANE_SANITIZE=OFF \
      -DVELTRANE_BUILD_TESTS=ON -DVELTRANE_BUILD_BENCH=ON -DVELTRANE_BUILD_TOOLS=ON
}

stage_asan() {
  scripts/install-deps.sh build tests tool &&
    ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
      configure_build_test build/asan -DCMAKE_BUILD_TYPE=Debug -DVELTRANE_SANITIZE=ON \
      -DVELTRANE_BUILD_TESTS=ON -DVELTRANE_BUILD_BENCH=OFF -DVELTRANE_BUILD_TOOLS=ON
}

stage_fuzz() {
  scripts/install-deps.sh build tests fuzz &&
    cmake -S . -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_C_COMPILER=clang \
      -DCMAKE_CXX_COMPILER=clang++ -DVELTRANE_BUILD_FUZZ=ON -DVELTRANE_SANITIZE=ON \
      -DVELTRANE_BUILD_TESTS=ON -DVELTRANE_BUILD_BENCH=OFF -DVELTRANE_BUILD_TOOLS=OFF &&
    cmake --build build/fuzz -j"$jobs" --target veltrane_fuzz_decode veltrane_fuzz_plugin &&
    ctest --test-dir build/fuzz -R 'fuzz_(decode|plugin)_corpus' --output-on-failure
}

stage_m32() {
  scripts/test-m32.sh
}

stage_armhf() {
  scripts/test-armhf.sh
}

stage_install() {
  scripts/install-deps.sh build install &&
    if [[ -x build/release/tools/veltrane ]]; then
      scripts/test-install.sh build/release
    else
      echo "the install check needs the normal build, which failed"
      false
    fi
}

stages=(format release asan fuzz)
[[ ${VELTRANE_M32:-1} == 1 ]] && stages+=(m32)
[[ ${VELTRANE_ARMHF:-1} == 1 ]] && stages+=(armhf)
stages+=(install)
declare -A titles=([format]="clang-format check" [release]="normal build"
                   [asan]="ASan+UBSan build" [fuzz]="fuzz targets"
                   [m32]="32-bit build (clang -m32)" [armhf]="armhf build under qemu-arm"
                   [install]="install and consumers")

total=0 passed=0 failed_stages=() start=$SECONDS
for stage in "${stages[@]}"; do
  log=$logs/$stage.log
  stage_start=$SECONDS
  printf '%-28s ' "${titles[$stage]}"
  "stage_$stage" >"$log" 2>&1
  status=$?
  # ctest: "100% tests passed, 0 tests failed out of 201"; install: "0 checks failed out of 9"
  counts=$(sed -nE 's/.* ([0-9]+) (tests?|checks?) failed out of ([0-9]+).*/\3 \1/p' "$log" | tail -n 1)
  run=0 failed=0
  [[ -n $counts ]] && read -r run failed <<<"$counts"
  total=$((total + run)) passed=$((passed + run - failed))
  elapsed=$((SECONDS - stage_start))
  if ((status == 0)); then
    printf 'passed %4d of %4d  %3dm%02ds\n' $((run - failed)) "$run" $((elapsed / 60)) $((elapsed % 60))
    continue
  fi
  failed_stages+=("$stage")
  if ((run > 0)); then
    printf 'FAILED %4d of %4d  %3dm%02ds  (log: %s)\n' "$failed" "$run" $((elapsed / 60)) \
      $((elapsed % 60)) "$log"
    sed -n '/The following tests FAILED/,/^Errors while running/p; /^FAIL install\./p' "$log" |
      sed 's/^/    /'
  else
    printf 'FAILED before its tests ran  (log: %s)\n' "$log"
    grep -m 8 -E 'error|Error|E: |FATAL' "$log" | sed 's/^/    /'
  fi
done

elapsed=$((SECONDS - start))
if ((${#failed_stages[@]} == 0)); then
  printf '\nall stages passed: %d of %d tests in %dm%02ds (logs in %s)\n' "$passed" "$total" \
    $((elapsed / 60)) $((elapsed % 60)) "$logs"
  exit 0
fi
printf '\nFAILED: %d of %d tests passed; failed stages: %s (logs in %s), %dm%02ds\n' "$passed" \
  "$total" "${failed_stages[*]}" "$logs" $((elapsed / 60)) $((elapsed % 60))
exit 1
