#!/usr/bin/env bash
# Checks that the test suite catches real faults: plants each deliberate
# one-line fault of scripts/faults.txt in turn into a scratch copy of the tree,
# builds it and runs the fast part of the suite (unit tests, checkasm, the
# plug-in host, encoder and tool tests; not the fuzz targets or the browser
# test). A fault is caught when the suite fails. The script reports every fault
# no test caught, every fault whose anchor line is no longer in the code (so the
# list is fixed as the code moves, never skipped), and every fault that does not
# build; it exits 0 only when every fault was caught.
#
# Usage: scripts/fault-check.sh [NAME...]   (names or substrings of faults; all by default)
# Environment: JOBS (default 2), VELTRANE_FAULTS (the list), VELTRANE_FAULT_DIR
# (scratch space, default build/fault-check; kept between runs so that builds
# are incremental).
set -uo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
faults=${VELTRANE_FAULTS:-$root/scripts/faults.txt}
work=${VELTRANE_FAULT_DIR:-$root/build/fault-check}
jobs=${JOBS:-2}
tree=$work/tree
build=$work/build
log=$work/log
exclude='^(fuzz_|tools_browser)'
mkdir -p "$work" "$log"

# The tracked and untracked (not ignored) files as they are in the working
# tree. Only files whose content differs are copied, with a fresh time, so that
# the build stays incremental and a file a former run planted a fault in and
# restored is compiled again; files no longer in the tree go.
mkdir -p "$tree"
declare -A listed=()
while IFS= read -r -d '' f; do
  [[ -f $root/$f ]] || continue
  listed[$f]=1
  if ! cmp -s "$root/$f" "$tree/$f"; then
    mkdir -p "$(dirname "$tree/$f")" && cp "$root/$f" "$tree/$f" || { echo "cannot copy $f"; exit 1; }
  fi
done < <(cd "$root" && git ls-files -z --cached --others --exclude-standard)
while IFS= read -r -d '' f; do
  [[ -n ${listed[$f]+set} ]] || rm -f "$tree/$f"
done < <(cd "$tree" && find . -type f -printf '%P\0')

build_tree() {
  cmake --build "$build" -j"$jobs" >"$1" 2>&1
}
run_suite() {
  ctest --test-dir "$build" -j"$jobs" --timeout 120 --stop-on-failure -E "$exclude" >"$1" 2>&1
}

start=$SECONDS
if ! cmake -S "$tree" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELTRANE_SANITIZE=OFF \
  -DVELTRANE_BUILD_TESTS=ON -DVELTRANE_BUILD_TOOLS=ON -DVELTRANE_BUILD_BENCH=OFF \
  -DVELTRANE_BUILD_PEER_BENCH=OFF >"$log/configure.log" 2>&1; then
  echo "configuring the scratch tree failed (log: $log/configure.log)"
  exit 1
fi
if ! build_tree "$log/baseline-build.log" || ! run_suite "$log/baseline-suite.log"; then
  echo "the suite fails without any fault planted (logs: $log/baseline-*.log)"
  exit 1
fi
echo "baseline: built and passed in $((SECONDS - start)) s"

# Prints the faults as NAME<tab>FILE<tab>FIND<tab>REPLACE lines.
read_faults() {
  awk '
    function flush() {
      if (name != "") print name "\t" file "\t" find "\t" replace
      name = file = find = replace = ""
    }
    /^[ \t]*#/ || /^[ \t]*$/ { next }
    { key = $1; value = $0; sub(/^[a-z]+[ \t]+/, "", value) }
    key == "fault" { flush(); name = value; next }
    key == "file" { file = value; next }
    key == "find" { find = value; next }
    key == "replace" { replace = value; next }
    { print "bad line in the fault list: " $0 > "/dev/stderr"; exit 1 }
    END { flush() }' "$faults"
}

# Writes FILE with the line equal to FIND (blanks around it aside) replaced,
# keeping its indentation; prints how many lines matched.
plant() {  # FILE FIND REPLACE OUT
  awk -v find="$2" -v replace="$3" -v out="$4" '
    function trim(s) { sub(/^[ \t]+/, "", s); sub(/[ \t]+$/, "", s); return s }
    {
      line = $0
      if (trim(line) == trim(find)) {
        ++matches
        match(line, /^[ \t]*/)
        line = substr(line, 1, RLENGTH) replace
      }
      print line > out
    }
    END { print matches + 0 }' "$1"
}

selection=("$@")
total=0 caught=0 missed=() stale=() broken=()
while IFS=$'\t' read -r name file find replace; do
  if ((${#selection[@]} > 0)); then
    hit=0
    for pattern in "${selection[@]}"; do [[ $name == *"$pattern"* ]] && hit=1; done
    ((hit)) || continue
  fi
  total=$((total + 1))
  target=$tree/$file
  if [[ ! -f $target ]]; then
    printf 'STALE   %-48s %s is gone\n' "$name" "$file"
    stale+=("$name")
    continue
  fi
  matches=$(plant "$target" "$find" "$replace" "$work/planted")
  if [[ $matches != 1 ]]; then
    printf 'STALE   %-48s %s holds the anchor %s times\n' "$name" "$file" "$matches"
    stale+=("$name")
    continue
  fi
  cp "$target" "$work/original"
  cp "$work/planted" "$target"
  fault_start=$SECONDS
  if ! build_tree "$log/$name-build.log"; then
    printf 'NOBUILD %-48s (log: %s)\n' "$name" "$log/$name-build.log"
    broken+=("$name")
  elif run_suite "$log/$name-suite.log"; then
    printf 'MISSED  %-48s %s\n' "$name" "$file"
    missed+=("$name")
  else
    by=$(sed -n '/The following tests FAILED/{n;p;q}' "$log/$name-suite.log" |
      sed -E 's/^[[:space:]]*[0-9]+ - //; s/ \(.*//')
    printf 'caught  %-48s by %s (%d s)\n' "$name" "${by:-a failed run}" $((SECONDS - fault_start))
    caught=$((caught + 1))
  fi
  # A fresh time on the restored file makes the next build compile it again.
  cp "$work/original" "$target"
done < <(read_faults)

elapsed=$((SECONDS - start))
printf '\n%d faults: %d caught, %d missed, %d stale anchors, %d not building (%dm%02ds)\n' \
  "$total" "$caught" "${#missed[@]}" "${#stale[@]}" "${#broken[@]}" $((elapsed / 60)) \
  $((elapsed % 60))
((${#missed[@]})) && echo "missed: ${missed[*]}"
((${#stale[@]})) && echo "stale anchors (fix them in $faults): ${stale[*]}"
((${#broken[@]})) && echo "not building: ${broken[*]}"
((total > 0 && caught == total))
